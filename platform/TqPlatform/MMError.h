/// @file
/// Host interface: the record of the last error.
#pragma once

#include "TqPlatform/Api.h"

/// The last error of an object: a code and a text. Not protected against concurrent use; the
/// object that derives from it says who may touch it.
class TQ_PLATFORM_API MMS2BaseError {
public:
  MMS2BaseError();
  virtual ~MMS2BaseError();

  /// The last error's code; 0 when there was none.
  int getErrorCode() const { return m_nErrorCode; }

  /// Copies at most `size` bytes of the last error's text, terminator included, into `text`.
  /// Nothing is copied when `text` is null or `size` is not positive.
  void getLastError(char* text, int size) const;

  /// The host's error number for an operating-system or utility error code.
  static unsigned int ConvertToMMError(unsigned int code);

protected:
  /// Bytes of the text with its terminator: room for the longest message with two paths of
  /// PATH_MAX bytes in it.
  static constexpr int kErrorTextSize = 12288;

  int m_nErrorCode;                    ///< as getErrorCode() tells it
  char m_szErrorText[kErrorTextSize];  ///< ends with a zero byte
};

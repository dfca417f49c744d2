/// @file
/// Platform interface: the last error of an object.
#pragma once

#include "TqPlatform/Api.h"

/// The last error of an object: a code and a text. Not protected against concurrent use; the
/// derived class says which threads may use it.
class TQ_PLATFORM_API MMS2BaseError {
public:
  MMS2BaseError();
  virtual ~MMS2BaseError();

  /// The last error's code; 0 when there was none.
  int getErrorCode() const { return m_nErrorCode; }

  /// Copies the last error's text into `text`, cut to `size` bytes with its terminator. Does
  /// nothing when `text` is null or `size` is not positive.
  void getLastError(char* text, int size) const;

  /// The platform's error number for an operating-system or utility error code.
  static unsigned int ConvertToMMError(unsigned int code);

protected:
  /// Bytes of the text with its terminator: enough for the longest message with two paths of
  /// PATH_MAX bytes.
  static constexpr int kErrorTextSize = 12288;

  int m_nErrorCode;                    ///< see getErrorCode()
  char m_szErrorText[kErrorTextSize];  ///< ends with a zero byte
};

// Platform interface: the configuration store.
#pragma once

#include <memory>

#include "TqPlatform/Api.h"

/// The configuration focus: which of the embedder's configurations is used.
class TQ_PLATFORM_API TQPI_Focus {
public:
  /// The current focus. The string lives as long as the process.
  static const char* getFocus();
};

/// Access to the configuration. An object shows the configuration at the time of its construction;
/// objects that are constructed later show later changes. Objects are not shared between threads.
class TQ_PLATFORM_API TQPlatformInfo {
public:
  TQPlatformInfo();
  ~TQPlatformInfo();
  TQPlatformInfo(const TQPlatformInfo&) = delete;
  TQPlatformInfo& operator=(const TQPlatformInfo&) = delete;

  /// Selects the focus of the following look-ups.
  void setFocus(const char* focus);

  /// Copies the value of `key` in `section` into `buffer`, with its terminator. `*length` is the
  /// size of the buffer in bytes on entry, and the length of the value on success.
  ///
  /// Returns non-zero when the value was found; else 0, with nothing changed. For callers, 0 means
  /// "not set", and they use another folder. Therefore a value that is set but cannot be read or
  /// does not fit is replaced by a path where nothing can be created, if that path fits.
  int getString(const char* section, const char* key, char* buffer, int* length);

  /// Copies a configured directory as getString() does. Returns 1 on success, else 0.
  int getDirectory(const char* base, const char* key, char* buffer, int* length);

  /// Reads an unsigned decimal number. Returns non-zero when it was found; else 0, with `*value`
  /// unchanged.
  int getNumber(const char* section, const char* key, unsigned long* value);

private:
  struct Store;
  std::shared_ptr<const Store> m_store;
};

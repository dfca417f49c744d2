// Host interface: the configuration store.
#pragma once

#include <memory>

#include "TqPlatform/Api.h"

/// The configuration focus: which of the host's configurations is looked at.
class TQ_PLATFORM_API TQPI_Focus {
public:
  /// The current focus; a string that lives as long as the process.
  static const char* getFocus();
};

/// Access to the configuration. An object sees the store as it was when the object was built;
/// a change is seen by the next object. Objects are not shared between threads.
class TQ_PLATFORM_API TQPlatformInfo {
public:
  TQPlatformInfo();
  ~TQPlatformInfo();
  TQPlatformInfo(const TQPlatformInfo&) = delete;
  TQPlatformInfo& operator=(const TQPlatformInfo&) = delete;

  /// Selects the focus of the following look-ups.
  void setFocus(const char* focus);

  /// Copies the value of `key` in `section` into `buffer`, with its terminator.
  /// `*length` is the buffer's capacity in bytes on entry and the value's length on success.
  /// Returns non-zero when the value was found; otherwise 0, and nothing is changed. Callers take
  /// 0 as "not set" and use another folder. Therefore a value that is set but cannot be read or
  /// does not fit is replaced by a path where nothing can be created, if that fits.
  int getString(const char* section, const char* key, char* buffer, int* length);

  /// Copies a configured directory as getString() does. Returns 1 on success, otherwise 0.
  int getDirectory(const char* base, const char* key, char* buffer, int* length);

  /// Reads a number, unsigned and decimal. Returns non-zero when it was found; otherwise 0, and
  /// `*value` is unchanged.
  int getNumber(const char* section, const char* key, unsigned long* value);

private:
  struct Store;
  std::shared_ptr<const Store> m_store;
};

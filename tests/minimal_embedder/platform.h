// A platform that declares what the library may rely on, and nothing more. Only it makes a
// CNuError, and its error codes start at 1000, that of success too; values are copied without a
// terminator. The environment is its configuration and makes it fail:
//   RACE    another process creates each folder just before the library does
//   HIDDEN  a path that ends in this text cannot be examined
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

class TqCriticalSectionH {
public:
  void enter(bool /*wait*/) { m_mutex.lock(); }
  void leave() { m_mutex.unlock(); }

private:
  std::recursive_mutex m_mutex;
};

struct MMDebug {
  operator const char*() const { return "minimal"; }
};

struct EvDebug {
  static void Error(const char* handle, const char* origin, const char* format, ...);
};

struct EvEvent {
  static void initialize(int, int, int, void (*)(), const char*) {}
};

class MMS2BaseError {
public:
  virtual ~MMS2BaseError() = default;
  int getErrorCode() const { return m_nErrorCode; }
  void getLastError(char* text, int size) const {
    std::snprintf(text, static_cast<std::size_t>(size), "%s", m_szErrorText);
  }
  static unsigned int ConvertToMMError(unsigned int code) { return 5000 + code; }

protected:
  int m_nErrorCode = 0;
  char m_szErrorText[256] = "";
};

class CNuError {
public:
  bool IsError() const { return m_code != 1000; }
  int GetErrorCode() const { return m_code; }
  std::string AsString() const { return "platform error " + std::to_string(m_code); }

private:
  friend class CNuDirectory;
  friend class CNuUTFOSAPI;
  explicit CNuError(bool isError) : m_code(isError ? 1000 + errno : 1000) {}

  int m_code;
};

class CNuDirectory {
public:
  static CNuError Create(const char* path, bool /*parents*/) {
    if (std::getenv("RACE") != nullptr) ::mkdir(path, S_IRWXU);
    return CNuError(::mkdir(path, S_IRWXU) != 0);
  }
};

class CNuUTFOSAPI {
public:
  static CNuError access(const char* path, int mode) {
    const char* const hidden = std::getenv("HIDDEN");
    const bool isHidden = hidden != nullptr && std::string_view(path).ends_with(hidden);
    if (isHidden) errno = EIO;
    return CNuError(isHidden || ::access(path, mode) != 0);
  }
  static CNuError stat(const char* path, struct stat* record) {
    return CNuError(::stat(path, record) != 0);
  }
};

struct TQPI_Focus {
  static const char* getFocus() { return "minimal"; }
};

struct TQPlatformInfo {
  void setFocus(const char*) {}
  int getString(const char* section, const char* key, char* buffer, int* length) {
    const char* const found = std::getenv(key);
    const std::string_view value = found == nullptr ? "" : found;
    const bool isFound = !value.empty() && std::string_view(section) == "Teifioskon" &&
                         value.size() < static_cast<std::size_t>(*length);
    if (isFound) value.copy(buffer, value.size());
    return isFound ? 2 : 0;
  }
  int getDirectory(const char*, const char*, char*, int*) { return 0; }
  int getNumber(const char*, const char*, unsigned long*) { return 0; }
};

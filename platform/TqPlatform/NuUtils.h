// Platform interface: file-system calls and directory listings.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "TqPlatform/Api.h"

/// The result of a file-system call.
class TQ_PLATFORM_API CNuError {
public:
  /// `code` is an errno value; 0 is success.
  explicit CNuError(int code = 0) : m_code(code) {}

  bool IsError() const { return m_code != 0; }
  int GetErrorCode() const { return m_code; }

  /// The error as text for people.
  std::string AsString() const;

private:
  int m_code;
};

/// One entry of a directory listing.
struct TQ_PLATFORM_API SNuDirEntry {
  std::string name;
};

/// A directory listing without the entries "." and "..".
class TQ_PLATFORM_API CNuDirectory {
public:
  CNuDirectory();
  ~CNuDirectory();
  CNuDirectory(const CNuDirectory&) = delete;
  CNuDirectory& operator=(const CNuDirectory&) = delete;

  /// Creates the last component of `path`; `parents` is always passed as false.
  static CNuError Create(const char* path, bool parents);

  /// Opens the listing of `folder`. `pattern` is a shell pattern for the names. With `allEntries`
  /// true, folders are listed, too.
  CNuError Open(const char* folder, const char* pattern, bool allEntries);

  /// Reads the next entry. Sets `end` if there is none; `entry` is then unchanged.
  CNuError GetEntry(SNuDirEntry* entry, bool& end);

  CNuError Close();

private:
  struct Listing;
  std::unique_ptr<Listing> m_listing;
};

/// Calls on paths.
class TQ_PLATFORM_API CNuUTFOSAPI {
public:
  /// Checks access to `path` as access(2) does; `mode` 0 checks whether it exists.
  static CNuError access(const char* path, int mode);

  /// Fills `*record` for `path`, following symbolic links.
  static CNuError stat(const char* path, struct stat* record);

  static CNuError unlink(const char* path);
};

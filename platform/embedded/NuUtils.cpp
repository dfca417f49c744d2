// Calls the system's functions and returns errno in a CNuError.

#include "TqPlatform/NuUtils.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "OpenFile.h"

namespace {

/// The error of a call that returns 0 or sets errno.
CNuError outcome(int result) {
  return CNuError(result == 0 ? 0 : errno);
}

/// Whether the entry is a folder; false when it cannot be examined.
bool isFolder(DIR* listing, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) {
    return entry.d_type == DT_DIR;
  }
  struct stat record {};
  return ::fstatat(::dirfd(listing), entry.d_name, &record, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(record.st_mode);
}

}  // namespace

std::string CNuError::AsString() const {
  return std::generic_category().message(m_code);
}

struct CNuDirectory::Listing {
  ~Listing() { static_cast<void>(close()); }

  int close() {
    DIR* const open = std::exchange(directory, nullptr);
    return open == nullptr ? 0 : ::closedir(open);
  }

  bool admits(const dirent& entry) const {
    const std::string_view name = entry.d_name;
    return name != "." && name != ".." && ::fnmatch(pattern.c_str(), entry.d_name, 0) == 0 &&
           (allEntries || !isFolder(directory, entry));
  }

  DIR* directory = nullptr;  // owned
  std::string pattern;
  bool allEntries = false;
};

CNuDirectory::CNuDirectory() = default;

CNuDirectory::~CNuDirectory() = default;

CNuError CNuDirectory::Create(const char* path, bool /*parents*/) {
  return outcome(::mkdir(path, S_IRWXU | S_IRWXG | S_IRWXO));
}

CNuError CNuDirectory::Open(const char* folder, const char* pattern, bool allEntries) {
  auto listing = std::make_unique<Listing>();
  listing->pattern = pattern;
  listing->allEntries = allEntries;
  OpenFile file(folder, O_RDONLY | O_DIRECTORY);
  if (file.get() < 0) {
    return CNuError(errno);
  }
  listing->directory = ::fdopendir(file.get());
  if (listing->directory == nullptr) {
    return CNuError(errno);
  }
  file.release();
  m_listing = std::move(listing);
  return CNuError();
}

CNuError CNuDirectory::GetEntry(SNuDirEntry* entry, bool& end) {
  if (m_listing == nullptr) {
    return CNuError(EBADF);
  }
  for (;;) {
    // readdir() returns null at the end and on an error; only errno differs.
    errno = 0;
    const dirent* const next = ::readdir(m_listing->directory);
    if (next == nullptr) {
      const int code = errno;
      end = code == 0;
      return CNuError(code);
    }
    if (m_listing->admits(*next)) {
      entry->name = next->d_name;
      return CNuError();
    }
  }
}

CNuError CNuDirectory::Close() {
  if (m_listing == nullptr) {
    return CNuError(EBADF);
  }
  const CNuError error = outcome(m_listing->close());
  m_listing.reset();
  return error;
}

CNuError CNuUTFOSAPI::access(const char* path, int mode) {
  return outcome(::access(path, mode));
}

CNuError CNuUTFOSAPI::stat(const char* path, struct stat* record) {
  return outcome(::stat(path, record));
}

CNuError CNuUTFOSAPI::unlink(const char* path) {
  return outcome(::unlink(path));
}

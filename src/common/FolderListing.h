// The entries of a folder. Each written block measures the volume's folder, so this must be fast:
// names are not copied, and entries are looked up relative to the open folder.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "common/FileDescriptor.h"

/// The listing of a folder: open it, then visit its entries once. After a failed open(), open() can
/// be called again. Functions that can fail return 0 or an errno value.
class FolderListing {
public:
  FolderListing() = default;
  ~FolderListing() { close(); }
  FolderListing(const FolderListing&) = delete;
  FolderListing& operator=(const FolderListing&) = delete;

  int open(const std::string& folder) {
    const int fd = openFile(folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) {
      return errno;
    }
    m_directory = ::fdopendir(fd);
    if (m_directory != nullptr) {
      return 0;
    }
    const int error = errno;
    ::close(fd);
    return error;
  }

  /// Calls `visit` with the name of each entry, then closes the listing. `visit` returns 0 or an
  /// errno value, too. The first error ends the visits and is the result.
  template <typename Visit>
  int visitNames(Visit visit) {
    int error = m_directory == nullptr ? EBADF : 0;
    while (const char* const name = nextName(error)) {
      error = visit(name);
      if (error != 0) {
        break;
      }
    }
    close();
    return error;
  }

  /// Calls `visit` with the name and the stat record of each entry, symbolic links followed.
  /// `visit` returns nothing. An entry that cannot be examined ends the visits.
  template <typename Visit>
  int visitRecords(Visit visit) {
    return visitNames([&](const char* name) {
      struct stat record;  // filled whole or not used
      if (::fstatat(::dirfd(m_directory), name, &record, 0) != 0) {
        return errno;
      }
      visit(name, record);
      return 0;
    });
  }

  /// Deletes an entry; may be called from `visit`. A failure is ignored on purpose: the entry
  /// stays, and the other entries can still be deleted.
  void remove(const char* name) { ::unlinkat(::dirfd(m_directory), name, 0); }

private:
  /// Null at the end and when the listing fails.
  const char* nextName(int& error) {
    while (m_directory != nullptr) {
      errno = 0;  // readdir() returns null at the end and on an error; only errno differs
      const dirent* const entry = ::readdir(m_directory);
      if (entry == nullptr) {
        error = errno;
        return nullptr;
      }
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") {
        return entry->d_name;
      }
    }
    return nullptr;
  }

  void close() {
    if (DIR* const directory = std::exchange(m_directory, nullptr); directory != nullptr) {
      ::closedir(directory);
    }
  }

  DIR* m_directory = nullptr;  // owned
};

// The entries of a folder. Each block that is written measures the volume's folder, so names are
// looked up in the open folder and not copied.
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

/// May be opened again after an open that failed, and is walked once after one that worked. What
/// can fail returns 0 or an errno value.
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

  /// Calls `visit` with the name of each entry, and closes the listing. `visit` returns an error as
  /// well; the first one ends the walk and is the result.
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

  /// Calls `visit` as above, with the name and the stat record of what it leads to. `visit` returns
  /// nothing.
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

  /// Deletes an entry, while the listing is walked. A failure is ignored on purpose: what cannot be
  /// deleted stays, and the others go.
  void remove(const char* name) { ::unlinkat(::dirfd(m_directory), name, 0); }

private:
  /// Null at the end and when the listing fails.
  const char* nextName(int& error) {
    while (m_directory != nullptr) {
      errno = 0;  // the end and an error look alike but for it
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

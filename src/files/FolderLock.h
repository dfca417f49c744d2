// flock(2) on a folder or a file.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

#include "common/FileDescriptor.h"

/// Does not block. Returns 0 when the lock was taken, EWOULDBLOCK when another process has it, or
/// another errno value.
inline int tryFlock(int fd) {
  if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
    return 0;
  }
  // Some file systems answer EACCES when another process has the lock.
  return errno == EACCES || errno == EINTR ? EWOULDBLOCK : errno;
}

/// Whether `fd` is the file or folder that is now at `path`.
inline bool isAt(int fd, const std::string& path) {
  struct stat open {};
  struct stat there {};
  return ::fstat(fd, &open) == 0 && ::stat(path.c_str(), &there) == 0 &&
         open.st_dev == there.st_dev && open.st_ino == there.st_ino;
}

/// Holds the lock while it lives. Do not call a changing operation while this object locks the
/// catalogue folder: the operation takes the same lock, and fails after its longest wait.
class FolderLock {
public:
  /// Tries for `longestWait`, since flock(2) has no timeout. Throws std::system_error when `path`
  /// cannot be opened.
  FolderLock(const std::string& path, std::chrono::milliseconds longestWait) {
    const auto end = std::chrono::steady_clock::now() + longestWait;
    while (true) {
      m_file = FileDescriptor(openFile(path.c_str(), O_RDONLY | O_NONBLOCK));
      if (!m_file) {
        throw std::system_error(errno, std::generic_category(), path);
      }
      m_code = tryFlock(m_file.get());
      if (m_code == 0 && !isAt(m_file.get(), path)) {
        m_code = EWOULDBLOCK;  // the process that had the lock has removed or replaced it
      }
      if (m_code != EWOULDBLOCK || std::chrono::steady_clock::now() >= end) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }

  /// False when another process has the lock. True also where the file system has no locks.
  bool isHeld() const { return m_code != EWOULDBLOCK; }

  /// Whether the lock excludes others. False also where the file system has no locks.
  bool isExclusive() const { return m_code == 0; }

private:
  FileDescriptor m_file{-1};
  int m_code = 0;  // of flock(2)
};

// A lock on a folder or a file as long as the object lives: the catalogue, or what a tqlib works
// on.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "base/Errors.h"
#include "common/FileDescriptor.h"

/// The API takes the lock of the catalogue folder in each call that changes something, and would
/// wait for this one in vain: do not make such a call while it is held.
class FolderLock {
public:
  /// Throws Failure when `path` cannot be opened.
  FolderLock(const std::string& path, std::chrono::milliseconds longestWait)
      : m_file(openFile(path.c_str(), O_RDONLY | O_NONBLOCK)) {
    if (!m_file) throw systemFailure(path, errno);
    const auto end = std::chrono::steady_clock::now() + longestWait;
    while (!tryLock() && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }

  /// False when another process keeps it. Where the file system has no locks, true.
  bool isHeld() const { return m_isHeld; }

private:
  // flock(2) has no timeout.
  bool tryLock() {
    m_isHeld = flock(m_file.get(), LOCK_EX | LOCK_NB) == 0 ||
               (errno != EWOULDBLOCK && errno != EINTR && errno != EACCES);
    return m_isHeld;
  }

  FileDescriptor m_file;
  bool m_isHeld = false;
};

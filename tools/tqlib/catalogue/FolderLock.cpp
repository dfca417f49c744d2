#include "catalogue/FolderLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <thread>

#include "base/Errors.h"

namespace {

constexpr std::chrono::microseconds kStep{200};

int open(const std::string& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) throw systemFailure(folder, errno);
  return descriptor;
}

// The system has no wait for this lock that ends.
bool lockWithin(int folder, std::chrono::milliseconds longestWait) {
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (flock(folder, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR && errno != EACCES) return true;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kStep);
  }
  return true;
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, std::chrono::milliseconds longestWait)
    : m_folder(open(folder)), m_isHeld(lockWithin(m_folder.get(), longestWait)) {}

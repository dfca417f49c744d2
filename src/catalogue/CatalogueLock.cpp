// The system has no timed wait for this lock and does not queue those who ask for it in vain, so it
// is asked for again and again, in steps that are short beside a cycle: a process that changes a
// library without a pause gives the lock back for moments only.

#include "catalogue/CatalogueLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "TqLibEmulator.h"
#include "catalogue/PairedSave.h"
#include "catalogue/ReplacedFile.h"

namespace {

constexpr std::chrono::microseconds kStep{200};

/// Whether the catalogue has to be worked on without a lock. EBADF is the answer of a file system
/// that wants a file opened for writing, which a directory never is.
bool isNoneToBeHad(int code) {
  return code == ENOLCK || code == EOPNOTSUPP || code == ENOSYS || code == EINVAL ||
         code == EBADF || code == EACCES;
}

void warnOnce(const std::string& folder, int code) {
  static std::once_flag told;
  std::call_once(told, [&] {
    EvDebug::Error(debugHandler, "CatalogueLock::take",
                   "No lock on directory %s, let one process only change the catalogue: %s",
                   folder.c_str(), std::strerror(code));
  });
}

/// 0 when the lock is held, else why not.
int lockWithin(int fd, std::chrono::milliseconds longestWait) {
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return errno;
    }
    if (std::chrono::steady_clock::now() >= end) {
      return ETIMEDOUT;
    }
    std::this_thread::sleep_for(kStep);
  }
  return 0;
}

}  // namespace

// Unlocked by name, since a child that another thread forked meanwhile may hold the descriptor too.
CatalogueLock::~CatalogueLock() {
  if (m_held) {
    ::flock(m_held->get(), LOCK_UN);
  }
}

bool CatalogueLock::take(const std::string& folder) {
  if (!m_folder.empty()) {
    return m_error.empty();
  }
  m_folder = folder;
  const int code = lock();
  if (code == ENOENT || code == ENOTDIR) {
    return true;
  }
  if (isNoneToBeHad(code)) {
    warnOnce(folder, code);
  } else if (code != 0) {
    m_error = "Cannot lock directory " + folder + ": " +
              (code == ETIMEDOUT ? "another process keeps it locked" : std::strerror(code));
    return false;
  }
  return PairedSave::complete(folder, m_error);
}

int CatalogueLock::lock() {
  m_held.emplace(::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const int code = *m_held ? lockWithin(m_held->get(), m_longestWait) : errno;
  if (code != 0) {
    m_held.reset();
  }
  return code;
}

void CatalogueLock::removeLeftOvers() const {
  if (m_held) {
    ReplacedFile::removeLeftOvers(m_folder);
  }
}

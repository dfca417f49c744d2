// The system has no timed wait for this lock and does not queue those who ask for it in vain, so it
// is asked for again and again. A process that changes a library without a pause would be let in
// again and again before them, since it gives the lock back for moments only; so those who wait
// tell it by a lock of the other kind, a shared record lock on the directory, which holds up
// nobody, and whoever gives the lock back while there is one leaves them the time to get in.

#include "catalogue/CatalogueLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "TqLibEmulator.h"
#include "catalogue/ReplacedFile.h"

namespace {

constexpr std::chrono::microseconds kStep{200};
constexpr std::chrono::microseconds kCourtesy = 5 * kStep;
constexpr int kMostTries = 10;

/// A record lock, of the descriptor and not of the process, on the whole of what is open.
struct flock recordLock(short type) {
  struct flock record {};
  record.l_type = type;
  record.l_whence = SEEK_SET;
  return record;
}

/// A file system without record locks has waiters who take their chance.
void announceWait(int fd) {
  struct flock shared = recordLock(F_RDLCK);
  ::fcntl(fd, F_OFD_SETLK, &shared);
}

void endWait(int fd) {
  struct flock none = recordLock(F_UNLCK);
  ::fcntl(fd, F_OFD_SETLK, &none);
}

bool isAnyoneWaiting(int fd) {
  struct flock whole = recordLock(F_WRLCK);  // which a shared one of others would hold up
  return ::fcntl(fd, F_OFD_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
}

/// Whether the catalogue has to be worked on without a lock. EBADF is the answer of a file system
/// that wants a file opened for writing, which a directory never is.
bool isNoneToBeHad(int code) {
  return code == ENOLCK || code == EOPNOTSUPP || code == ENOSYS || code == EINVAL || code == EBADF;
}

/// Whether what is open is what the path leads to.
bool isAt(int fd, const std::string& path) {
  struct stat open {};
  struct stat there {};
  return ::fstat(fd, &open) == 0 && ::stat(path.c_str(), &there) == 0 &&
         open.st_dev == there.st_dev && open.st_ino == there.st_ino;
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
  for (bool isFirst = true;; isFirst = false) {
    const int code = ::flock(fd, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
    if (code != EWOULDBLOCK && code != EINTR && code != EACCES) {  // which some file systems say
      endWait(fd);
      return code;
    }
    if (std::chrono::steady_clock::now() >= end) {
      return ETIMEDOUT;
    }
    if (isFirst) {
      announceWait(fd);
    }
    std::this_thread::sleep_for(kStep);
  }
}

}  // namespace

// Unlocked by name, since a child that another thread forked meanwhile may hold the descriptor too.
CatalogueLock::~CatalogueLock() {
  bool isWanted = false;
  for (const Folder& folder : m_folders) {
    if (folder.lock) {
      isWanted = isAnyoneWaiting(folder.lock->get()) || isWanted;
      ::flock(folder.lock->get(), LOCK_UN);
    }
  }
  if (isWanted) {
    std::this_thread::sleep_for(kCourtesy);
  }
}

bool CatalogueLock::take(const std::string& path) {
  if (!m_error.empty()) {
    return false;
  }
  if (has(path)) {
    return true;
  }
  Folder& folder = m_folders.emplace_back();
  folder.path = path;
  const int code = lock(folder);
  if (code == EACCES || isNoneToBeHad(code)) {
    warnOnce(path, code);
  } else if (code != 0 && code != ENOENT && code != ENOTDIR) {
    m_error = "Cannot lock directory " + path + ": " +
              (code == ETIMEDOUT ? "another process keeps it locked" : std::strerror(code));
  }
  return m_error.empty();
}

// The working directory may be the catalogue's, and a second lock on it would wait for the first.
bool CatalogueLock::has(const std::string& path) const {
  return std::any_of(m_folders.begin(), m_folders.end(), [&](const Folder& folder) {
    return folder.path == path || (folder.lock && isAt(folder.lock->get(), path));
  });
}

bool CatalogueLock::holds(const std::string& path) const {
  return std::any_of(m_folders.begin(), m_folders.end(), [&](const Folder& folder) {
    return folder.lock && (folder.path == path || isAt(folder.lock->get(), path));
  });
}

// A directory may be put in the place of another one while its lock is waited for.
int CatalogueLock::lock(Folder& folder) const {
  for (int tries = 0; tries < kMostTries; ++tries) {
    folder.lock.emplace(::open(folder.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const int code = *folder.lock ? lockWithin(folder.lock->get(), m_longestWait) : errno;
    if (code == 0 && isAt(folder.lock->get(), folder.path)) {
      return 0;
    }
    folder.lock.reset();
    if (code != 0) {
      return code;
    }
  }
  return ESTALE;
}

void CatalogueLock::removeLeftOvers() const {
  for (const Folder& folder : m_folders) {
    if (folder.lock) {
      ReplacedFile::removeLeftOvers(folder.path);
    }
  }
}

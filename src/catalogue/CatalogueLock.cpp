// The system has no timed wait for this lock and does not queue those who ask for it in vain, so it
// is asked for again and again. A process that changes a library without a pause would be let in
// again and again before them, since it gives the lock back for moments only; so those who wait tell
// it by a lock of the other kind, a shared record lock on the directory, which holds up nobody, and
// whoever gives the lock back while there is one leaves them the time to get in.

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
constexpr std::chrono::microseconds kCourtesy = 5 * kStep;

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
  if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
    return 0;
  }
  announceWait(fd);
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (errno == EWOULDBLOCK || errno == EINTR) {
    if (std::chrono::steady_clock::now() >= end) {
      return ETIMEDOUT;
    }
    std::this_thread::sleep_for(kStep);
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
      endWait(fd);
      return 0;
    }
  }
  return errno;
}

}  // namespace

// Unlocked by name, since a child that another thread forked meanwhile may hold the descriptor too.
CatalogueLock::~CatalogueLock() {
  if (!m_held) {
    return;
  }
  const bool isWanted = isAnyoneWaiting(m_held->get());
  ::flock(m_held->get(), LOCK_UN);
  if (isWanted) {
    std::this_thread::sleep_for(kCourtesy);
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

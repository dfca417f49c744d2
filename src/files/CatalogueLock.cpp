// Locks a directory with up to two advisory locks. flock(2) on the directory itself needs no file,
// but works on one machine only: network file systems do not forward it, or do not support it for
// directories. Therefore, if the file system is not known to be local, we also take flock(2) on a
// small regular file in the directory. The file is created when needed and never removed. If it
// exists on a local file system, it is locked, too.
//
// flock(2) has no timeout and does not queue waiters, so we poll. For fairness, each waiter takes a
// shared record lock on one byte of the directory; the offset of the byte is the time when the wait
// began. These locks exclude nobody. A process that gets the lock but finds an earlier waiter
// releases it again. It does so a limited number of times, because that waiter may be stopped or
// may itself be waiting for gCriticalSection.

#include "files/CatalogueLock.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>

#include "common/Log.h"
#include "files/FolderLock.h"
#include "files/Names.h"

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr microseconds kLocalStep{200};
constexpr microseconds kBehindOthersStep{1000};
constexpr microseconds kFirstNetworkStep{2000};
constexpr microseconds kLastNetworkStep{50000};
constexpr int kMostTimesFree = 10;  // after that, earlier waiters are ignored
constexpr int kMostReplacements = 10;
constexpr mode_t kNewFileMode = 0666;  // reduced by the process's umask

/// File systems of one machine: a lock on a directory excludes all processes that can reach it.
constexpr long kLocalFileSystems[] = {
    EXT4_SUPER_MAGIC,     XFS_SUPER_MAGIC,           BTRFS_SUPER_MAGIC, TMPFS_MAGIC,
    RAMFS_MAGIC,          OVERLAYFS_SUPER_MAGIC,     F2FS_SUPER_MAGIC,  REISERFS_SUPER_MAGIC,
    MSDOS_SUPER_MAGIC,    EXFAT_SUPER_MAGIC,         NILFS_SUPER_MAGIC, 0x2fc12fc1 /* ZFS */,
    0x3153464a /* JFS */, 0xca451a4e /* bcachefs */, 0x7366746e /* NTFS3 */};

bool isOnLocalFileSystem(const std::string& path) {
  struct statfs record {};
  return ::statfs(path.c_str(), &record) == 0 &&
         std::find(std::begin(kLocalFileSystems), std::end(kLocalFileSystems), record.f_type) !=
             std::end(kLocalFileSystems);
}

/// The argument of an F_OFD_* command: a lock that belongs to the open file, not to the process.
struct flock recordLock(short type, off_t start, off_t length) {
  struct flock record {};
  record.l_type = type;
  record.l_whence = SEEK_SET;
  record.l_start = start;
  record.l_len = length;
  return record;
}

off_t now() {
  return steady_clock::now().time_since_epoch().count();
}

/// A failure is ignored: without record locks on the file system, waiting is not fair.
void announceWait(int fd, off_t since) {
  struct flock shared = recordLock(F_RDLCK, since, 1);
  ::fcntl(fd, F_OFD_SETLK, &shared);
}

void endWait(int fd, off_t since) {
  struct flock none = recordLock(F_UNLCK, since, 1);
  ::fcntl(fd, F_OFD_SETLK, &none);
}

bool isAnyoneWaitingBefore(int fd, off_t time) {
  struct flock earlier = recordLock(F_WRLCK, 0, time);
  return ::fcntl(fd, F_OFD_GETLK, &earlier) == 0 && earlier.l_type != F_UNLCK;
}

/// Whether locking is not supported, or the directory cannot be opened for it. Some file systems
/// answer EBADF because they require a file that is open for writing; a directory never is.
bool isUnsupported(int code) {
  return code == ENOLCK || code == EOPNOTSUPP || code == ENOSYS || code == EINVAL ||
         code == EBADF || code == EACCES || code == EPERM || code == EROFS;
}

bool isAbsent(int code) {
  return code == ENOENT || code == ENOTDIR;
}

std::string othersKeep(const std::string& path) {
  return "Cannot lock directory " + path + ": another process keeps it locked";
}

void warnOnce(const std::string& folder, int code) {
  static std::once_flag warned;
  std::call_once(warned, [&] {
    logError("CatalogueLock::take", "No lock on directory " + folder + ": " + std::strerror(code) +
                                        ". Let only one process change the catalogue");
  });
}

}  // namespace

std::chrono::milliseconds CatalogueLock::longestWait = std::chrono::seconds(30);
CatalogueLock* CatalogueLock::s_current = nullptr;

// Here and in giveBack(), locks are released explicitly: closing the descriptors is not enough if
// another thread has forked a child that holds them, too.
CatalogueLock::~CatalogueLock() {
  for (const Folder& folder : m_folders) {
    if (folder.waitingSince != 0) {
      endWait(folder.directory.get(), folder.waitingSince);
    }
  }
}

CatalogueLock::Attempt::Attempt(CatalogueLock& lock) : m_lock(lock) {
  s_current = &lock;
}

CatalogueLock::Attempt::~Attempt() {
  m_lock.giveBack();
  s_current = nullptr;
}

bool CatalogueLock::takeAgain() {
  m_refused = nullptr;
  return std::all_of(m_folders.begin(), m_folders.end(),
                     [this](Folder& folder) { return take(folder); });
}

bool CatalogueLock::take(const std::string& path) {
  if (find(path) != nullptr) {
    return true;
  }
  if (isRefused()) {
    return false;
  }
  Folder& folder = m_folders.emplace_back();
  folder.path = path;
  folder.isLocal = isOnLocalFileSystem(path);
  return take(folder);
}

bool CatalogueLock::take(Folder& folder) {
  const int code = tryLock(folder);
  if (code == EWOULDBLOCK) {
    if (folder.waitingSince == 0 && folder.isLocal) {
      folder.waitingSince = now();
      announceWait(folder.directory.get(), folder.waitingSince);
    }
    m_refused = &folder;
    return false;
  }
  if (folder.waitingSince != 0) {
    endWait(folder.directory.get(), std::exchange(folder.waitingSince, 0));
  }
  if (code != 0) {
    m_error = "Cannot lock directory " + folder.path + ": " + folder.failed + std::strerror(code);
    m_refused = &folder;
    return false;
  }
  folder.isTaken = true;
  folder.unfinished = PairedSave::complete(folder.path);
  return true;
}

void CatalogueLock::completeSaves() {
  for (Folder& folder : m_folders) {
    if (folder.isTaken) {
      folder.unfinished = PairedSave::complete(folder.path);
    }
  }
}

// Compares the directories, not only the paths: the working directory may be the catalogue
// directory, and a second lock on it would wait for the first one.
const CatalogueLock::Folder* CatalogueLock::find(const std::string& path) const {
  const auto found = std::find_if(m_folders.begin(), m_folders.end(), [&](const Folder& folder) {
    return folder.isTaken &&
           (folder.path == path || (folder.directory && isAt(folder.directory.get(), path)));
  });
  return found == m_folders.end() ? nullptr : &*found;
}

/// Returns 0 when the folder is locked or cannot be locked at all, EWOULDBLOCK when another process
/// has the lock, or another errno value.
int CatalogueLock::tryLock(Folder& folder) {
  const int onDirectory = tryDirectory(folder);
  if (onDirectory != 0 && !isUnsupported(onDirectory)) {
    return isAbsent(onDirectory) ? 0 : onDirectory;
  }
  const int onFile = tryFile(folder);
  if (onFile == 0 || (isAbsent(onFile) && onDirectory == 0)) {
    return 0;
  }
  if (onFile != ENOLCK && !isAbsent(onFile)) {
    folder.failed = ".tqlib-lock: ";
    return onFile;
  }
  warnOnce(folder.path, onDirectory != 0 ? onDirectory : onFile);
  return 0;
}

// While we wait for the lock, the directory may be replaced by another one. Then the new one is
// opened and locked.
int CatalogueLock::tryDirectory(Folder& folder) {
  for (int tries = 0; tries < kMostReplacements; ++tries) {
    if (!folder.directory) {
      folder.directory = FileDescriptor(openFile(folder.path.c_str(), O_RDONLY | O_DIRECTORY));
      folder.waitingSince = 0;
    }
    if (!folder.directory && errno == ESTALE) {
      continue;
    }
    if (!folder.directory) {
      return errno;
    }
    const int fd = folder.directory.get();
    const int code = tryFlock(fd);
    if (code != 0) {
      return code;
    }
    if (!isAt(fd, folder.path)) {
      folder.directory = FileDescriptor(-1);
      continue;
    }
    const off_t since = folder.waitingSince == 0 ? now() : folder.waitingSince;
    if (folder.isLocal && isAnyoneWaitingBefore(fd, since) &&
        ++folder.timesFree <= kMostTimesFree) {
      ::flock(fd, LOCK_UN);
      return EWOULDBLOCK;
    }
    return 0;
  }
  return ESTALE;
}

/// Locks the lock file. Returns ENOLCK when the file cannot be created or locking is not supported.
/// A file that exists but cannot be opened is an error, because other processes may use it.
int CatalogueLock::tryFile(Folder& folder) {
  const std::string path = folder.path + "/" + names::lockFile;
  for (int tries = 0; tries < kMostReplacements; ++tries) {
    if (!folder.file) {
      const int create = folder.isLocal ? 0 : O_CREAT;
      folder.file =
          FileDescriptor(openRegularFile(path.c_str(), O_RDWR | O_NOFOLLOW | create, kNewFileMode));
      if (!folder.file && errno == EACCES) {
        folder.file = FileDescriptor(openRegularFile(path.c_str(), O_RDONLY | O_NOFOLLOW));
      }
    }
    if (!folder.file && errno == ESTALE) {
      continue;
    }
    if (!folder.file) {
      const int code = errno;
      const bool isThere = ::access(path.c_str(), F_OK) == 0;
      return !isThere && isUnsupported(code) ? ENOLCK : code;
    }
    const int code = tryFlock(folder.file.get());
    if (code != 0) {
      return isUnsupported(code) ? ENOLCK : code;
    }
    if (isAt(folder.file.get(), path)) {
      return 0;
    }
    folder.file = FileDescriptor(-1);
  }
  return ESTALE;
}

void CatalogueLock::giveBack() {
  for (Folder& folder : m_folders) {
    if (folder.file) {
      ::flock(folder.file.get(), LOCK_UN);
    }
    if (folder.directory) {
      ::flock(folder.directory.get(), LOCK_UN);
    }
    folder.isTaken = false;
  }
}

bool CatalogueLock::wait() {
  if (!m_error.empty()) {
    return false;
  }
  const auto time = steady_clock::now();
  m_deadline = m_deadline.value_or(time + longestWait);
  if (time >= *m_deadline) {
    m_error = othersKeep(m_refused->path);
    return false;
  }
  if (!m_refused->isLocal) {
    m_step = std::clamp(2 * m_step, kFirstNetworkStep, kLastNetworkStep);
  } else {
    m_step = m_refused->timesFree > 0 ? kBehindOthersStep : kLocalStep;
  }
  std::this_thread::sleep_for(m_step);
  return true;
}

std::string CatalogueLock::acceptRefusal() {
  std::string reason = m_error.empty() ? othersKeep(m_refused->path) : std::move(m_error);
  m_error.clear();
  if (m_refused->waitingSince != 0) {
    endWait(m_refused->directory.get(), std::exchange(m_refused->waitingSince, 0));
  }
  m_refused = nullptr;
  return reason;
}

std::string CatalogueLock::obstacleTo(const std::string& directory, const std::string& name) const {
  const Folder* const folder = find(directory);
  return folder != nullptr && folder->unfinished.concerns(name) ? folder->unfinished.reason : "";
}

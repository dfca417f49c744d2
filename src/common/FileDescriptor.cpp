// Keeps our descriptors above the standard streams. If a standard stream is closed, its number is
// occupied by a placeholder while a file is opened.

#include "common/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>

namespace {

bool isAnyStandardStreamClosed() {
  return ::fcntl(STDIN_FILENO, F_GETFD) == -1 || ::fcntl(STDOUT_FILENO, F_GETFD) == -1 ||
         ::fcntl(STDERR_FILENO, F_GETFD) == -1;
}

/// Opens a file while placeholders occupy the numbers of the closed standard streams. Nothing can
/// be written to a placeholder. Without them, the embedder's output at this moment would go to the
/// file.
int openBehindPlaceholders(int folder, const char* name, int flags, mode_t mode) {
  static std::mutex oneAtATime;
  const std::scoped_lock lock(oneAtATime);
  std::array<FileDescriptor, 3> placeholders{FileDescriptor(-1), FileDescriptor(-1),
                                             FileDescriptor(-1)};
  for (FileDescriptor& placeholder : placeholders) {
    FileDescriptor opened(::open("/", O_PATH | O_CLOEXEC));
    if (!opened || opened.get() > STDERR_FILENO) {
      break;
    }
    placeholder = std::move(opened);
  }
  return aboveStandardStreams(::openat(folder, name, flags | O_CLOEXEC, mode));
}

/// Closes `fd` and returns -1 with `error` in errno.
int refuse(int fd, int error) {
  ::close(fd);
  errno = error;
  return -1;
}

/// 0 for a regular file, otherwise the reason to refuse it.
int checkType(mode_t mode) {
  if (S_ISREG(mode)) {
    return 0;
  }
  return S_ISDIR(mode) ? EISDIR : EINVAL;
}

}  // namespace

int aboveStandardStreams(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) {
    return fd;
  }
  const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (moved < 0) {
    return refuse(fd, errno);
  }
  ::close(fd);
  return moved;
}

// The streams are checked once only: three system calls for each open would slow block transfers
// down. If the embedder closes a stream later, placeholders are used from the first file that gets
// the stream's number.
int openFileAt(int folder, const char* name, int flags, mode_t mode) {
  static std::atomic<bool> isGuarded = isAnyStandardStreamClosed();
  if (isGuarded) {
    return openBehindPlaceholders(folder, name, flags, mode);
  }
  const int fd = ::openat(folder, name, flags | O_CLOEXEC, mode);
  if (fd >= 0 && fd <= STDERR_FILENO) {
    isGuarded = true;
  }
  return aboveStandardStreams(fd);
}

int openFile(const char* path, int flags, mode_t mode) {
  return openFileAt(AT_FDCWD, path, flags, mode);
}

int openRegularFile(const char* path, int flags, mode_t mode) {
  // Without these flags, opening a pipe would block, and a terminal could become the controlling
  // one.
  int fd = openFile(path, flags | O_NONBLOCK | O_NOCTTY, mode);
  struct stat record;  // filled whole or not used
  if (fd < 0 && errno == EWOULDBLOCK) {
    // Another process, for instance a file server, holds a lease on the file. A blocking open waits
    // until the lease is released.
    if (::stat(path, &record) != 0 || !S_ISREG(record.st_mode)) {
      errno = EWOULDBLOCK;
      return -1;
    }
    fd = openFile(path, flags | O_NOCTTY, mode);
  }
  if (fd < 0) {
    return -1;
  }
  const int error = ::fstat(fd, &record) != 0 ? errno : checkType(record.st_mode);
  return error == 0 ? fd : refuse(fd, error);
}

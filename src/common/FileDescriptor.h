// Opening files, and owning their descriptors.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <utility>

/// Closes the descriptor at the end of its life; a negative one is none.
class FileDescriptor {
public:
  explicit FileDescriptor(int fd) : m_fd(fd) {}
  ~FileDescriptor() {
    if (m_fd >= 0) {
      ::close(m_fd);
    }
  }
  FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

private:
  int m_fd;
};

// An embedder may have closed its standard streams. A file that got one of their numbers would
// receive what the embedder prints, so no descriptor of ours is 0, 1 or 2.

/// `fd`, or its duplicate above the standard streams' numbers in place of one that has such a
/// number; the duplicate is closed on exec. On failure closes `fd` and returns -1 with errno set.
/// A negative `fd` comes back with errno as it was.
int aboveStandardStreams(int fd);

/// open(2) with O_CLOEXEC, and never a descriptor below 3.
int openFile(const char* path, int flags, mode_t mode = 0);

/// openat(2) with O_CLOEXEC, and never a descriptor below 3.
int openFileAt(int folder, const char* name, int flags, mode_t mode = 0);

/// Opens a regular file as openFile() does. Anything else in its place is refused without waiting
/// for it: a folder with EISDIR, a pipe or a device with EINVAL, a socket with ENXIO.
int openRegularFile(const char* path, int flags, mode_t mode = 0);

// Opening files, and owning their descriptors.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <utility>

/// Owns a descriptor and closes it. A negative number means no descriptor.
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

// An embedder may have closed its standard streams. If a file got the descriptor 0, 1 or 2, it
// would receive the embedder's output. Therefore our descriptors are always 3 or higher.

/// Moves a descriptor below 3 to a higher number and sets close-on-exec on it. Returns the new
/// descriptor, or `fd` itself if it is not below 3. On failure closes `fd` and returns -1 with
/// errno set. A negative `fd` is returned with errno unchanged.
int aboveStandardStreams(int fd);

/// open(2) with O_CLOEXEC, and never a descriptor below 3.
int openFile(const char* path, int flags, mode_t mode = 0);

/// openat(2) with O_CLOEXEC, and never a descriptor below 3.
int openFileAt(int folder, const char* name, int flags, mode_t mode = 0);

/// Opens a regular file as openFile() does. Other types are refused, and the call does not block on
/// them: EISDIR for a folder, EINVAL for a pipe or a device, ENXIO for a socket.
int openRegularFile(const char* path, int flags, mode_t mode = 0);

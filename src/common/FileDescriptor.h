// An open file descriptor.
#pragma once

#include <unistd.h>

/// Closes the descriptor at the end of its life; a negative one is none.
class FileDescriptor {
public:
  explicit FileDescriptor(int fd) : m_fd(fd) {}
  ~FileDescriptor() {
    if (m_fd >= 0) {
      ::close(m_fd);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

private:
  int m_fd;
};

// Duplicates a descriptor below 3 to a higher number and closes the low one.

#include "OpenFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace {

void closeKeepingErrno(int fd) {
  const int error = errno;
  ::close(fd);
  errno = error;
}

}  // namespace

OpenFile::OpenFile(const char* path, int flags, mode_t mode)
    : m_fd(::open(path, flags | O_CLOEXEC, mode)) {
  if (m_fd >= 0 && m_fd <= STDERR_FILENO) {
    const int low = m_fd;
    m_fd = ::fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    closeKeepingErrno(low);
  }
}

OpenFile::~OpenFile() {
  if (m_fd >= 0) {
    closeKeepingErrno(m_fd);
  }
}

// An open file that keeps off the standard streams.
#pragma once

#include <sys/types.h>

/// Opens `path` as open(2) does, with O_CLOEXEC, and closes it at the end of its life. The
/// descriptor is never 0, 1 or 2: an embedder may have closed its standard streams, and what it
/// prints must not land in a file of ours.
class OpenFile {
public:
  OpenFile(const char* path, int flags, mode_t mode = 0);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// Negative when the file could not be opened; errno then holds the reason.
  int get() const { return m_fd; }

  /// Gives the descriptor away.
  void release() { m_fd = -1; }

private:
  int m_fd;
};

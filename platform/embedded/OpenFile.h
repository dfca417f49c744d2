// An open file whose descriptor is never that of a standard stream.
#pragma once

#include <sys/types.h>

/// Opens `path` as open(2) does, with O_CLOEXEC, and closes it in the destructor. The descriptor is
/// never 0, 1 or 2: an embedder may have closed its standard streams, and its output must not be
/// written to our files.
class OpenFile {
public:
  OpenFile(const char* path, int flags, mode_t mode = 0);
  ~OpenFile();
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  /// The descriptor. After the constructor, a negative number means that the file could not be
  /// opened; errno then holds the reason.
  int get() const { return m_fd; }

  /// Gives up ownership: the destructor does not close the descriptor.
  void release() { m_fd = -1; }

private:
  int m_fd;
};

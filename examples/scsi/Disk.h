// What must survive a power loss.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "Sense.h"

namespace scsi {

/// Forces a file or folder to the disk, if it is there. Throws Sense.
inline void forceToDisk(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  const bool isDone = fsync(descriptor) == 0;
  close(descriptor);
  if (!isDone) throw kWriteError;
}

}  // namespace scsi

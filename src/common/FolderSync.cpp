// Calls fsync(2) on the folder.

#include "common/FolderSync.h"

#include <fcntl.h>

#include "common/FileDescriptor.h"

void syncFolder(const std::string& folder) {
  const FileDescriptor descriptor(openFile(folder.c_str(), O_RDONLY | O_DIRECTORY));
  if (descriptor) {
    ::fsync(descriptor.get());
  }
}

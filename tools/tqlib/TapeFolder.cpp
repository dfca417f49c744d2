#include "TapeFolder.h"

#include <unistd.h>

#include "Errors.h"
#include "TqLibEmlFile.h"

namespace fs = std::filesystem;

// The library makes the folder of any volume it is asked about. A probe volume, taken away at
// once, tells where volumes lie without leaving a folder for one that does not exist.
fs::path volumeRoot() {
  std::string folder;
  TqLibEmlFile probe(".tqlib-probe-" + std::to_string(getpid()));
  const bool made = probe.GetVolumeFolder(folder);
  if (made) rmdir(folder.c_str());
  // A root where nothing may be created still holds volumes, and its name is known all the same.
  if (folder.empty()) throw libraryFailure("no place for volumes", probe);
  fs::path root = fs::path(folder).parent_path();
  if (!fs::is_directory(root)) {
    throw Failure("the tape folder does not exist: " + root.string() +
                  "; sVirtualTapeDirectory in the configuration names it");
  }
  return root;
}

void requireVolume(const std::string& volume) {
  const fs::path folder = volumeRoot() / volume;
  if (!fs::is_directory(folder)) {
    throw Failure("no such volume: " + volume + " (" + folder.string() + ")");
  }
}

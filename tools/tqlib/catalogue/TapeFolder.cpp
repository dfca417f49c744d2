#include "catalogue/TapeFolder.h"

#include "base/Errors.h"
#include "catalogue/ConfiguredPlaces.h"

namespace fs = std::filesystem;

// The library would be asked by way of a volume, and makes the folder of any that it is asked
// about.
fs::path volumeRoot() {
  const ConfiguredFolder root = configuredTapeFolder();
  if (!root.isNamed) fs::create_directories(root.path);
  if (!fs::is_directory(root.path)) {
    throw Failure("the tape folder does not exist: " + root.path,
                  "sVirtualTapeDirectory in the configuration names it");
  }
  return root.path;
}

void requireVolume(const std::string& volume) {
  const fs::path folder = volumeRoot() / volume;
  if (!fs::is_directory(folder)) {
    throw Failure("no such volume: " + volume + " (" + folder.string() + ")",
                  "\"tqlib volume list\" names those there are");
  }
}

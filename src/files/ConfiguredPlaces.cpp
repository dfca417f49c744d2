// Looks each key up in the sections in order; the first section that has the key wins.

#include "files/ConfiguredPlaces.h"

#include <limits>

namespace {

constexpr const char* kSections[] = {"MediaManager", "Teifioskon"};
constexpr unsigned long long kDefaultMaxVolumeSize = 4ULL << 30;
constexpr unsigned kBytesPerMiBShift = 20;

unsigned long long bytesOfMiB(unsigned long long count) {
  constexpr unsigned long long most = std::numeric_limits<unsigned long long>::max();
  return count > most >> kBytesPerMiBShift ? most : count << kBytesPerMiBShift;
}

/// Puts a configured directory into `dir`, without one trailing backslash. False, with `dir`
/// unchanged, when it is not configured.
bool findDirectory(TQPlatformInfo& platform, const char* key, std::string& dir) {
  // The buffers are cleared because a configuration store of an embedder may copy a value without
  // its terminator, or may leave the buffer unchanged for an empty value.
  char buffer[1025] = {};
  int length = sizeof buffer;
  for (const char* const section : kSections) {
    if (platform.getString(section, key, buffer, &length) != 0) {
      dir = buffer;
      if (dir.ends_with('\\')) {
        dir.pop_back();
      }
      return true;
    }
  }
  return false;
}

}  // namespace

void findCatalogueDirectory(TQPlatformInfo& platform, std::string& dir) {
  if (!findDirectory(platform, "sVirtualLibXMLDirectory", dir)) {
    char buffer[1025] = {};
    int length = sizeof buffer - 1;
    if (platform.getDirectory("Base", "dMERIDIANHOME", buffer, &length) == 1) {
      dir = buffer;
    }
  }
  if (dir.empty()) {
    dir.push_back('.');
  }
  dir += kCatalogueFolder;
}

bool findTapeDirectory(TQPlatformInfo& platform, std::string& dir) {
  return findDirectory(platform, "sVirtualTapeDirectory", dir);
}

unsigned long long maxVolumeSize(TQPlatformInfo& platform) {
  unsigned long count = 0;
  for (const char* const section : kSections) {
    if (platform.getNumber(section, "nVirtualTapeSizeMB", &count) != 0) {
      return count == 0 ? kDefaultMaxVolumeSize : bytesOfMiB(count);
    }
  }
  return kDefaultMaxVolumeSize;
}

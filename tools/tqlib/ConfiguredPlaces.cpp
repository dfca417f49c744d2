#include "ConfiguredPlaces.h"

#include <limits>
#include <optional>

#include "TqPlatform/PlatformInfo.h"

namespace {

constexpr const char* kSections[] = {"MediaManager", "Teifioskon"};
constexpr unsigned long long kUsualLimit = 4ULL << 30;
constexpr unsigned kBytesPerMiBShift = 20;
constexpr std::size_t kLongestPath = 1024;

/// The configuration as it is now.
struct Store : TQPlatformInfo {
  Store() { setFocus(TQPI_Focus::getFocus()); }
};

// The library takes one backslash at the end away, too.
std::optional<std::string> directory(TQPlatformInfo& store, const char* key) {
  for (const char* const section : kSections) {
    char buffer[kLongestPath + 1] = {};
    int length = sizeof buffer;
    if (store.getString(section, key, buffer, &length) == 0) continue;
    std::string path = buffer;
    if (path.ends_with('\\')) path.pop_back();
    return path;
  }
  return std::nullopt;
}

std::string baseDirectory(TQPlatformInfo& store) {
  char buffer[kLongestPath + 1] = {};
  int length = sizeof buffer - 1;
  return store.getDirectory("Base", "dMERIDIANHOME", buffer, &length) == 1 ? buffer : "";
}

}  // namespace

std::string configuredCatalogue() {
  Store store;
  std::string path = directory(store, "sVirtualLibXMLDirectory").value_or(baseDirectory(store));
  return (path.empty() ? "." : path) + "/LibEmulator/";
}

ConfiguredFolder configuredTapeFolder() {
  Store store;
  const std::string path = directory(store, "sVirtualTapeDirectory").value_or("");
  if (path.empty()) return {configuredCatalogue() + "Data", false};
  return {path, true};
}

unsigned long long configuredVolumeLimit() {
  Store store;
  constexpr unsigned long long kMost = std::numeric_limits<unsigned long long>::max();
  for (const char* const section : kSections) {
    unsigned long count = 0;
    if (store.getNumber(section, "nVirtualTapeSizeMB", &count) == 0) continue;
    if (count == 0) return kUsualLimit;
    return count > kMost >> kBytesPerMiBShift ? kMost : count << kBytesPerMiBShift;
  }
  return kUsualLimit;
}

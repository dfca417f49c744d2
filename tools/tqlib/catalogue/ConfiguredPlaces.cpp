#include "catalogue/ConfiguredPlaces.h"

#include "files/ConfiguredPlaces.h"

namespace {

/// The configuration as it is now.
struct Store : TQPlatformInfo {
  Store() { setFocus(TQPI_Focus::getFocus()); }
};

}  // namespace

std::string configuredCatalogue() {
  Store store;
  std::string path;
  findCatalogueDirectory(store, path);
  return path;
}

ConfiguredFolder configuredTapeFolder() {
  Store store;
  std::string path;
  const bool isNamed = findTapeDirectory(store, path) && !path.empty();
  return {isNamed ? path : configuredCatalogue() + kDataFolder, isNamed};
}

unsigned long long configuredVolumeLimit() {
  Store store;
  return maxVolumeSize(store);
}

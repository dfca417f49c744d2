// The configuration is read with the functions of the API, so that both always agree.
#include "catalogue/Configuration.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "TqLibEmlFile.h"
#include "base/Errors.h"
#include "files/ConfiguredPlaces.h"
#include "files/Names.h"

namespace {

constexpr char kVariable[] = "TQ_PLATFORM_CONFIG";
constexpr char kSystemFile[] = "/etc/tqlib.ini";

std::string chosenFile(const std::string& config) {
  if (!config.empty()) return config;
  const char* fromEnvironment = std::getenv(kVariable);
  return fromEnvironment && *fromEnvironment ? fromEnvironment : kSystemFile;
}

/// The configuration as it is now.
struct Store : TQPlatformInfo {
  Store() { setFocus(TQPI_Focus::getFocus()); }
};

}  // namespace

void useConfiguration(const std::string& config) {
  const std::string file = chosenFile(config);
  // Without a configuration the calls would fail with a path that means nothing to an operator.
  if (access(file.c_str(), R_OK) != 0) {
    const int code = errno;
    throw Failure(
        std::string("no configuration: ") + systemFailure(file, code).what(),
        code == EACCES ? "run it as the user of the emulator" : "\"tqlib init DIR\" writes one");
  }
  setenv(kVariable, file.c_str(), 1);
}

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

std::string catalogueFolder() {
  std::string directory;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(directory) == 0) {
    throw Failure("cannot create the catalogue folder: " + directory,
                  "see the log: the folder, or the configuration, cannot be used");
  }
  return directory;
}

std::string libraryFile(const std::string& library) {
  return catalogueFolder() + names::fileOf(library);
}

bool libraryExists(const std::string& library) {
  return TqLibEmlFile::IsFilePresent(libraryFile(library));
}

void requireLibrary(const std::string& library) {
  if (!libraryExists(library)) {
    throw Failure("no such library: " + library, "\"tqlib library list\" lists the libraries");
  }
}

// The configuration, and tqlib init, which writes a first one. It is read with the functions of the
// API, so that both always agree.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "TqLibEmlFile.h"
#include "catalogue/CatalogueCommands.h"
#include "files/ConfiguredPlaces.h"
#include "files/ReplacedFile.h"

namespace fs = std::filesystem;

namespace {

constexpr char kVariable[] = "TQ_PLATFORM_CONFIG";

constexpr char kConfiguration[] = R"(; Virtual tape libraries. The next operation sees a change.
[MediaManager]
; The catalogue is the folder LibEmulator in this one.
sVirtualLibXMLDirectory={0}
; Every volume is a folder in this one, which must exist.
sVirtualTapeDirectory={0}/tapes
; The maximum size of a volume, in MiB.
nVirtualTapeSizeMB={1}
)";

constexpr char kNextSteps[] = R"(Configuration: {0}/tqlib.ini
Next, give it to every command with --config, or once in the environment, and choose a log:
  export TQ_PLATFORM_CONFIG='{0}/tqlib.ini'
  export TQ_PLATFORM_LOG='{0}/tqlib.log'
then create a library:
  tqlib library create LIB001 --host NAME --drives 2 --slots 8 --mail-slots 2)";

struct Options {
  std::string folder;
  unsigned long volumeSize = 4096;
};

/// The configuration as it is now.
struct Store : TQPlatformInfo {
  Store() { setFocus(TQPI_Focus::getFocus()); }
};

// A value is one line of the file, and the API takes paths of at most 1024 bytes.
fs::path checkedFolder(const std::string& given) {
  fs::path folder = fs::absolute(given).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  const std::string& text = folder.native();
  const bool hasControl = std::ranges::any_of(
      text, [](char character) { return static_cast<unsigned char>(character) < 0x20; });
  if (hasControl || text.size() > 1000 || text.back() == ' ' || text.back() == '\\') {
    throw UsageError("the configuration cannot hold this folder's name: " + text);
  }
  return folder;
}

void writeNewFile(const std::string& path, const std::string& text) {
  ReplacedFile file(path, Existing::Kept);
  if (file.prepare(text) && file.commit()) return;
  if (file.isTargetInTheWay()) throw Failure("there is a configuration already: " + path);
  throw Failure(fmt::format("cannot write {}: {}", path, file.error()));
}

void runInit(const Options& options, const Session& session) {
  const fs::path folder = checkedFolder(options.folder);
  const std::string config = folder / "tqlib.ini";
  const std::string catalogue = folder / "LibEmulator";
  const std::string tapes = folder / "tapes";
  fs::create_directories(folder);
  writeNewFile(config, fmt::format(kConfiguration, folder.native(), options.volumeSize));
  fs::create_directory(catalogue);
  fs::create_directory(tapes);
  printResult(session.json, {{"config", config}, {"catalogue", catalogue}, {"tapes", tapes}},
              fmt::format(kNextSteps, folder.native()));
}

}  // namespace

void useConfiguration(const std::string& config) {
  const char* const named = std::getenv(kVariable);
  std::string file = config;
  if (file.empty() && named != nullptr) file = named;
  if (file.empty()) file = "/etc/tqlib.ini";
  // Without a configuration, the calls would report a path that an operator does not know.
  if (access(file.c_str(), R_OK) != 0 || fs::is_directory(file)) {
    const int code = fs::is_directory(file) ? EISDIR : errno;
    throw Failure(std::string("no configuration: ") + systemFailure(file, code).what(),
                  code == EACCES
                      ? "run it as the user of the emulator"
                      : "\"tqlib init DIR\" writes one; --config or TQ_PLATFORM_CONFIG names one");
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

void addInitCommand(CLI::App& app, Session& session) {
  const auto [command, options] =
      addCommand(app, session, runInit,
                 {"init", "Write a starting configuration into a folder",
                  "tqlib init store --volume-size-mb 8192", false});
  command.add_option("DIR", options.folder, "The folder; created when missing")->required();
  command.add_option("--volume-size-mb", options.volumeSize, "Maximum size of a volume, in MiB")
      ->check(CLI::Range(1UL, 1UL << 40))
      ->capture_default_str();
}

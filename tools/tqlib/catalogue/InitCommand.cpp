// tqlib init: writes a starting configuration and makes the folders that it names.
#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "files/ReplacedFile.h"

namespace fs = std::filesystem;

namespace {

constexpr char kConfiguration[] = R"(; Virtual tape libraries. The next operation sees a change.
[MediaManager]
; The catalogue is the folder LibEmulator in this one.
sVirtualLibXMLDirectory={0}
; Every volume is a folder in this one, which must exist.
sVirtualTapeDirectory={0}/tapes
; The maximum size of a volume, in MiB.
nVirtualTapeSizeMB={1}
)";

constexpr char kNextSteps[] = R"(Configuration: {0}/{1}
Next, give it to every command with --config, or once in the environment, and choose a log:
  export TQ_PLATFORM_CONFIG='{0}/{1}'
  export TQ_PLATFORM_LOG='{0}/tqlib.log'
then create a library:
  tqlib library create LIB001 --host NAME --drives 2 --slots 8 --mail-slots 2)";

struct Options {
  std::string folder;
  unsigned long volumeSize = 4096;
};

// A value is one line of the file, and the API takes paths of at most 1024 bytes.
fs::path checkedFolder(const std::string& given) {
  fs::path folder = fs::absolute(given).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  const std::string& text = folder.native();
  const bool hasControl = std::any_of(text.begin(), text.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x20;
  });
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
  fs::create_directories(folder);
  writeNewFile(folder / kConfigurationFileName,
               fmt::format(kConfiguration, folder.native(), options.volumeSize));
  fs::create_directory(folder / "LibEmulator");
  fs::create_directory(folder / "tapes");
  printResult(session.json,
              {{"config", (folder / kConfigurationFileName).string()},
               {"catalogue", (folder / "LibEmulator").string()},
               {"tapes", (folder / "tapes").string()}},
              fmt::format(kNextSteps, folder.native(), kConfigurationFileName));
}

}  // namespace

void addInitCommand(CLI::App& app, Session& session) {
  const auto [command, options] =
      addCommand(app, session,
                 {"init", "Write a starting configuration into a folder",
                  "tqlib init store --volume-size-mb 8192"},
                 runInit);
  command.add_option("DIR", options.folder, "The folder; created when missing")->required();
  command.add_option("--volume-size-mb", options.volumeSize, "Maximum size of a volume, in MiB")
      ->check(CLI::Range(1UL, 1UL << 40))
      ->capture_default_str();
}

// tqlib init: a starting configuration with the folders it names.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string folder;
  unsigned long volumeSize = 4096;
};

std::string configurationText(const fs::path& folder, unsigned long volumeSize) {
  std::ostringstream text;
  text << "; Virtual tape libraries. Changes are seen by the next operation.\n"
          "[MediaManager]\n"
          "; The catalogue lies in the folder LibEmulator in this one.\n"
          "sVirtualLibXMLDirectory="
       << folder.string()
       << "\n"
          "; Every volume is a folder in this one, which must exist.\n"
          "sVirtualTapeDirectory="
       << (folder / "tapes").string()
       << "\n"
          "; The most that one volume may hold, in MiB.\n"
          "nVirtualTapeSizeMB="
       << volumeSize << "\n";
  return text.str();
}

// A value is one line of the file, and the library takes paths of at most 1024 bytes.
fs::path checkedFolder(const std::string& given) {
  fs::path folder = fs::absolute(given).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  const std::string& text = folder.native();
  const bool control = std::any_of(text.begin(), text.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x20;
  });
  if (control || text.size() > 1000 || text.back() == ' ' || text.back() == '\\') {
    throw UsageError("the configuration cannot hold this folder's name: " + text);
  }
  return folder;
}

void writeNewFile(const fs::path& path, const std::string& text) {
  // "x" leaves the choice between a new file and an existing one to one system call.
  std::FILE* file = std::fopen(path.c_str(), "wx");
  if (!file && errno == EEXIST) throw Failure("there is a configuration already: " + path.string());
  if (!file) throw systemFailure("cannot create " + path.string(), errno);
  const bool written = std::fputs(text.c_str(), file) >= 0;
  if (std::fclose(file) != 0 || !written)
    throw systemFailure("cannot write " + path.string(), errno);
}

std::string nextSteps(const fs::path& config) {
  return "Configuration: " + config.string() +
         "\nNext, name it to every command, or once for all, and say where the log goes:"
         "\n  export TQ_PLATFORM_CONFIG='" +
         config.string() + "'\n  export TQ_PLATFORM_LOG='" +
         (config.parent_path() / "tqlib.log").string() +
         "'"
         "\nthen create a library:"
         "\n  tqlib library create LIB001 --host NAME --drives 2 --slots 8 --mail-slots 2";
}

void runInit(const Options& options, const Session& session) {
  const fs::path folder = checkedFolder(options.folder);
  const fs::path config = folder / kConfigurationFileName;
  fs::create_directories(folder);
  writeNewFile(config, configurationText(folder, options.volumeSize));
  fs::create_directory(folder / "LibEmulator");
  fs::create_directory(folder / "tapes");
  printResult(session.json,
              {{"config", config.string()},
               {"catalogue", (folder / "LibEmulator").string()},
               {"tapes", (folder / "tapes").string()}},
              nextSteps(config));
}

}  // namespace

void addInitCommand(CLI::App& app, Session& session) {
  const auto [command, options] =
      addCommand(app, session,
                 {"init", "Write a starting configuration into a folder",
                  "tqlib init store --volume-size-mb 8192"},
                 runInit);
  command.add_option("DIR", options.folder, "The folder; it is made when missing")->required();
  command.add_option("--volume-size-mb", options.volumeSize, "The most one volume holds, in MiB")
      ->check(CLI::Range(1UL, 1UL << 40))
      ->capture_default_str();
}

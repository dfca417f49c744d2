// tqlib volume: data into and out of tape volumes.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <limits>
#include <optional>

#include "CommandSetup.h"
#include "Configuration.h"
#include "Errors.h"
#include "Output.h"
#include "VolumeTransfer.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
  std::string file;
  int mark = 0;
  std::size_t blockSize = std::size_t{64} << 10;
};

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

std::optional<unsigned long long> sizeOf(int descriptor) {
  struct stat record {};
  if (fstat(descriptor, &record) != 0 || !S_ISREG(record.st_mode)) return std::nullopt;
  return static_cast<unsigned long long>(record.st_size);
}

Json transferJson(const Options& options, unsigned long long bytes, double seconds) {
  return {
      {"volume", options.volume}, {"mark", options.mark}, {"bytes", bytes}, {"seconds", seconds}};
}

std::string transferSentence(const Options& options, const char* done, unsigned long long bytes,
                             double seconds) {
  return "volume " + options.volume + ", mark " + std::to_string(options.mark) + ": " + done + " " +
         transferText(bytes, seconds);
}

void refuseOwnFile(const std::string& file, const std::string& markFile) {
  std::error_code ignored;  // a file that does not exist is not the mark's
  if (!isStandardStream(file) && fs::equivalent(file, markFile, ignored)) {
    throw UsageError("the file is the file mark itself: " + file);
  }
}

void writeVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const Descriptor input(openForReading(options.file));
  volumeRoot();
  TqLibEmlFile volume(options.volume);
  refuseOwnFile(options.file, markPath(volume, options.mark));

  Progress progress(sizeOf(input.get()));
  const auto bytes = writeMark(volume, options.mark, input.get(), options.blockSize, progress);
  const double seconds = progress.finish();
  printResult(session.json, transferJson(options, bytes, seconds),
              transferSentence(options, "wrote", bytes, seconds));
}

void readVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  TqLibEmlFile volume(options.volume);
  const std::string path = markPath(volume, options.mark);
  // The library would answer for a missing file mark with an empty one that it makes.
  if (!TqLibEmlFile::IsFilePresent(path)) {
    throw Failure("volume " + options.volume + " has no file mark " + std::to_string(options.mark));
  }
  refuseOwnFile(options.file, path);

  TargetFile target(options.file);
  Progress progress(fs::file_size(path));
  const auto bytes = readMark(volume, options.mark, target, options.blockSize, progress);
  target.commit();
  const double seconds = progress.finish();
  const auto print = isStandardStream(options.file) ? printResultBesideData : printResult;
  print(session.json, transferJson(options, bytes, seconds),
        transferSentence(options, "read", bytes, seconds));
}

void showVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  TqLibEmlFile volume(options.volume);
  std::string folder;
  int next = 0;
  unsigned long long bytes = 0;
  // A listing that breaks off still counts as a success of the call; the code tells.
  if (!volume.GetVolumeFolder(folder) || !volume.GetVolumeSize(bytes) ||
      !volume.GetLastFileMark(next) || volume.getErrorCode() != 0) {
    throw libraryFailure("volume " + options.volume + " cannot be examined", volume);
  }
  printResult(
      session.json,
      {{"volume", options.volume}, {"folder", folder}, {"nextMark", next}, {"bytes", bytes}},
      "volume:         " + options.volume + "\nfolder:         " + folder + "\nnext file mark: " +
          std::to_string(next) + "\nbytes:          " + std::to_string(bytes));
}

void eraseVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  TqLibEmlFile volume(options.volume);
  std::string folder;
  if (!volume.GetVolumeFolder(folder) || !volume.EraseVolume()) {
    throw libraryFailure("volume " + options.volume + " cannot be erased", volume);
  }
  // A file that cannot be deleted is no failure to the library; to an operator it is.
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      throw Failure("volume " + options.volume + " is not empty: " + entry.path().string() +
                    " cannot be deleted");
    }
  }
  printResult(session.json, {{"volume", options.volume}, {"erased", true}},
              "volume " + options.volume + " erased");
}

Command<Options> addVolumeCommand(CLI::App& group, Session& session, const CommandTexts& texts,
                                  void (*run)(const Options&, const Session&)) {
  const auto command = addCommand(group, session, texts, run);
  command.app.add_option("NAME", command.options.volume, "The volume, as a rule a barcode")
      ->required()
      ->check(nameText());
  return command;
}

void addTransfer(const Command<Options>& command, const char* fileHelp) {
  const auto [app, options] = command;
  app.add_option("FILE", options.file, fileHelp);
  app.add_option("--mark", options.mark, "Number of the file mark, from 0")
      ->required()
      ->check(CLI::Range(std::numeric_limits<int>::max()));
  // The library's transfers must stay below 2 GiB.
  app.add_option("--block-size", options.blockSize, "Bytes a transfer; 64K, 1M, ...")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(1UL, (1UL << 31) - 1))
      ->capture_default_str();
}

}  // namespace

void addVolumeCommands(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("volume", "Tape volumes")->require_subcommand(1);
  addTransfer(addVolumeCommand(*group, session,
                               {"write",
                                "Write a file mark from its beginning, in place of what it held.\n"
                                "Writing mark 0 erases the whole volume first.",
                                "tar -cf - . | tqlib volume write A00001 --mark 1"},
                               writeVolume),
              "The data; standard input when not given or -");
  addTransfer(
      addVolumeCommand(*group, session,
                       {"read", "Read a file mark", "tqlib volume read A00001 --mark 0 | wc -c"},
                       readVolume),
      "Where the data goes; standard output when not given or -");
  addVolumeCommand(*group, session,
                   {"info", "Show folder, next file mark and size", "tqlib volume info A00001"},
                   showVolume);
  addVolumeCommand(*group, session,
                   {"erase", "Delete all data of a volume", "tqlib volume erase A00001"},
                   eraseVolume);
}

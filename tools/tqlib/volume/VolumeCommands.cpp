// tqlib volume write, read and erase: data into and out of tape volumes.
#include <sys/stat.h>

#include <filesystem>
#include <limits>
#include <optional>

#include "volume/VolumeCommands.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Interruption.h"
#include "base/Output.h"
#include "catalogue/Configuration.h"
#include "catalogue/TapeFolder.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"
#include "volume/VolumeLock.h"
#include "volume/VolumeTransfer.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
  std::string file;
  int mark = 0;
  bool checksum = false;
  // The library opens the file and measures the volume for each block, so small ones are slow; one
  // of a MiB was measured slower than this as well.
  std::size_t blockSize = std::size_t{256} << 10;
};

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

void refuseOwnFile(const std::string& file, const fs::path& markFile) {
  std::error_code ignored;  // a file that does not exist is not the mark's
  if (!isStandardStream(file) && fs::equivalent(file, markFile, ignored)) {
    throw UsageError("the file is the file mark itself: " + file);
  }
}

// A program before the pipe that the same Ctrl-C ended looks like the end of the data, so the
// signal decides whether the file mark is whole.
void refuseInterrupted(const Options& options, unsigned long long bytes) {
  stopIfInterrupted("volume " + options.volume + ", mark " + std::to_string(options.mark) +
                    " is incomplete and holds " + std::to_string(bytes) + " bytes");
}

void keepChecksum(const fs::path& root, const Options& options, const std::string& checksum) {
  Checksums checksums = loadChecksums(root, options.volume);
  checksums[options.mark] = checksum;
  saveChecksums(root, options.volume, checksums);
}

void writeVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const Descriptor input(openForReading(options.file));
  const fs::path root = volumeRoot();
  TqLibEmlFile volume(options.volume);
  refuseOwnFile(options.file, root / options.volume / markName(options.mark));
  const VolumeLock lock(options.volume);
  if (options.checksum) requirePlaceForChecksums(root, options.volume);

  watchForInterruption();
  widenPipe(input.get());
  Sha256 checksum;
  Progress progress(sizeOf(input.get()));
  const auto bytes = writeMark(volume,
                               {options.mark, input.get(), options.blockSize,
                                [&] { dropChecksums(root, options.volume, options.mark); },
                                options.checksum ? &checksum : nullptr},
                               progress);
  const double seconds = progress.finish();
  refuseInterrupted(options, bytes);
  Json values = transferJson(options, bytes, seconds);
  values["sha256"] = nullptr;
  std::string sentence = transferSentence(options, "wrote", bytes, seconds);
  if (options.checksum) {
    const std::string digits = checksum.hex();
    keepChecksum(root, options, digits);
    values["sha256"] = digits;
    sentence += "\nSHA-256: " + digits;
  }
  printResult(session.json, values, sentence);
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

  watchForInterruption();
  TargetFile target(options.file);
  if (isStandardStream(options.file)) widenPipe(STDOUT_FILENO);
  Progress progress(fs::file_size(path));
  const auto bytes = readMark(path, target, options.blockSize, progress);
  target.commit();
  const double seconds = progress.finish();
  const auto print = isStandardStream(options.file) ? printResultBesideData : printResult;
  print(session.json, transferJson(options, bytes, seconds),
        transferSentence(options, "read", bytes, seconds));
}

void eraseVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  const VolumeLock lock(options.volume);
  TqLibEmlFile volume(options.volume);
  std::string folder;
  dropChecksums(volumeRoot(), options.volume, 0);
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
  addVolumeOperand(command.app, command.options.volume);
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
  addVolumeReports(*group, session);
  const auto write = addVolumeCommand(
      *group, session,
      {"write",
       "Write a file mark from its beginning, in place of what it held.\n"
       "Writing mark 0 erases the whole volume first. A program before a pipe that\n"
       "fails looks like the end of its data: ask for its exit code (pipefail).",
       "tar -cf - . | tqlib volume write A00001 --mark 1"},
      writeVolume);
  addTransfer(write, "The data; standard input when not given or -");
  write.app.add_flag("--checksum", write.options.checksum,
                     "Keep a SHA-256 of the file mark in NAME.sha256 beside the volume");
  addTransfer(
      addVolumeCommand(*group, session,
                       {"read", "Read a file mark", "tqlib volume read A00001 --mark 0 | wc -c"},
                       readVolume),
      "Where the data goes; standard output when not given or -");
  addVolumeCopy(*group, session);
  addVolumeVerify(*group, session);
  addVolumeCommand(
      *group, session,
      {"erase", "Delete all data of a volume, and its checksums", "tqlib volume erase A00001"},
      eraseVolume);
}

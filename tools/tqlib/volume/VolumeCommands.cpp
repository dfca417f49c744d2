// tqlib volume write, read and erase. A write goes through the API block by block; a read goes
// directly to the filemark's file. A signal stops a transfer between two blocks.
#include "volume/VolumeCommands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <limits>
#include <vector>

#include <fmt/format.h>

#include "TqLibEmlFile.h"
#include "base/Output.h"
#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
  std::string file;
  int mark = 0;
  bool checksum = false;
  // The API opens the file and measures the volume for each block, so small blocks are slow; blocks
  // of a MiB were measured slower as well.
  std::size_t blockSize = std::size_t{256} << 10;
};

/// The result as JSON, and as a sentence.
std::pair<Json, std::string> resultOf(const Options& options, const char* verb,
                                      unsigned long long bytes, double seconds) {
  return {
      {{"volume", options.volume}, {"mark", options.mark}, {"bytes", bytes}, {"seconds", seconds}},
      fmt::format("volume {}, mark {}: {} {}", options.volume, options.mark, verb,
                  transferText(bytes, seconds))};
}

/// The bytes that a file holds; 0 for anything else.
unsigned long long sizeOf(int descriptor) {
  struct stat record {};
  const bool isFile = fstat(descriptor, &record) == 0 && S_ISREG(record.st_mode);
  return isFile ? static_cast<unsigned long long>(record.st_size) : 0;
}

// The larger a pipe is, the less often the two programs at its ends wait for each other.
void widenPipe(int descriptor) {
  fcntl(descriptor, F_SETPIPE_SZ, 1 << 20);  // the most for any user
}

void refuseOwnFile(const std::string& file, const fs::path& markFile) {
  std::error_code ignored;  // a file that does not exist is not the mark's
  if (!isStandardStream(file) && fs::equivalent(file, markFile, ignored)) {
    throw UsageError("the file is the filemark itself: " + file);
  }
}

// The API returns the result of measuring the volume after the write: only count and code show
// whether the write itself succeeded.
void storeBlock(TqLibEmlFile& volume, int mark, unsigned long long& offset,
                std::span<const char> block) {
  while (!block.empty()) {
    unsigned long written = 0;
    const bool isMeasured = volume.WriteDataForDrive(
        mark, offset, reinterpret_cast<const unsigned char*>(block.data()), block.size(), written);
    offset += written;  // these bytes stay, even if they made the volume too large
    if (!isMeasured || volume.getErrorCode() != 0 || written == 0) {
      throw libraryFailure(fmt::format("the transfer stopped at byte {}", offset), volume);
    }
    block = block.subspan(written);
  }
}

/// Fills the filemark from `input` until that ends or a signal is recorded, and returns the bytes
/// written.
unsigned long long fillMark(const Options& options, const fs::path& path, int input,
                            Progress& progress, Sha256& checksum) {
  TqLibEmlFile volume(options.volume);
  std::vector<char> buffer(options.blockSize);
  // The input must be readable before the old data is deleted.
  std::size_t filled = readBlock(input, buffer);
  if (filled == 0) stopIfInterrupted("nothing was written");
  dropChecksums(options.volume, options.mark);
  // The API keeps the bytes beyond those it writes. The filemark is emptied now, not cut at the
  // end: an interrupted transfer must not leave a mixture of old and new data.
  if (fs::exists(path)) fs::resize_file(path, 0);
  if (filled == 0) {
    // For the API, a write of no bytes is a failure. But a read creates a missing file.
    unsigned char byte = 0;
    unsigned long count = 0;
    const bool isReady = options.mark != 0 || volume.EraseVolume();
    if (!isReady || !volume.ReadDataForDrive(options.mark, 0, &byte, 1, count)) {
      throw libraryFailure("cannot make the filemark", volume);
    }
  }
  unsigned long long offset = 0;
  while (filled > 0) {
    const auto block = std::span(buffer).first(filled);
    storeBlock(volume, options.mark, offset, block);
    if (options.checksum) checksum.update(block);
    progress.advance(filled);
    filled = readBlock(input, buffer);
  }
  return offset;
}

void writeVolume(const Options& options, const Session& session) {
  watchForInterruption();
  const FileDescriptor input = openForReading(options.file);
  const fs::path path = volumeRoot() / options.volume / markName(options.mark);
  refuseOwnFile(options.file, path);
  const VolumeLock lock(options.volume);
  // Fails now, not after a long transfer, if the checksum cannot be saved.
  if (options.checksum) OutputFile(checksumFile(options.volume).string());

  widenPipe(input.get());
  Sha256 checksum;
  Progress progress(sizeOf(input.get()));
  const auto bytes = fillMark(options, path, input.get(), progress, checksum);
  const double seconds = progress.finish();
  // If the same Ctrl-C ended the program before the pipe, the data only seems complete.
  stopIfInterrupted(fmt::format("volume {}, mark {} is incomplete and holds {} bytes",
                                options.volume, options.mark, bytes));
  auto [values, sentence] = resultOf(options, "wrote", bytes, seconds);
  values["sha256"] = nullptr;
  if (options.checksum) {
    Checksums checksums = loadChecksums(options.volume);
    const std::string digits = checksums[options.mark] = checksum.hex();
    saveChecksums(options.volume, checksums);
    values["sha256"] = digits;
    sentence += "\nSHA-256: " + digits;
  }
  printResult(session.json, values, sentence);
}

// Does not read through the API, which opens the filemark for writing and creates a missing one. A
// read-only folder or file system would refuse that.
void readVolume(const Options& options, const Session& session) {
  requireVolume(options.volume);
  const fs::path path = volumeRoot() / options.volume / markName(options.mark);
  if (!fs::exists(path)) {
    throw Failure(fmt::format("volume {} has no filemark {}", options.volume, options.mark));
  }
  refuseOwnFile(options.file, path);

  watchForInterruption();
  OutputFile output(options.file);
  if (isStandardStream(options.file)) widenPipe(STDOUT_FILENO);
  const FileDescriptor input = openForReading(path.string());
  std::vector<char> buffer(options.blockSize);
  Progress progress(sizeOf(input.get()));
  unsigned long long bytes = 0;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    output.write({buffer.data(), filled});
    bytes += filled;
    progress.advance(filled);
  }
  output.commit();
  const auto [values, sentence] = resultOf(options, "read", bytes, progress.finish());
  printResult(session.json, values, sentence,
              isStandardStream(options.file) ? std::cerr : std::cout);
}

void eraseVolume(const Options& options, const Session& session) {
  requireVolume(options.volume);
  const VolumeLock lock(options.volume);
  TqLibEmlFile volume(options.volume);
  dropChecksums(options.volume, 0);
  if (!volume.EraseVolume()) throw libraryFailure("cannot erase volume " + options.volume, volume);
  // The API reports success even if a file could not be deleted.
  for (const fs::directory_entry& entry : fs::directory_iterator(volumeRoot() / options.volume)) {
    if (!entry.is_regular_file() || entry.is_symlink()) continue;
    throw Failure(fmt::format("volume {} is not empty: cannot delete {}", options.volume,
                              entry.path().string()));
  }
  printResult(session.json, {{"volume", options.volume}, {"erased", true}},
              fmt::format("volume {} erased", options.volume));
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
  app.add_option("--mark", options.mark, "Number of the filemark, from 0")
      ->required()
      ->check(CLI::Range(std::numeric_limits<int>::max()));
  // A transfer of the API must stay below 2 GiB.
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
       "Write a filemark from its beginning, in place of what it held.\n"
       "Writing mark 0 erases the whole volume first. A program before a pipe that\n"
       "fails looks like the end of its data: check its exit code (pipefail).",
       "tar -cf - . | tqlib volume write A00001 --mark 1"},
      writeVolume);
  addTransfer(write, "The data; standard input when not given or -");
  write.app.add_flag("--checksum", write.options.checksum,
                     "Keep a SHA-256 of the filemark in NAME.sha256 beside the volume");
  addTransfer(
      addVolumeCommand(*group, session,
                       {"read", "Read a filemark", "tqlib volume read A00001 --mark 0 | wc -c"},
                       readVolume),
      "Where the data goes; standard output when not given or -");
  addVolumeCopy(*group, session);
  addVolumeVerify(*group, session);
  addVolumeCommand(
      *group, session,
      {"erase", "Delete all data of a volume, and its checksums", "tqlib volume erase A00001"},
      eraseVolume);
}

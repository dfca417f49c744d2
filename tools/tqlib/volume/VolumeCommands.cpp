// tqlib volume write, read, erase and remove. A write goes through the API block by block; a read
// goes directly to the filemark's file. A signal stops a transfer between two blocks.
#include "volume/VolumeCommands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>

#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/Elements.h"
#include "common/FolderSync.h"
#include "volume/Checksums.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
  std::string file;
  int mark = 0;
  bool checksum = false;
  bool isNew = false;
  bool yes = false;
  bool force = false;
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
  if (isStandardStream(file)) return;
  // A write to filemark 0 erases all others first.
  const fs::path folder = fs::absolute(file).parent_path();
  if (fs::equivalent(file, markFile, ignored) ||
      (markNumber(markFile.filename()) == 0 &&
       fs::equivalent(folder, markFile.parent_path(), ignored))) {
    throw UsageError("the file is in the volume itself: " + file);
  }
}

// The API does not keep the system's reason, so one byte of the refused write is tried again.
Failure writeFailure(const fs::path& path, unsigned long long offset, char byte,
                     const TqLibEmlFile& volume) {
  const std::string what = fmt::format("the transfer stopped at byte {}", offset);
  if (volume.getErrorCode() != kVolumeFull) {
    const FileDescriptor file(openFile(path.c_str(), O_RDWR | O_CREAT | O_NONBLOCK, 0600));
    if (!file || pwrite(file.get(), &byte, 1, static_cast<off_t>(offset)) < 0) {
      return systemFailure(what, errno);
    }
    std::error_code ignored;
    fs::resize_file(path, offset, ignored);  // the byte may have been written this time
  }
  return libraryFailure(what, volume);
}

// The API returns the result of measuring the volume after the write: only count and code show
// whether the write itself succeeded.
void storeBlock(TqLibEmlFile& volume, int mark, const fs::path& path, unsigned long long& offset,
                std::span<const char> block) {
  while (!block.empty()) {
    unsigned long written = 0;
    const bool isMeasured = volume.WriteDataForDrive(
        mark, offset, reinterpret_cast<const unsigned char*>(block.data()), block.size(), written);
    offset += written;  // these bytes stay, even if they made the volume too large
    if (!isMeasured || volume.getErrorCode() != 0 || written == 0) {
      throw writeFailure(path, offset, block[std::min(written, block.size() - 1)], volume);
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
  dropRecords(options.volume, options.mark);
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
    storeBlock(volume, options.mark, path, offset, block);
    if (options.checksum) checksum.update(block);
    progress.advance(filled);
    filled = readBlock(input, buffer);
  }
  return offset;
}

// A new volume needs a medium of its name, since the name may be mistyped.
void requireKnownName(const Options& options, const fs::path& folder) {
  if (options.isNew || fs::is_directory(folder) || !placesOf({options.volume}).empty()) return;
  throw Failure("no volume and no medium has the name " + options.volume,
                "check the name, or create the volume with --new");
}

/// " (3 filemarks, 1234 bytes)": all that the folder of a volume holds, or one filemark if `mark`
/// is not 0. Empty when that has no bytes.
std::string dataText(const fs::path& folder, int mark = 0) {
  std::size_t marks = 0;
  std::uintmax_t bytes = 0;
  for (const std::string& name : namesIn(folder)) {
    const auto number = markNumber(name);
    if (mark != 0 && number != mark) continue;
    std::error_code failure;
    const auto size = fs::file_size(folder / name, failure);
    bytes += failure ? 0 : size;
    marks += number ? 1 : 0;
  }
  if (bytes == 0) return "";
  return fmt::format(" ({}, {})", counted(marks, "filemark"), counted(bytes, "byte"));
}

/// Asks before data is lost; a write to mark 0 erases the volume.
void requireOverwritable(const Options& options, const fs::path& folder) {
  const std::string lost = dataText(folder, options.mark);
  const std::string place = options.mark == 0 ? "" : fmt::format("mark {} of ", options.mark);
  const std::string deed = fmt::format("{} {}volume {}{}", lost.empty() ? "write" : "overwrite",
                                       place, options.volume, lost);
  requireVolumeConsent(options.yes, deed, !lost.empty(), {options.volume});
}

void writeVolume(const Options& options, const Session& session) {
  watchForInterruption();
  const FileDescriptor input = openForReading(options.file);
  const fs::path folder = volumeRoot() / options.volume;
  const fs::path path = folder / markName(options.mark);
  refuseOwnFile(options.file, path);
  requirePlainFile(path);
  requireKnownName(options, folder);
  const VolumeLock lock(options.volume);
  requireOverwritable(options, folder);
  // Fails now, not after a long transfer, if the checksum cannot be saved.
  requirePlainRecords(options.volume);
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

void refuseBinary(const Options& options, std::span<const char> block) {
  const bool isShown = isStandardStream(options.file) && isatty(STDOUT_FILENO) != 0;
  const auto isBinary = [](unsigned char c) {
    return std::iscntrl(c) != 0 && std::isspace(c) == 0;
  };
  if (options.force || !isShown || std::ranges::none_of(block, isBinary)) return;
  throw Failure(fmt::format("volume {}, mark {} is not text, and is not printed on a terminal",
                            options.volume, options.mark),
                fmt::format("\"tqlib volume read {0} --mark {1} {0}.{1}\" writes it to a file; "
                            "--force prints it",
                            shellWord(options.volume), options.mark));
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
  requirePlainFile(path);

  watchForInterruption();
  OutputFile output(options.file);
  if (isStandardStream(options.file)) widenPipe(STDOUT_FILENO);
  const FileDescriptor input = openForReading(path.string());
  std::vector<char> buffer(options.blockSize);
  Progress progress(sizeOf(input.get()));
  unsigned long long bytes = 0;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    if (bytes == 0) refuseBinary(options, std::span(buffer).first(filled));
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
  const fs::path folder = volumeRoot() / options.volume;
  const VolumeLock lock(options.volume);
  requirePlainRecords(options.volume);
  requireVolumeConsent(options.yes, "erase volume " + options.volume + dataText(folder), true,
                       {options.volume});
  TqLibEmlFile volume(options.volume);
  if (!volume.EraseVolume()) throw libraryFailure("cannot erase volume " + options.volume, volume);
  // The API reports success even if a file could not be deleted; a second try has the reason.
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file() && !entry.is_symlink()) fs::remove(entry);
  }
  dropRecords(options.volume, 0);
  printResult(session.json, {{"volume", options.volume}, {"erased", true}},
              fmt::format("volume {} erased", options.volume));
}

// The folder is first renamed to a temporary one, which "tqlib check" finds after a crash: half a
// volume must not look like a whole one. If the files beside it are left, a second removal deletes
// them.
void removeVolume(const Options& options, const Session& session) {
  const bool isLeft =
      fs::exists(checksumFile(options.volume)) || fs::exists(blockLengthFile(options.volume));
  if (!isLeft) requireVolume(options.volume);
  const fs::path folder = volumeRoot() / options.volume;
  refuseLink(folder);
  if (!options.force) refuseMediaElsewhere({options.volume}, kForceNext);
  const VolumeLock lock(options.volume);
  requirePlainRecords(options.volume);
  requireVolumeConsent(options.yes, "remove volume " + options.volume + dataText(folder), true,
                       {options.volume});
  // A volume whose files cannot be deleted stays whole.
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw systemFailure("cannot remove " + folder.string(), errno);
  }
  const fs::path removed = temporaryVolume("remove");
  fs::rename(folder, removed);
  syncFolder(folder.parent_path());
  dropRecords(options.volume, 0);
  fs::remove_all(removed);
  syncFolder(folder.parent_path());
  printResult(session.json, {{"volume", options.volume}, {"removed", true}},
              fmt::format("volume {} removed", options.volume));
}

Command<Options> addVolumeCommand(CLI::App& group, Session& session,
                                  void (*run)(const Options&, const Session&),
                                  const CommandTexts& texts) {
  const auto command = addCommand(group, session, run, texts);
  addVolumeOperand(command.app, command.options.volume);
  return command;
}

void addTransfer(const Command<Options>& command, const char* fileHelp) {
  const auto [app, options] = command;
  app.add_option("FILE", options.file, fileHelp);
  app.add_option("--mark", options.mark, "Number of the filemark, from 0")
      ->required()
      ->check(CLI::Range(INT_MAX));
  // A transfer of the API must stay below 2 GiB.
  app.add_option("--block-size", options.blockSize, "Bytes a transfer; 64K, 1M, ...")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(1UL, (1UL << 31) - 1))
      ->capture_default_str();
}

/// Why an emulator may use the media of volumes now; empty when none can. If the catalogue cannot
/// be read, a volume can still be changed, but not unasked.
std::string riskOf(const std::set<std::string>& volumes) {
  std::vector<std::string> unread;
  try {
    for (const auto& [library, element] : placesOf(volumes, &unread)) {
      if (element.elementType != LIB_ELEM_DRIVE) continue;
      return fmt::format("it is in {} of library {}", elementName(element), library);
    }
  } catch (const Failure& failure) {
    return fmt::format("it may be in a drive: {}", failure.what());
  }
  if (unread.empty()) return "";
  return "it may be in a drive of a library that cannot be read: " + unread.front();
}

}  // namespace

void requireVolumeConsent(bool isGiven, const std::string& deed, bool destroys,
                          const std::set<std::string>& volumes) {
  if (isGiven) return;  // to look for the media can take longer than a change
  const std::string risk = riskOf(volumes);
  if (!destroys && risk.empty()) return;
  requireConsent(false, risk.empty() ? deed : deed + "; " + risk);
}

void addVolumeCommands(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("volume", "Tape volumes")->require_subcommand(1);
  addVolumeReports(*group, session);
  const auto write = addVolumeCommand(
      *group, session, writeVolume,
      {"write",
       "Write a filemark from its beginning, in place of what it held.\n"
       "Writing mark 0 erases the whole volume first. Asks before data is overwritten,\n"
       "and when the medium is in a drive. A program before a pipe that fails looks\n"
       "like the end of its data: check its exit code (pipefail).",
       "tar -cf - . | tqlib volume write A00001 --mark 1"});
  addTransfer(write, "The data; standard input when not given or -");
  write.app.add_flag("--checksum", write.options.checksum,
                     "Keep a SHA-256 of the filemark in NAME.sha256 beside the volume");
  write.app.add_flag("--new", write.options.isNew,
                     "Also a volume that does not exist and that no library has a medium for");
  addConsent(write.app, write.options.yes);
  const auto read =
      addVolumeCommand(*group, session, readVolume,
                       {"read", "Read a filemark", "tqlib volume read A00001 --mark 0 | wc -c"});
  addTransfer(read, "Where the data goes; standard output when not given or -");
  read.app.add_flag("--force", read.options.force,
                    "Print data that is not text on a terminal, too");
  addVolumeCopy(*group, session);
  addVolumeVerify(*group, session);
  const auto erase = addVolumeCommand(
      *group, session, eraseVolume,
      {"erase", "Delete all data of a volume, with checksums and block lengths; asks before",
       "tqlib volume erase A00001 --yes"});
  addConsent(erase.app, erase.options.yes);
  const auto remove = addVolumeCommand(
      *group, session, removeVolume,
      {"remove",
       "Delete a volume, with its data, checksums and block lengths; asks before.\n"
       "Refused while a library has its medium.",
       "tqlib element set LIB001 slot:1000 --empty && tqlib volume remove A00001 --yes"});
  remove.app.add_flag("--force", remove.options.force, "Also while a library has its medium");
  addConsent(remove.app, remove.options.yes);
}

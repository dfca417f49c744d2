// tqlib volume copy and rename. A copy is built in a temporary folder, then renamed as a whole.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/Elements.h"
#include "catalogue/VolumeFiles.h"
#include "common/FolderSync.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string from;
  std::string to;
  bool yes = false;
  bool force = false;
};

void keepAccess(const fs::path& from, const FileDescriptor& to) {
  if (!copyAccess(from, to.get())) throw systemFailure("cannot copy the permissions", errno);
}

// Ranges that were never written are skipped, so the copy takes no more room than the original.
void copyData(int from, int to, Progress& progress) {
  constexpr std::size_t kBlock = std::size_t{1} << 20;
  off_t at = 0;
  while ((at = lseek(from, at, SEEK_DATA)) >= 0) {
    const off_t end = lseek(from, at, SEEK_HOLE);
    if (end < 0 || lseek(to, at, SEEK_SET) < 0)
      throw systemFailure("cannot copy the volume", errno);
    while (at < end) {
      stopIfInterrupted("nothing was copied");
      const off_t before = at;
      const auto most = std::min(static_cast<std::size_t>(end - at), kBlock);
      const ssize_t count = sendfile(to, from, &at, most);
      if (count < 0 && errno != EINTR) throw systemFailure("cannot copy the volume", errno);
      if (count == 0) break;  // the file became shorter, which is noticed at the end
      progress.advance(static_cast<unsigned long long>(at - before));
    }
  }
  if (errno != ENXIO) throw systemFailure("cannot read the volume", errno);
}

void copyMark(const FileMark& mark, const fs::path& to, Progress& progress) {
  const FileDescriptor source = openForReading(mark.path.string());
  const FileDescriptor target(openFile(to.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600));
  if (!target) throw systemFailure("cannot write " + to.string(), errno);
  keepAccess(mark.path, target);
  copyData(source.get(), target.get(), progress);
  const auto size = static_cast<off_t>(mark.bytes);
  if (ftruncate(target.get(), size) != 0 || fsync(target.get()) != 0) {
    throw systemFailure("cannot save " + to.string(), errno);
  }
}

void buildCopy(const VolumeContents& from, const fs::path& folder, Progress& progress) {
  for (const FileMark& mark : from.marks) {
    copyMark(mark, folder / mark.path.filename(), progress);
  }
  stopIfInterrupted("nothing was copied");
  const auto copied = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  if (static_cast<std::size_t>(copied) != from.marks.size()) {
    throw Failure("files of the copy were deleted while it was made");
  }
  keepAccess(from.folder, FileDescriptor(openFile(folder.c_str(), O_RDONLY)));
  syncFolder(folder);
}

// The records are saved first, so that a copy under its final name is complete. They replace those
// of an earlier volume of that name.
void place(const fs::path& copy, const std::string& volume, const VolumeRecords& records) {
  const fs::path root = copy.parent_path();
  requirePlainRecords(volume);
  try {
    saveRecords(volume, records);
    fs::rename(copy, root / volume);
  } catch (...) {
    unlink(checksumFile(volume).c_str());
    unlink(blockLengthFile(volume).c_str());
    throw;
  }
  syncFolder(root);
}

/// Locks a volume that must not hold anything yet.
std::unique_ptr<VolumeLock> lockNew(const std::string& volume) {
  refuseLink(volumeRoot() / volume);
  auto lock = std::make_unique<VolumeLock>(volume);
  if (!fs::is_empty(volumeRoot() / volume)) {
    throw Failure(fmt::format("volume {} exists and holds data", volume),
                  fmt::format("\"tqlib volume erase {}\" deletes it", shellWord(volume)));
  }
  return lock;
}

void copyVolume(const Options& options, const Session& session) {
  if (options.from == options.to) throw UsageError("a volume cannot be copied to itself");
  watchForInterruption();
  requireVolume(options.from);
  const VolumeLock source(options.from);
  const auto target = lockNew(options.to);
  requireVolumeConsent(options.yes, "write volume " + options.to, false, {options.to});
  const VolumeContents from = examineVolume(options.from);
  const VolumeRecords records = loadRecords(options.from);
  unsigned long long bytes = 0;
  for (const FileMark& mark : from.marks) bytes += mark.bytes;

  const fs::path copy = temporaryVolume("copy");
  if (mkdir(copy.c_str(), 0700) != 0) throw systemFailure("cannot make " + copy.string(), errno);
  const FolderLock lock(copy, std::chrono::seconds(5));  // shows that it is in use
  const auto remove = [](const fs::path* folder) {
    std::error_code ignored;
    fs::remove_all(*folder, ignored);  // unless it was renamed
  };
  const std::unique_ptr<const fs::path, decltype(remove)> removal(&copy, remove);
  Progress progress(bytes);
  buildCopy(from, copy, progress);
  // An emulator does not take the lock of a volume.
  if (examineVolume(options.from).marks != from.marks) {
    throw Failure(fmt::format("volume {} was written to while it was copied", options.from),
                  "copy it again while its medium is in no drive");
  }
  place(copy, options.to, records);
  target->keep();
  const double seconds = progress.finish();

  std::string sentence =
      fmt::format("volume {} copied to {}, {}: {}", options.from, options.to,
                  counted(from.marks.size(), "filemark"), transferText(bytes, seconds));
  for (const std::string& name : from.others) sentence += "\nno filemark, not copied: " + name;
  printResult(session.json,
              {{"from", options.from},
               {"to", options.to},
               {"marks", from.marks.size()},
               {"bytes", bytes},
               {"seconds", seconds},
               {"checksums", records.checksums.size()},
               {"notCopied", from.others}},
              sentence);
}

// A second rename completes one that a crash ended before the folder had its new name.
void renameVolume(const Options& options, const Session& session) {
  if (options.from == options.to) throw UsageError("both names are the same");
  requireVolume(options.from);
  const fs::path folder = volumeRoot() / options.from;
  refuseLink(folder);
  if (!options.force) refuseMediaElsewhere({options.from, options.to}, kForceNext);
  const VolumeLock source(options.from);
  const auto target = lockNew(options.to);
  requireVolumeConsent(options.yes, "rename volume " + options.from, false,
                       {options.from, options.to});
  place(folder, options.to, loadRecords(options.from));
  target->keep();
  dropRecords(options.from, 0);
  printResult(session.json, {{"from", options.from}, {"to", options.to}},
              fmt::format("volume {} renamed to {}", options.from, options.to));
}

}  // namespace

void addVolumeCopy(CLI::App& group, Session& session) {
  const auto [copy, options] = addCommand(
      group, session, copyVolume,
      {"copy",
       "Copy all filemarks of a volume, with checksums and block lengths, to a new one.\n"
       "Nothing may write to either meanwhile. A copy that fails leaves nothing.",
       "tqlib volume copy A00001 A00002"});
  addVolumeOperand(copy, options.from, "NAME", "The volume to copy");
  addVolumeOperand(copy, options.to, "NEW", "The new volume; one that exists has to be empty");
  addConsent(copy, options.yes);

  const auto [rename, renaming] = addCommand(
      group, session, renameVolume,
      {"rename",
       "Rename a volume, with checksums and block lengths; nothing may use it meanwhile.\n"
       "Refused while a library has a medium of either name. To give a medium a new\n"
       "barcode, use --force, then \"tqlib element set --replace\".",
       "tqlib volume rename A00001 B00001 --force"});
  addVolumeOperand(rename, renaming.from, "NAME", "The volume to rename");
  addVolumeOperand(rename, renaming.to, "NEW", "Its new name; one that exists has to be empty");
  rename.add_flag("--force", renaming.force, "Also while a library has a medium of either name");
  addConsent(rename, renaming.yes);
}

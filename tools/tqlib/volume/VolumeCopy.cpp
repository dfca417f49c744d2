// tqlib volume copy. The copy is built in a temporary folder, which is renamed when it is whole.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <numeric>

#include <fmt/format.h>

#include "base/Output.h"
#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/Configuration.h"
#include "catalogue/FolderLock.h"
#include "catalogue/VolumeFiles.h"
#include "common/FolderSync.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string from;
  std::string to;
};

fs::path madeFolder(fs::path path) {
  if (mkdir(path.c_str(), 0700) != 0) throw systemFailure("cannot make " + path.string(), errno);
  return path;
}

/// A folder that is removed at the end unless it was renamed. Its lock shows that it is in use.
class TemporaryFolder {
public:
  explicit TemporaryFolder(fs::path path)
      : m_path(madeFolder(std::move(path))), m_lock(m_path.string(), std::chrono::seconds(5)) {}
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!m_path.empty()) fs::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return m_path; }
  void rename(const fs::path& place) {
    fs::rename(m_path, place);
    m_path.clear();
  }

private:
  fs::path m_path;
  FolderLock m_lock;
};

// Only root may give a file away; others can keep the group at best.
void copyAccess(const struct stat& from, int to) {
  const bool isOwned =
      fchown(to, from.st_uid, from.st_gid) == 0 || fchown(to, uid_t(-1), from.st_gid) == 0;
  if (fchmod(to, from.st_mode & (isOwned ? 07777 : 0777)) != 0) {
    throw systemFailure("cannot set the permissions of the copy", errno);
  }
}

// Ranges that were never written are skipped, so the copy takes no more room than the original.
void copyData(int from, int to, off_t size, Progress& progress) {
  constexpr std::size_t kBlock = std::size_t{1} << 20;
  for (off_t at = 0; at < size;) {
    const off_t start = lseek(from, at, SEEK_DATA);
    if (start < 0 && errno != ENXIO) throw systemFailure("cannot read the volume", errno);
    const off_t end = start < 0 ? size : lseek(from, start, SEEK_HOLE);
    const off_t data = start < 0 ? size : start;
    progress.advance(static_cast<unsigned long long>(data - at));
    lseek(to, data, SEEK_SET);
    for (at = data; at < end;) {
      stopIfInterrupted("nothing was copied");
      const auto most = std::min(static_cast<std::size_t>(end - at), kBlock);
      const ssize_t count = sendfile(to, from, &at, most);
      if (count < 0 && errno != EINTR) throw systemFailure("cannot copy the volume", errno);
      if (count == 0) throw Failure("the volume became shorter while it was copied");
      progress.advance(static_cast<unsigned long long>(std::max<ssize_t>(count, 0)));
    }
  }
}

void copyMark(const fs::path& from, const fs::path& to, Progress& progress) {
  const FileDescriptor source = openForReading(from.string());
  const FileDescriptor target(openFile(to.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600));
  if (!target) throw systemFailure("cannot write " + to.string(), errno);
  struct stat record {};
  if (fstat(source.get(), &record) != 0) throw systemFailure("cannot read the volume", errno);
  copyAccess(record, target.get());
  copyData(source.get(), target.get(), record.st_size, progress);
  if (ftruncate(target.get(), record.st_size) != 0 || fsync(target.get()) != 0) {
    throw systemFailure("cannot save " + to.string(), errno);
  }
}

void buildCopy(const VolumeContents& from, const fs::path& folder, Progress& progress) {
  for (const FileMark& mark : from.marks) {
    copyMark(mark.path, folder / mark.path.filename(), progress);
  }
  stopIfInterrupted("nothing was copied");
  const auto copied = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  if (static_cast<std::size_t>(copied) != from.marks.size()) {
    throw Failure("files of the copy were deleted while it was made");
  }
  const FileDescriptor target = FileDescriptor(openFile(folder.c_str(), O_RDONLY | O_DIRECTORY));
  struct stat record {};
  if (!target || stat(from.folder.c_str(), &record) != 0) {
    throw systemFailure("cannot set the permissions of " + folder.string(), errno);
  }
  copyAccess(record, target.get());
  syncFolder(folder);
}

// The checksums come first: a copy in its place is one that has succeeded. They replace those that
// an erased volume left.
void place(TemporaryFolder& copy, const fs::path& root, const std::string& volume,
           const Checksums& checksums) {
  try {
    saveChecksums(root, volume, checksums);
    copy.rename(root / volume);
  } catch (...) {
    unlink(checksumFile(root, volume).c_str());
    throw;
  }
  syncFolder(root);
}

void requireRoom(const fs::path& folder, const std::string& volume) {
  const bool isPresent = fs::symlink_status(folder).type() != fs::file_type::not_found;
  if (isPresent && !(fs::is_directory(folder) && fs::is_empty(folder))) {
    throw Failure(fmt::format("volume {} exists and holds data", volume),
                  fmt::format("\"tqlib volume erase {}\" deletes it", volume));
  }
}

void copyVolume(const Options& options, const Session& session) {
  if (options.from == options.to) throw UsageError("a volume cannot be copied to itself");
  useConfiguration(session.config);
  requireVolume(options.from);
  const fs::path root = volumeRoot();
  const VolumeLock source(options.from);
  VolumeLock target(options.to);
  requireRoom(root / options.to, options.to);
  const VolumeContents from = examineVolume(options.from);
  const Checksums checksums = loadChecksums(root, options.from);
  const auto add = [](unsigned long long sum, const FileMark& mark) { return sum + mark.bytes; };
  const auto bytes = std::accumulate(from.marks.begin(), from.marks.end(), 0ULL, add);

  watchForInterruption();
  TemporaryFolder copy(root / fmt::format(".tqlib-copy-{}", getpid()));
  Progress progress(bytes);
  buildCopy(from, copy.path(), progress);
  // An emulator does not take the lock of a volume.
  if (examineVolume(options.from).marks != from.marks) {
    throw Failure(fmt::format("volume {} was written to while it was copied", options.from),
                  "copy it again while its medium is in no drive");
  }
  place(copy, root, options.to, checksums);
  target.keep();
  const double seconds = progress.finish();

  std::string sentence = fmt::format("volume {} copied to {}, {} file marks: {}", options.from,
                                     options.to, from.marks.size(), transferText(bytes, seconds));
  for (const std::string& name : from.others) sentence += "\nno file mark, not copied: " + name;
  printResult(session.json,
              {{"from", options.from},
               {"to", options.to},
               {"marks", from.marks.size()},
               {"bytes", bytes},
               {"seconds", seconds},
               {"checksums", checksums.size()},
               {"notCopied", from.others}},
              sentence);
}

}  // namespace

void addVolumeCopy(CLI::App& group, Session& session) {
  const auto [copy, options] =
      addCommand(group, session,
                 {"copy",
                  "Copy all file marks of a volume, and their checksums, to a new one.\n"
                  "Nothing may write to either meanwhile. A copy that fails leaves nothing.",
                  "tqlib volume copy A00001 A00002"},
                 copyVolume);
  addVolumeOperand(copy, options.from, "NAME", "The volume to copy");
  addVolumeOperand(copy, options.to, "NEW", "The new volume; one that exists has to be empty");
}

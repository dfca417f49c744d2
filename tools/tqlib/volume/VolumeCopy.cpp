// tqlib volume copy: a volume whole under another name. It is built aside and renamed, so that a
// copy that breaks off leaves no half volume.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <numeric>

#include "base/Command.h"
#include "base/Errors.h"
#include "base/Interruption.h"
#include "base/Output.h"
#include "base/Progress.h"
#include "catalogue/Configuration.h"
#include "catalogue/FolderLock.h"
#include "catalogue/TapeFolder.h"
#include "catalogue/TargetFile.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"
#include "volume/VolumeLock.h"

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

/// A folder that is gone at the end unless it has taken its place. Its lock tells those to whom the
/// process in its name means nothing that it is in use.
class AsideFolder {
public:
  explicit AsideFolder(fs::path path)
      : m_path(madeFolder(std::move(path))), m_lock(m_path.string(), kPatience) {}
  ~AsideFolder() {
    std::error_code ignored;
    if (!m_path.empty()) fs::remove_all(m_path, ignored);
  }
  AsideFolder(const AsideFolder&) = delete;
  AsideFolder& operator=(const AsideFolder&) = delete;

  const fs::path& path() const { return m_path; }
  void rename(const fs::path& place) {
    fs::rename(m_path, place);
    m_path.clear();
  }

private:
  static constexpr std::chrono::seconds kPatience{5};

  fs::path m_path;
  FolderLock m_lock;
};

class Copying {
public:
  explicit Copying(Progress& progress) : m_buffer(kBlock), m_progress(progress) {}

  void copy(const fs::path& from, const fs::path& to) {
    const Descriptor source(openForReading(from.string()));
    struct stat record {};
    if (fstat(source.get(), &record) != 0)
      throw systemFailure("cannot read " + from.string(), errno);
    const Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (target.get() < 0) throw systemFailure("cannot write " + to.string(), errno);
    keepAccess(record, target.get(), to);
    copyData(source.get(), target.get(), record.st_size);
    if (ftruncate(target.get(), record.st_size) != 0 || fsync(target.get()) != 0) {
      throw systemFailure("cannot save " + to.string(), errno);
    }
  }

private:
  static constexpr std::size_t kBlock = std::size_t{1} << 20;

  // What was never written stays unwritten: a hole costs nothing in the copy either.
  void copyData(int from, int to, off_t size) {
    for (off_t done = 0; done < size;) {
      off_t start = lseek(from, done, SEEK_DATA);
      if (start < 0 && errno != ENXIO) throw systemFailure("cannot read the volume", errno);
      if (start < 0) start = size;
      m_progress.advance(static_cast<unsigned long long>(start - done));
      done = start;
      if (start < size) done = copyRange(from, to, start, lseek(from, start, SEEK_HOLE));
    }
  }

  off_t copyRange(int from, int to, off_t start, off_t end) {
    while (start < end) {
      stopIfInterrupted("nothing was copied");
      const auto most = std::min(static_cast<std::size_t>(end - start), m_buffer.size());
      const ssize_t count = pread(from, m_buffer.data(), most, start);
      if (count < 0) throw systemFailure("cannot read the volume", errno);
      if (count == 0) throw Failure("the volume became shorter while it was copied");
      writeAt(to, start, std::span(m_buffer).first(static_cast<std::size_t>(count)));
      start += count;
      m_progress.advance(static_cast<unsigned long long>(count));
    }
    return start;
  }

  static void writeAt(int descriptor, off_t offset, std::span<const unsigned char> block) {
    while (!block.empty()) {
      const ssize_t count = pwrite(descriptor, block.data(), block.size(), offset);
      if (count < 0) throw systemFailure("cannot write the copy", errno);
      offset += count;
      block = block.subspan(static_cast<std::size_t>(count));
    }
  }

  std::vector<unsigned char> m_buffer;
  Progress& m_progress;
};

void requireRoom(const fs::path& folder, const std::string& volume) {
  const bool present = fs::symlink_status(folder).type() != fs::file_type::not_found;
  if (present && !(fs::is_directory(folder) && fs::is_empty(folder))) {
    throw Failure("volume " + volume + " exists and holds data",
                  "\"tqlib volume erase " + volume + "\" deletes it");
  }
}

unsigned long long bytesOf(const std::vector<FileMark>& marks) {
  return std::accumulate(
      marks.begin(), marks.end(), 0ULL,
      [](unsigned long long sum, const FileMark& mark) { return sum + mark.bytes; });
}

void keepFolderAccess(const fs::path& from, const fs::path& to) {
  struct stat record {};
  const Descriptor folder(::open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0 || stat(from.c_str(), &record) != 0) {
    throw systemFailure("cannot set the permissions of " + to.string(), errno);
  }
  keepAccess(record, folder.get(), to);
}

void requireAll(const std::vector<FileMark>& marks, const fs::path& folder) {
  const auto copied = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  if (static_cast<std::size_t>(copied) != marks.size()) {
    throw Failure("files of the copy are missing: somebody deleted them meanwhile");
  }
}

// An emulator takes no lock on a volume. A copy of what it was writing would be worth nothing.
void requireUnchanged(const std::string& volume, const VolumeContents& copied) {
  if (examineVolume(volume).marks != copied.marks) {
    throw Failure("volume " + volume + " was written to while it was copied",
                  "copy it again while its medium is in no drive");
  }
}

void buildCopy(const VolumeContents& from, const AsideFolder& aside, Progress& progress) {
  Copying copying(progress);
  for (const FileMark& mark : from.marks) {
    copying.copy(mark.path, aside.path() / mark.path.filename());
  }
  stopIfInterrupted("nothing was copied");
  requireAll(from.marks, aside.path());
  keepFolderAccess(from.folder, aside.path());
  syncFolder(aside.path());
}

// The checksums come first: a copy in its place is one that has succeeded. They replace those that
// an erased volume left, which are not those of the copy.
void place(AsideFolder& aside, const fs::path& root, const std::string& volume,
           const Checksums& checksums) {
  try {
    saveChecksums(root, volume, checksums);
    aside.rename(root / volume);
  } catch (...) {
    unlink(checksumFile(root, volume).c_str());
    throw;
  }
  syncFolder(root);
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
  const unsigned long long bytes = bytesOf(from.marks);

  watchForInterruption();
  AsideFolder aside(root / (".tqlib-copy-" + std::to_string(getpid())));
  Progress progress(bytes);
  buildCopy(from, aside, progress);
  requireUnchanged(options.from, from);
  place(aside, root, options.to, checksums);
  target.keep();
  const double seconds = progress.finish();

  std::string sentence = "volume " + options.from + " copied to " + options.to + ", " +
                         std::to_string(from.marks.size()) +
                         " file marks: " + transferText(bytes, seconds);
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
                  "Nothing may write to either meanwhile. A copy that breaks off leaves nothing.",
                  "tqlib volume copy A00001 A00002"},
                 copyVolume);
  addVolumeOperand(copy, options.from, "NAME", "The volume to copy");
  addVolumeOperand(copy, options.to, "NEW", "The new volume; one that exists has to be empty");
}

#include "catalogue/TargetFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "base/Errors.h"
#include "base/Interruption.h"

namespace fs = std::filesystem;

Descriptor::~Descriptor() {
  if (m_descriptor > STDERR_FILENO) close(m_descriptor);
}

bool isStandardStream(const std::string& file) {
  return file.empty() || file == "-";
}

int openForReading(const std::string& file) {
  if (isStandardStream(file)) return STDIN_FILENO;
  // A folder opens like a file and only fails to be read, when a volume has already been touched.
  if (fs::is_directory(file)) throw systemFailure("cannot open " + file, EISDIR);
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw systemFailure("cannot open " + file, errno);
  return descriptor;
}

std::size_t readBlock(int descriptor, std::span<unsigned char> block) {
  std::size_t filled = 0;
  while (filled < block.size()) {
    waitForInput(descriptor);
    if (interruption() != 0) break;
    const ssize_t count = read(descriptor, block.data() + filled, block.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw systemFailure("cannot read the input", errno);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

// Only root may give a file away; others can keep the group at best.
void keepAccess(const struct stat& old, int file, const fs::path& path) {
  const bool isOwned =
      fchown(file, old.st_uid, old.st_gid) == 0 || fchown(file, uid_t(-1), old.st_gid) == 0;
  const mode_t kept = old.st_mode & (isOwned ? 07777 : 0777);
  if (fchmod(file, kept) != 0) {
    throw systemFailure("cannot set the permissions of " + path.string(), errno);
  }
}

TargetFile::TargetFile(const std::string& file) : m_descriptor(open(file)) {}

TargetFile::~TargetFile() {
  if (!m_aside.empty()) unlink(m_aside.c_str());
}

int TargetFile::open(const std::string& file) {
  if (isStandardStream(file)) return STDOUT_FILENO;
  m_target = fs::weakly_canonical(file);  // a link stays one, and its target is replaced
  fs::path path = m_target;
  int flags = O_WRONLY | O_CLOEXEC;
  if (!fs::exists(m_target) || fs::is_regular_file(m_target)) {
    path += ".tqlib-" + std::to_string(getpid());
    flags |= O_CREAT | O_EXCL;
  }
  const int descriptor = ::open(path.c_str(), flags, 0666);
  if (descriptor < 0 && errno == EINTR) stopIfInterrupted("nothing was written");
  if (descriptor < 0) throw systemFailure("cannot write " + path.string(), errno);
  if (path != m_target) m_aside = path;
  return descriptor;
}

void TargetFile::refuseInterrupted() const {
  stopIfInterrupted(m_aside.empty() ? "the output is incomplete"
                                    : m_target.string() + " was not written");
}

void TargetFile::write(std::span<const unsigned char> block) {
  while (!block.empty()) {
    refuseInterrupted();
    const ssize_t count = ::write(m_descriptor.get(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EPIPE) {
      throw Failure("the output is incomplete: what reads it has ended");
    }
    if (count < 0) throw systemFailure("cannot write the output", errno);
    block = block.subspan(static_cast<std::size_t>(count));
  }
}

void TargetFile::commit() {
  refuseInterrupted();  // what is written may end where the signal came
  if (m_aside.empty()) return;
  struct stat old {};
  if (stat(m_target.c_str(), &old) == 0) keepAccess(old, m_descriptor.get(), m_aside);
  if (fsync(m_descriptor.get()) != 0) throw systemFailure("cannot save " + m_aside.string(), errno);
  fs::rename(m_aside, m_target);
  m_aside.clear();
  syncFolder(m_target.parent_path());
}

void syncFolder(const fs::path& folder) {
  const fs::path named = folder.empty() ? "." : folder;
  const Descriptor descriptor(::open(named.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // A file system that knows no such thing has the names on the disk in its own time.
  if (descriptor.get() < 0 || (fsync(descriptor.get()) != 0 && errno != EINVAL)) {
    throw systemFailure("cannot save " + named.string(), errno);
  }
}

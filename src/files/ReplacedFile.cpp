// Writes a temporary file in the folder of the target, syncs it, and renames it to the target. The
// process holds flock(2) on the temporary file, so others can see that it is not stale.

#include "files/ReplacedFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <utility>

#include "common/FileContent.h"
#include "common/FolderListing.h"
#include "common/FolderSync.h"
#include "files/Names.h"

namespace {

constexpr mode_t kNewFileMode = 0666;  // reduced by the process's umask
constexpr mode_t kOwnerOnly = 0600;    // until it has the permissions of the old file
constexpr mode_t kPermissionBits = 07777;
constexpr mode_t kAccessBits = 0777;  // without set-user-ID and the like, for another owner
constexpr int kMaxHops = 40;          // the kernel's own limit for symbolic links
constexpr char kExistsText[] = "the file was taken for absent";

/// The path with symbolic links followed. The file at the end need not exist. `code` is 0, or the
/// errno value if a link could not be read.
std::string followLinks(const std::string& path, int& code) {
  std::filesystem::path target = path;
  std::error_code failure;
  for (int hops = 0; hops < kMaxHops && !failure; ++hops) {
    const auto link = std::filesystem::read_symlink(target, failure);
    target = failure ? target : target.parent_path() / link;
  }
  const bool isEnd = !failure || failure.value() == EINVAL || failure.value() == ENOENT;
  code = isEnd ? 0 : failure.value();
  return target.string();
}

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

bool writeAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      errno = written == 0 ? ENOSPC : errno;
      return false;
    }
    content.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

/// Whether only the folder refuses a new file, so the file itself may still be writable. Examples:
/// a folder of another user, a sticky folder, a single file mounted into a read-only folder.
bool admitsNoNewFile(int code) {
  return code == EACCES || code == EPERM || code == EROFS || code == EBUSY;
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return ::lstat(a.c_str(), &first) == 0 && ::lstat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// The name of a temporary file. It is short, because the target's name may already have the
/// maximum length. It is random, because a process in another container may have the same process
/// id.
std::string temporaryName(Existing existing) {
  std::random_device chance;
  char name[40];
  std::snprintf(name, sizeof name, "%s%08x%08x%s", names::temporaryPrefix, chance(), chance(),
                existing == Existing::Kept ? names::temporaryFirstSuffix : names::temporarySuffix);
  return name;
}

}  // namespace

bool copyAccess(const std::string& from, int to) {
  struct stat old {};
  struct stat made {};
  if (::stat(from.c_str(), &old) != 0) {
    return errno == ENOENT;
  }
  if (::fstat(to, &made) != 0) {
    return false;
  }
  const bool isOwned = (made.st_uid == old.st_uid && made.st_gid == old.st_gid) ||
                       ::fchown(to, old.st_uid, old.st_gid) == 0 ||
                       ::fchown(to, static_cast<uid_t>(-1), old.st_gid) == 0;
  const mode_t kept = old.st_mode & (isOwned ? kPermissionBits : kAccessBits);
  return (made.st_mode & kPermissionBits) == kept || ::fchmod(to, kept) == 0;
}

ReplacedFile::ReplacedFile(const std::string& path, Existing existing)
    : m_path(path), m_existing(existing) {
  int code = 0;
  m_target = followLinks(path, code);
  m_folder = folderOf(m_target);
  if (code != 0) {
    fail("cannot examine the path for symbolic links", code);
  }
}

ReplacedFile::~ReplacedFile() {
  if (!m_temporary.empty() && !m_isLeft) {
    ::unlink(m_temporary.c_str());
  }
}

bool ReplacedFile::isElsewhere() const {
  return m_folder != folderOf(m_path);
}

bool ReplacedFile::fail(const char* what, int code) {
  m_error = std::string(what) + ": " + std::strerror(code);
  return false;
}

bool ReplacedFile::prepare(std::string_view content) {
  m_content = content;
  m_isWhole = true;
  return begin() && (m_temporary.empty() || (append(content) && finish()));
}

bool ReplacedFile::begin() {
  if (!m_error.empty()) {
    return false;
  }
  struct stat record {};
  m_isNew = ::lstat(m_target.c_str(), &record) != 0 && errno == ENOENT;
  if (m_existing == Existing::Kept && !m_isNew) {
    m_isTargetInTheWay = true;
    return fail(kExistsText, EEXIST);
  }
  // A rename needs no write permission on the file, so check it here.
  if (!m_isNew && ::faccessat(AT_FDCWD, m_target.c_str(), W_OK, AT_EACCESS) != 0) {
    return fail("cannot write the file", errno);
  }
  std::string temporary = m_folder + '/' + temporaryName(m_existing);
  const std::string& model = m_accessModel.empty() ? m_target : m_accessModel;
  const bool hasModel = !m_isNew || !m_accessModel.empty();
  m_file = FileDescriptor(openFile(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL,
                                   hasModel ? kOwnerOnly : kNewFileMode));
  if (!m_file) {
    const int code = errno;
    return (!m_isNew && admitsNoNewFile(code)) || fail("cannot create a temporary file", code);
  }
  m_temporary = std::move(temporary);
  ::flock(m_file.get(), LOCK_EX | LOCK_NB);  // keeps removeStaleFiles() of others from removing it
  if (!copyAccess(model, m_file.get())) {
    ::unlink(m_temporary.c_str());
    m_temporary.clear();
  }
  return true;
}

bool ReplacedFile::append(std::string_view content) {
  return (!m_temporary.empty() && writeAll(m_file.get(), content)) ||
         fail("cannot write the new content", errno);
}

bool ReplacedFile::finish() {
  return ::fsync(m_file.get()) == 0 || fail("cannot write the new content", errno);
}

bool ReplacedFile::place() {
  if (m_temporary.empty() && m_existing == Existing::Kept) {
    m_isTargetInTheWay = true;
    return fail(kExistsText, EEXIST);
  }
  if (m_temporary.empty()) {
    return m_isWhole ? overwrite() : fail("no new file can be created in its folder", EACCES);
  }
  if (!rename()) {
    const int code = errno;
    m_isTargetInTheWay = code == EEXIST;
    return m_isWhole && m_existing == Existing::Replaced && admitsNoNewFile(code)
               ? overwrite()
               : fail("cannot rename the temporary file", code);
  }
  m_temporary.clear();
  m_file = FileDescriptor(-1);
  return true;
}

// Some file systems do not support RENAME_NOREPLACE. There, link(2) and unlink(2) do the same. A
// crash between them leaves both names; a later commit then only removes the temporary one.
bool ReplacedFile::rename() {
  if (m_existing == Existing::Replaced) {
    return ::rename(m_temporary.c_str(), m_target.c_str()) == 0;
  }
  if (::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_target.c_str(), RENAME_NOREPLACE) ==
      0) {
    return true;
  }
  const bool isUnsupported = errno == EINVAL || errno == ENOSYS;
  if (isUnsupported && ::link(m_temporary.c_str(), m_target.c_str()) == 0) {
    ::unlink(m_temporary.c_str());
    return true;
  }
  const int code = errno;
  if (code == EEXIST && isSameFile(m_temporary, m_target)) {
    ::unlink(m_temporary.c_str());
    return true;
  }
  errno = code;
  return false;
}

bool ReplacedFile::commit() {
  if (!place()) {
    return false;
  }
  syncFolder(m_folder);
  return true;
}

bool ReplacedFile::adopt(const std::string& path) {
  if (!m_error.empty()) {
    return false;
  }
  auto content = contentOf(path);
  if (!content) {
    return errno != ENOENT && fail("cannot read the temporary file", errno);
  }
  m_adopted = std::move(*content);
  m_content = m_adopted;
  m_isWhole = true;
  m_temporary = path;
  m_isLeft = true;
  m_existing = path.ends_with(names::temporaryFirstSuffix) ? Existing::Kept : Existing::Replaced;
  return true;
}

void ReplacedFile::removeStaleFiles(const std::string& folder) {
  FolderListing listing;
  if (listing.open(folder) != 0) {
    return;
  }
  listing.visitNames([&](const char* name) {
    if (names::isTemporary(name)) {
      const std::string path = folder + '/' + name;
      const FileDescriptor file(openRegularFile(path.c_str(), O_RDONLY | O_NOFOLLOW));
      if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
        ::unlink(path.c_str());
      }
    }
    return 0;
  });
}

void ReplacedFile::remove() {
  ::unlink(m_target.c_str());
}

// The first written byte destroys the old content, so the space is reserved before.
bool ReplacedFile::overwrite() {
  const FileDescriptor file(openRegularFile(m_target.c_str(), O_RDWR | O_CREAT, kNewFileMode));
  struct stat old {};
  if (!file || ::fstat(file.get(), &old) != 0) {
    return fail("cannot open the file", errno);
  }
  const auto size = static_cast<off_t>(m_content.size());
  const int refusal = size == 0 ? 0 : ::posix_fallocate(file.get(), 0, size);
  if (refusal != 0) {
    const bool isRestored = ::ftruncate(file.get(), old.st_size) == 0;
    return fail(isRestored ? "no room for the new content" : "cannot restore the file", refusal);
  }
  if (!writeAll(file.get(), m_content) || ::ftruncate(file.get(), size) != 0 ||
      ::fsync(file.get()) != 0) {
    return fail("cannot write the file", errno);
  }
  return true;
}

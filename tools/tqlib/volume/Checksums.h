// What is kept beside the folder of a volume (the API counts every file in it to the volume): the
// checksums of its filemarks, in a file of sha256sum(1), and the lengths of their blocks, which an
// emulator keeps; and the lock that keeps all of them consistent.
#pragma once

#include <unistd.h>

#include <map>
#include <memory>
#include <span>

#include <fmt/ranges.h>
#include <openssl/evp.h>

#include "base/Errors.h"
#include "catalogue/VolumeFiles.h"
#include "files/FolderLock.h"

/// SHA-256 of data that comes in blocks. Throws Failure.
class Sha256 {
public:
  Sha256() { require(m_context ? EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) : 0); }

  void update(std::span<const char> block) {
    require(EVP_DigestUpdate(m_context.get(), block.data(), block.size()));
  }

  /// The checksum in hexadecimal digits. Ends the calculation.
  std::string hex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    require(EVP_DigestFinal_ex(m_context.get(), digest, &length));
    return fmt::format("{:02x}", fmt::join(digest, digest + length, ""));
  }

private:
  static void require(int result) {
    if (result != 1) throw Failure("the checksum cannot be calculated");
  }

  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

/// Hexadecimal digits, by the number of the filemark.
using Checksums = std::map<int, std::string>;

/// Where the checksums of a volume are.
std::filesystem::path checksumFile(const std::string& volume);

/// Empty when there is no file. Throws Failure when it holds anything but checksums of the volume.
Checksums loadChecksums(const std::string& volume);

/// Durably replaces the file, or removes it when there are no checksums. Throws Failure.
void saveChecksums(const std::string& volume, const Checksums& checksums);

/// Where an emulator keeps the lengths of a volume's blocks: lines of "FILEMARK OFFSET LENGTH",
/// each for the blocks from that offset on.
std::filesystem::path blockLengthFile(const std::string& volume);

/// Empty when there is no file. Throws Failure.
std::string loadBlockLengths(const std::string& volume);

/// What cannot be right in the lengths of the blocks of these filemarks, a text for each line.
std::vector<std::string> blockLengthProblems(const std::string& lengths,
                                             const std::vector<FileMark>& marks);

/// Checksums and block lengths.
struct VolumeRecords {
  Checksums checksums;
  std::string blockLengths;  ///< the text of the file
};

VolumeRecords loadRecords(const std::string& volume);

/// Durably replaces both files, or removes those that would be empty. Throws Failure.
void saveRecords(const std::string& volume, const VolumeRecords& records);

/// Throws Failure if one of the two is not a regular file and so cannot be replaced. Call it before
/// deleting data.
void requirePlainRecords(const std::string& volume);

/// Durably removes what a write to `mark` makes wrong; all with mark 0, because the API then erases
/// the volume. Throws Failure.
void dropRecords(const std::string& volume, int mark);

/// Keeps other tqlib processes from changing a volume, and makes its folder if it is missing. A
/// folder that it made is removed at the end if it is empty. Emulators do not take this lock.
class VolumeLock {
public:
  /// Throws Failure when another process holds the lock, or the folder cannot be made.
  explicit VolumeLock(const std::string& volume)
      : m_path(volumeRoot() / volume),
        m_isMade(std::filesystem::create_directory(m_path)),
        m_lock(m_path, std::chrono::milliseconds(0)) {
    if (!m_lock.isHeld()) throw Failure("volume " + volume + " is in use by another tqlib");
  }
  ~VolumeLock() {
    if (m_isMade) rmdir(m_path.c_str());  // refuses a folder that holds anything
  }
  VolumeLock(const VolumeLock&) = delete;
  VolumeLock& operator=(const VolumeLock&) = delete;

  /// The folder stays, even if it is empty.
  void keep() { m_isMade = false; }

private:
  std::filesystem::path m_path;
  bool m_isMade;
  FolderLock m_lock;
};

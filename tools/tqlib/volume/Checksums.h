// The checksums of a volume's file marks, in a file of sha256sum(1) beside the volume's folder (the
// API counts every file in the folder to the volume); and the lock that keeps both consistent.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>

#include <openssl/evp.h>

#include "files/FolderLock.h"

/// SHA-256 of data that comes in blocks. Throws Failure.
class Sha256 {
public:
  Sha256();

  void update(std::span<const char> block);
  /// The checksum in hexadecimal digits. Ends the calculation.
  std::string hex();

private:
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context;
};

/// Hexadecimal digits, by the number of the file mark.
using Checksums = std::map<int, std::string>;

/// Where the checksums of a volume are; `root` is the tape folder.
std::filesystem::path checksumFile(const std::filesystem::path& root, const std::string& volume);

/// Empty when there is no file. Throws Failure when it holds anything but checksums of the volume.
Checksums loadChecksums(const std::filesystem::path& root, const std::string& volume);

/// Throws Failure when no checksums of the volume can be saved: called before a long transfer.
void requirePlaceForChecksums(const std::filesystem::path& root, const std::string& volume);

/// Replaces the file, or removes it when there are no checksums. Throws Failure.
void saveChecksums(const std::filesystem::path& root, const std::string& volume,
                   const Checksums& checksums);

/// Durably removes the checksums that a write to `mark` invalidates. With mark 0 these are all: the
/// API erases the volume. Throws Failure.
void dropChecksums(const std::filesystem::path& root, const std::string& volume, int mark);

/// Keeps other tqlib processes from changing a volume, and makes its folder if it is missing. A
/// folder that it made is removed at the end if it is empty. Emulators do not take this lock.
class VolumeLock {
public:
  /// Throws Failure when another process holds the lock, or the folder cannot be made.
  explicit VolumeLock(const std::string& volume);
  ~VolumeLock();
  VolumeLock(const VolumeLock&) = delete;
  VolumeLock& operator=(const VolumeLock&) = delete;

  /// The folder stays, even if it is empty.
  void keep() { m_isMade = false; }

private:
  std::filesystem::path m_path;
  bool m_isMade;
  FolderLock m_lock;
};

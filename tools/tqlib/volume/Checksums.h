// The checksums of a volume's file marks: a file of sha256sum(1) beside the volume's folder. In
// the folder itself the library would count it to the volume, and an erase would delete it last.
#pragma once

#include <filesystem>
#include <map>
#include <string>

/// Hexadecimal digits, by the number of the file mark.
using Checksums = std::map<int, std::string>;

/// Where the checksums of a volume are; `root` is the tape folder.
std::filesystem::path checksumFile(const std::filesystem::path& root, const std::string& volume);

/// None when there is no file. Throws Failure when it holds anything but checksums of the volume.
Checksums loadChecksums(const std::filesystem::path& root, const std::string& volume);

/// Throws Failure when no checksums of the volume can be kept. A transfer takes long, and is to be
/// refused before it.
void requirePlaceForChecksums(const std::filesystem::path& root, const std::string& volume);

/// Replaces the file, or removes it when there are none. Throws Failure.
void saveChecksums(const std::filesystem::path& root, const std::string& volume,
                   const Checksums& checksums);

/// Takes away what a write to `mark` makes stale: with mark 0 the library erases the whole volume.
/// It is gone from the disk on return, so that no crash brings it back. Throws Failure.
void dropChecksums(const std::filesystem::path& root, const std::string& volume, int mark);

// What a volume holds on the disk, and how much it may hold.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct FileMark {
  int number;
  std::filesystem::path path;
  unsigned long long bytes;
};

struct VolumeContents {
  std::filesystem::path folder;
  std::vector<FileMark> marks;      ///< by number
  std::vector<std::string> others;  ///< names of entries that are no file marks
  int nextMark;                     ///< this and the bytes as the library counts them
  unsigned long long bytes;
};

/// Examines a volume, which must exist. Throws Failure, or what the file system throws.
VolumeContents examineVolume(const std::string& volume);

/// The name of a file mark's file in the folder of the volume.
std::string markName(int number);

/// The file mark that a file of that name holds; nothing when it is another file.
std::optional<int> markNumber(const std::string& name);

/// The configured most that a volume may hold, in bytes.
unsigned long long volumeLimit();

/// Brings what was created, renamed or removed in `folder` to the disk. Throws Failure.
void syncFolder(const std::filesystem::path& folder);

// What a volume holds on the disk.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct FileMark {
  int number;
  std::filesystem::path path;
  unsigned long long bytes;
  std::filesystem::file_time_type written;

  bool operator==(const FileMark&) const = default;
};

struct VolumeContents {
  std::filesystem::path folder;
  std::vector<FileMark> marks;      ///< by number
  std::vector<std::string> others;  ///< names of entries that are no file marks
  int nextMark;                     ///< this and the bytes as the library counts them
  unsigned long long bytes;
};

/// The names of the volumes in their folder, in order.
std::vector<std::string> volumesIn(const std::filesystem::path& root);

/// Examines a volume, which must exist. Throws Failure, or what the file system throws.
VolumeContents examineVolume(const std::string& volume);

/// The name of a file mark's file in the folder of the volume.
std::string markName(int number);

/// The file mark that a file of that name holds; nothing when it is another file.
std::optional<int> markNumber(const std::string& name);

/// File marks that a volume lacks, though it has later ones.
struct Gap {
  long long first;
  long long last;
};

/// The gaps before and between file marks, whose numbers ascend.
std::vector<Gap> gapsIn(const std::vector<int>& marks);

/// "3", or "3 to 7".
std::string gapText(const Gap& gap);

// Where the volumes are, and what they hold on the disk.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The names in a folder, sorted. Throws Failure when it cannot be read.
std::vector<std::string> namesIn(const std::string& folder);

/// The folder that holds a folder for each volume. Throws Failure when the configuration names one
/// that does not exist.
std::filesystem::path volumeRoot();

/// Throws Failure when there is no such volume.
void requireVolume(const std::string& volume);

/// Throws Failure when `path` is there and no regular file: opening a FIFO, for example, blocks.
void requirePlainFile(const std::filesystem::path& path);

/// Throws Failure when the folder of a volume is a symbolic link: only the link would be renamed.
void refuseLink(const std::filesystem::path& folder);

/// A path for a temporary folder beside the volumes; `purpose` is part of its name.
std::filesystem::path temporaryVolume(const char* purpose);

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
  std::vector<std::string> others;  ///< names of entries that are no filemarks
  int nextMark;                     ///< this and the bytes as the API counts them
  unsigned long long bytes;
};

/// The names of the volumes in their folder, sorted.
std::vector<std::string> volumesIn(const std::filesystem::path& root);

/// Examines a volume, which must exist. Throws Failure, or what the file system throws.
VolumeContents examineVolume(const std::string& volume);

/// The name of a filemark's file in the folder of the volume.
std::string markName(int number);

/// The filemark that a file of that name holds; nothing when it is another file.
std::optional<int> markNumber(const std::string& name);

/// Filemarks that are missing in a volume, although it has later ones.
struct Gap {
  long long first;
  long long last;
};

/// The gaps before and between filemarks, whose numbers ascend.
std::vector<Gap> gapsIn(const std::vector<int>& marks);

/// "3", or "3 to 7".
std::string gapText(const Gap& gap);

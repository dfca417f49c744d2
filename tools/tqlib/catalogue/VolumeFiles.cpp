// Volumes are examined by their files: the API reports only sizes and the next filemark.
#include "catalogue/VolumeFiles.h"

#include <algorithm>
#include <charconv>
#include <random>

#include <fmt/format.h>

#include "TqLibEmlFile.h"
#include "base/Errors.h"
#include "catalogue/Configuration.h"
#include "files/Names.h"

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator each(folder, error); each != fs::end(each); each.increment(error)) {
    names.push_back(each->path().filename());
  }
  if (error) throw systemFailure(folder, error.value());
  std::ranges::sort(names);
  return names;
}

// The API creates the folder of any volume that it is asked about.
fs::path volumeRoot() {
  const ConfiguredFolder root = configuredTapeFolder();
  if (!root.isNamed) fs::create_directories(root.path);
  if (!fs::is_directory(root.path)) {
    throw Failure("the tape folder does not exist: " + root.path,
                  "sVirtualTapeDirectory in the configuration names it");
  }
  return root.path;
}

void requireVolume(const std::string& volume) {
  const fs::path folder = volumeRoot() / volume;
  if (!fs::is_directory(folder)) {
    throw Failure(fmt::format("no such volume: {} ({})", volume, folder.string()),
                  "\"tqlib volume list\" lists the volumes");
  }
}

void requirePlainFile(const fs::path& path) {
  if (fs::exists(path) && !fs::is_regular_file(path))
    throw Failure("not a regular file: " + path.string());
}

void refuseLink(const fs::path& folder) {
  if (fs::is_symlink(folder)) {
    throw Failure(folder.string() + " is a symbolic link", "change it, and its target, by hand");
  }
}

fs::path temporaryVolume(const char* purpose) {
  return volumeRoot() / fmt::format("{}{}-{:08x}{}", names::temporaryPrefix, purpose,
                                    std::random_device()(), names::temporarySuffix);
}

std::vector<std::string> volumesIn(const fs::path& root) {
  std::vector<std::string> volumes = namesIn(root);
  std::erase_if(volumes, [&](const std::string& name) {
    std::error_code failure;
    const bool isFolder = fs::is_directory(root / name, failure);
    return (!isFolder && !failure) || name.starts_with(names::temporaryPrefix);
  });
  return volumes;
}

VolumeContents examineVolume(const std::string& volume) {
  TqLibEmlFile file(volume);
  std::string folder;
  VolumeContents contents{};
  // If a listing breaks off, the call still succeeds, but sets an error code.
  if (!file.GetVolumeFolder(folder) || !file.GetVolumeSize(contents.bytes) ||
      !file.GetLastFileMark(contents.nextMark) || file.getErrorCode() != 0) {
    throw libraryFailure("volume " + volume + " cannot be examined", file);
  }
  contents.folder = folder;
  for (const std::string& name : namesIn(contents.folder)) {
    const fs::directory_entry entry(contents.folder / name);
    const auto number = markNumber(name);
    if (number && entry.is_regular_file()) {
      contents.marks.push_back({*number, entry.path(), entry.file_size(), entry.last_write_time()});
    } else {
      contents.others.push_back(name);
    }
  }
  std::ranges::sort(contents.marks, {}, &FileMark::number);
  return contents;
}

std::string markName(int number) {
  return fmt::format("{:08}", number);
}

std::optional<int> markNumber(const std::string& name) {
  int number = 0;
  std::from_chars(name.data(), name.data() + name.size(), number);
  if (number < 0 || markName(number) != name) return std::nullopt;
  return number;
}

std::vector<Gap> gapsIn(const std::vector<int>& marks) {
  std::vector<Gap> gaps;
  long long expected = 0;
  for (const int mark : marks) {
    if (mark > expected) gaps.push_back({expected, mark - 1LL});
    expected = mark + 1LL;
  }
  return gaps;
}

std::string gapText(const Gap& gap) {
  return gap.first == gap.last ? fmt::format("{}", gap.first)
                               : fmt::format("{} to {}", gap.first, gap.last);
}

#include "catalogue/VolumeFiles.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "TqLibEmlFile.h"
#include "base/Errors.h"

namespace fs = std::filesystem;

namespace {

// A listing that breaks off still counts as a success of the call; the code tells.
VolumeContents measured(const std::string& name) {
  TqLibEmlFile volume(name);
  std::string folder;
  VolumeContents contents{};
  if (!volume.GetVolumeFolder(folder) || !volume.GetVolumeSize(contents.bytes) ||
      !volume.GetLastFileMark(contents.nextMark) || volume.getErrorCode() != 0) {
    throw libraryFailure("volume " + name + " cannot be examined", volume);
  }
  contents.folder = folder;
  return contents;
}

// The tool's own folders of a moment begin so.
bool isVolume(const fs::directory_entry& entry) {
  std::error_code failure;
  const bool folder = entry.is_directory(failure);
  return (folder || failure) && !entry.path().filename().string().starts_with(".tqlib-");
}

}  // namespace

std::vector<std::string> volumesIn(const fs::path& root) {
  std::vector<std::string> volumes;
  for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
    if (isVolume(entry)) volumes.push_back(entry.path().filename().string());
  }
  std::sort(volumes.begin(), volumes.end());
  return volumes;
}

VolumeContents examineVolume(const std::string& volume) {
  VolumeContents contents = measured(volume);
  for (const fs::directory_entry& entry : fs::directory_iterator(contents.folder)) {
    const std::string name = entry.path().filename().string();
    const auto number = markNumber(name);
    if (number && entry.is_regular_file()) {
      contents.marks.push_back({*number, entry.path(), entry.file_size(), entry.last_write_time()});
    } else {
      contents.others.push_back(name);
    }
  }
  std::sort(contents.marks.begin(), contents.marks.end(),
            [](const FileMark& a, const FileMark& b) { return a.number < b.number; });
  std::sort(contents.others.begin(), contents.others.end());
  return contents;
}

std::string markName(int number) {
  char name[16];
  std::snprintf(name, sizeof name, "%08d", number);
  return name;
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
  const std::string first = std::to_string(gap.first);
  return gap.first == gap.last ? first : first + " to " + std::to_string(gap.last);
}

#include "VolumeFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>

#include "Errors.h"
#include "TargetFile.h"
#include "TqLibEmlFile.h"
#include "TqPlatform/PlatformInfo.h"

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

}  // namespace

VolumeContents examineVolume(const std::string& volume) {
  VolumeContents contents = measured(volume);
  for (const fs::directory_entry& entry : fs::directory_iterator(contents.folder)) {
    const std::string name = entry.path().filename().string();
    const auto number = markNumber(name);
    if (number && entry.is_regular_file()) {
      contents.marks.push_back({*number, entry.path(), entry.file_size()});
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

// The library does not tell its limit, so it is read, and its default known, as the library does.
unsigned long long volumeLimit() {
  constexpr unsigned long kDefaultMiB = 4096;
  TQPlatformInfo platform;
  platform.setFocus(TQPI_Focus::getFocus());
  for (const char* section : {"MediaManager", "Teifioskon"}) {
    unsigned long count = 0;
    if (platform.getNumber(section, "nVirtualTapeSizeMB", &count) == 0) continue;
    if (count == 0) break;
    return std::min<unsigned long long>(count, ~0ULL >> 20) << 20;
  }
  return static_cast<unsigned long long>(kDefaultMiB) << 20;
}

void syncFolder(const fs::path& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.get() < 0 || fsync(descriptor.get()) != 0) {
    throw systemFailure("cannot save " + folder.string(), errno);
  }
}

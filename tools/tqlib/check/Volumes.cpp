// The check of the volumes: against the media that the libraries have, and each in itself.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>

#include "base/Errors.h"
#include "catalogue/Configuration.h"
#include "files/FolderLock.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/Names.h"

namespace fs = std::filesystem;

namespace {

constexpr char kOfFileSystem[] = "lost+found";
constexpr char kOfTool[] = ".tqlib-";
constexpr char kChecksums[] = ".sha256.tqlib-";
constexpr std::size_t kMostGaps = 5;  // are shown by number

/// Whether a file or folder among the volumes exists only while a command runs, and that one has
/// ended. A process of another container does not count as running, but its lock does.
bool isStale(const std::string& folder, const std::string& name) {
  const std::string volume = name.substr(0, name.rfind(kChecksums));
  const bool isTemporary = names::isTemporary(name) || isOfEndedProcess(name, ".tqlib-copy-", "") ||
                           isOfEndedProcess(name, volume + kChecksums, "");
  try {
    return isTemporary && FolderLock(folder + name, std::chrono::milliseconds(0)).isHeld();
  } catch (const Failure&) {
    return true;  // it cannot be opened
  }
}

/// The bytes of a volume. The API counts those of every file in the folder, filemark or not.
unsigned long long sizeOf(const std::string& folder) {
  unsigned long long bytes = 0;
  for (const std::string& name : namesIn(folder)) {
    struct stat record {};
    const std::string path = folder + "/" + name;
    if (stat(path.c_str(), &record) == 0) {
      bytes += static_cast<unsigned long long>(record.st_size);
    } else if (errno != ENOENT) {  // else it was erased meanwhile
      throw systemFailure(path, errno);
    }
  }
  return bytes;
}

/// "1, 3 to 7"; empty when no filemark is missing.
std::string missingMarks(const std::string& folder) {
  std::vector<int> marks;
  for (const std::string& name : namesIn(folder)) {
    if (const auto mark = markNumber(name)) marks.push_back(*mark);
  }
  std::ranges::sort(marks);
  std::vector<std::string> texts;
  for (const Gap& gap : gapsIn(marks)) texts.push_back(gapText(gap));
  if (texts.size() > kMostGaps) {
    texts.resize(kMostGaps);
    texts.emplace_back("and more");
  }
  return fmt::format("{}", fmt::join(texts, ", "));
}

void checkVolume(const std::string& folder, unsigned long long limit, Checkup& checkup) {
  try {
    const unsigned long long bytes = sizeOf(folder);
    if (bytes > limit) checkup.add(faults::kVolumeOverLimit, {folder}, bytes, limit);
    const std::string marks = missingMarks(folder);
    if (!marks.empty()) checkup.add(faults::kMarkGap, {folder}, marks);
  } catch (const Failure& failure) {
    checkup.add(faults::kUnreadable, {folder}, failure.what());
  }
}

/// Returns the names of the volumes.
std::set<std::string> checkFolder(const std::string& root, Checkup& checkup) {
  const unsigned long long limit = configuredVolumeLimit();
  std::set<std::string> volumes;
  for (const std::string& name : namesIn(root)) {
    const std::string folder = root + name;
    if (isStale(root, name)) checkup.add(faults::kStaleVolume, {folder});
    std::error_code ignored;
    const bool isOther = name == kOfFileSystem || name.starts_with(kOfTool);
    if (isOther || !fs::is_directory(folder, ignored)) continue;
    volumes.insert(name);
    if (!checkup.media.contains(name)) {
      checkup.add(checkup.knowsAll ? faults::kVolumeWithoutMedium : faults::kUnknownVolume,
                  {folder});
    }
    checkVolume(folder, limit, checkup);
  }
  return volumes;
}

}  // namespace

void checkVolumes(Checkup& checkup) {
  const ConfiguredFolder root = configuredTapeFolder();
  std::set<std::string> volumes;
  std::error_code ignored;
  if (root.isNamed || fs::exists(root.path, ignored)) {  // else nothing was ever written
    try {
      volumes = checkFolder(root.path + "/", checkup);
    } catch (const Failure& failure) {
      // Without the folder every medium lacks its volume, which would hide this finding.
      checkup.add(faults::kUnreadableTapeFolder, {root.path}, failure.what());
      return;
    }
  }
  checkup.scope.volumes = volumes.size();
  for (const auto& [barcode, places] : checkup.media) {
    if (volumes.contains(barcode)) continue;
    checkup.add(faults::kMediumWithoutVolume, places.front(), barcode);
  }
}

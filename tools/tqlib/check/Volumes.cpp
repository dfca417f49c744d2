// The check of the volumes: against the media that the libraries have, and each in itself.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "catalogue/Configuration.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/FolderLock.h"
#include "files/Names.h"

namespace fs = std::filesystem;

namespace {

constexpr char kOfFileSystem[] = "lost+found";
constexpr char kNoSlot[] = "empty a slot for its medium, or \"tqlib volume remove {name}\"";
constexpr std::size_t kMostGaps = 5;  // are shown by number

/// "1, 3 to 7"; empty when no filemark is missing.
std::string missingMarks(const std::vector<int>& marks) {
  std::string text;
  std::size_t count = 0;
  for (const Gap& gap : gapsIn(marks)) {
    if (++count > kMostGaps) return text + ", and more";
    text += (text.empty() ? "" : ", ") + gapText(gap);
  }
  return text;
}

/// Whether no command works on a file or folder: a running one holds its lock. False also when it
/// is gone, or another user's.
bool isAbandoned(const std::string& path) {
  try {
    return FolderLock(path, std::chrono::milliseconds(0)).isExclusive();
  } catch (const std::system_error&) {
    return false;
  }
}

void checkVolume(const std::string& folder, unsigned long long limit, Checkup& checkup) {
  unsigned long long bytes = 0;  // the API counts every file in the folder, filemark or not
  std::vector<int> marks;
  for (const std::string& name : namesIn(folder)) {
    struct stat record {};
    const std::string path = fmt::format("{}/{}", folder, name);
    const bool isErased = stat(path.c_str(), &record) != 0;
    if (isErased && errno != ENOENT) throw systemFailure(path, errno);
    bytes += static_cast<unsigned long long>(record.st_size);
    if (const auto mark = markNumber(name)) marks.push_back(*mark);
  }
  if (bytes > limit) checkup.add(faults.volumeOverLimit, {folder}, bytes, limit);
  std::ranges::sort(marks);
  const std::string missing = missingMarks(marks);
  if (!missing.empty()) checkup.add(faults.markGap, {folder}, missing);
}

/// Whether a volume has no filemarks. A copy that still runs locks the folder.
bool isWithoutData(const std::string& folder) {
  if (isAbsent(folder)) return true;
  const auto isMark = [](const std::string& name) { return markNumber(name).has_value(); };
  return std::ranges::none_of(namesIn(folder), isMark) && isAbandoned(folder);
}

/// Reports a file beside a volume without data, as an interrupted copy leaves it.
void checkRecord(const fs::path& file, Checkup& checkup) {
  const bool isChecksums = file.extension() == checksumSuffix;
  if (!isChecksums && file.extension() != blockLengthSuffix) return;
  std::error_code ignored;
  if (!fs::is_regular_file(file, ignored) || !isWithoutData(fs::path(file).replace_extension())) {
    return;
  }
  checkup.add(isChecksums ? faults.strayChecksums : faults.strayBlockLengths, {file});
}

void addWithoutMedium(const std::string& folder, Checkup& checkup) {
  const Fault& fault = checkup.knowsAll ? faults.volumeWithoutMedium : faults.unknownVolume;
  const Place& slot = checkup.emptySlot;
  Finding& finding = checkup.add(fault, {folder}, shellWord(slot.library()), slot.element);
  if (checkup.knowsAll && slot.file.empty()) finding.advise(kNoSlot);
}

/// Of one library, only the volumes of its media are checked.
bool isCovered(const std::string& volume, const Checkup& checkup) {
  return checkup.only.empty() || checkup.media.contains(volume);
}

void checkFolder(const std::string& root, Checkup& checkup) {
  const unsigned long long limit = configuredVolumeLimit();
  for (const std::string& name : namesIn(root)) {
    const std::string path = root + name;
    try {
      std::error_code ignored;
      if (isCovered(fs::path(name).stem(), checkup)) checkRecord(path, checkup);
      if (!isCovered(name, checkup)) continue;
      const bool isTemporary = names::isTemporary(name) && !checkup.media.contains(name);
      if (isTemporary && isAbandoned(path)) checkup.add(faults.staleVolume, {path});
      const bool isOther = name == kOfFileSystem || name.starts_with(names::temporaryPrefix);
      if (isOther || !fs::is_directory(path, ignored)) continue;
      checkup.volumes.insert(name);
      if (!checkup.media.contains(name)) addWithoutMedium(path, checkup);
      checkVolume(path, limit, checkup);
    } catch (const std::exception& failure) {
      checkup.add(faults.unreadable, {path}, failure.what());
    }
  }
}

}  // namespace

void checkVolumes(Checkup& checkup) {
  const ConfiguredFolder root = configuredTapeFolder();
  std::error_code ignored;
  try {  // if the default folder is missing, nothing was ever written to it
    if (root.isNamed || fs::exists(root.path, ignored)) checkFolder(root.path + "/", checkup);
  } catch (const std::exception& failure) {
    // Without the folder, a finding for each medium would hide this one.
    checkup.add(faults.unreadableTapeFolder, {root.path}, failure.what());
    return;
  }
  for (const auto& [barcode, places] : checkup.media) {
    if (checkup.volumes.contains(barcode)) continue;
    checkup.add(faults.mediumWithoutVolume, places.back(), barcode);
  }
}

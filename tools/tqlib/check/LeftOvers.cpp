#include "check/LeftOvers.h"

#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>

#include "base/Errors.h"
#include "catalogue/CatalogueNames.h"
#include "catalogue/FolderLock.h"
#include "catalogue/XmlScan.h"
#include "files/Names.h"

namespace fs = std::filesystem;

namespace {

constexpr char kBuiltChecksums[] = ".sha256.tqlib-";
constexpr char kBuilt[] = ".tqlib-";  // then a process: a file that is not whole yet

/// Whether a process of that number, in decimal, is over; false for any other text.
bool isOver(std::string_view number) {
  int process = 0;
  const char* end = number.data() + number.size();
  const auto result = std::from_chars(number.data(), end, process);
  return result.ec == std::errc() && result.ptr == end && process > 0 && kill(process, 0) != 0 &&
         errno == ESRCH;
}

bool isLeft(std::string_view name, std::string_view prefix, std::string_view suffix) {
  if (!name.starts_with(prefix) || !name.ends_with(suffix)) return false;
  name.remove_prefix(prefix.size());
  return name.size() > suffix.size() && isOver(name.substr(0, name.size() - suffix.size()));
}

bool isCatalogueFile(const std::string& name) {
  return name == names::listFile ||
         (name.starts_with(names::libraryPrefix) && name.ends_with(names::fileSuffix) &&
          name.find('/') == std::string::npos);
}

}  // namespace

bool isLeftInCatalogue(const std::string& name) {
  if (isLeft(name, names::kStandIn, names::fileSuffix)) return true;
  const std::string file = name.substr(0, name.rfind(kBuilt));
  return isLeft(name, file + kBuilt, "") &&
         isCatalogueFile(file.substr(0, file.find(names::kBeforeFix)));
}

bool isLeftAmongVolumes(const std::string& name) {
  const auto checksums = name.rfind(kBuiltChecksums);
  return isLeft(name, ".tqlib-copy-", "") ||
         (checksums != std::string::npos && isLeft(name.substr(checksums), kBuiltChecksums, ""));
}

bool isInUse(const std::string& folder) {
  try {
    return !FolderLock(folder, std::chrono::milliseconds(0)).isHeld();
  } catch (const Failure&) {
    return false;
  }
}

bool isAbsent(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) == 0) return false;
  if (errno != ENOENT) throw systemFailure(path, errno);
  return true;
}

bool isPlainFile(const std::string& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() == fs::file_type::regular;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::error_code failure;
  std::vector<std::string> found;
  fs::directory_iterator entry(folder, failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    found.push_back(entry->path().filename().string());
  }
  if (failure) throw systemFailure(folder, failure.value());
  std::sort(found.begin(), found.end());
  return found;
}

#include "LeftOvers.h"

#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>

#include "CatalogueNames.h"
#include "Errors.h"
#include "FolderLock.h"
#include "XmlScan.h"

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
  return name == names::kLibraryList ||
         (name.starts_with(names::kLibraryPrefix) && name.ends_with(names::kFileSuffix) &&
          name.find('/') == std::string::npos);
}

bool arePairs(const std::vector<std::string>& names) {
  for (std::size_t i = 0; i + 1 < names.size(); i += 2) {
    const bool isOurs = isPrepared(names[i]) && names[i].find('/') == std::string::npos;
    if (!isOurs || !isCatalogueFile(names[i + 1])) return false;
  }
  return !names.empty() && names.size() % 2 == 0;
}

}  // namespace

bool isLeftInCatalogue(const std::string& name) {
  if (isLeft(name, names::kStandIn, names::kFileSuffix)) return true;
  const std::string file = name.substr(0, name.rfind(kBuilt));
  return isLeft(name, file + kBuilt, "") &&
         isCatalogueFile(file.substr(0, file.find(names::kBeforeFix)));
}

bool isLeftAmongVolumes(const std::string& name) {
  const auto checksums = name.rfind(kBuiltChecksums);
  return isLeft(name, ".tqlib-copy-", "") ||
         (checksums != std::string::npos && isLeft(name.substr(checksums), kBuiltChecksums, ""));
}

bool isPrepared(const std::string& name) {
  return name.starts_with(names::kAsidePrefix) && name.ends_with(names::kAsideSuffix);
}

bool isInUse(const std::string& folder) {
  try {
    return !FolderLock(folder, std::chrono::milliseconds(0)).isHeld();
  } catch (const Failure&) {
    return false;
  }
}

bool PendingSave::mayNeed(const std::string& prepared) const {
  return !isSound || std::find(names.begin(), names.end(), prepared) != names.end();
}

// A zero byte ends each of the names.
PendingSave pendingSave(const std::string& folder) {
  PendingSave save;
  save.isThere = !isAbsent(folder + names::kPending);
  if (!save.isThere) return save;
  const std::string text = fileContent(folder + names::kPending);
  for (std::size_t at = 0; at < text.size(); at += save.names.back().size() + 1) {
    save.names.push_back(text.substr(at, text.find('\0', at) - at));
  }
  save.isSound = arePairs(save.names);
  return save;
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

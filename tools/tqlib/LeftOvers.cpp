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
#include "XmlScan.h"

namespace fs = std::filesystem;

namespace {

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

}  // namespace

bool isLeftInCatalogue(const std::string& name) {
  return isLeft(name, names::kStandIn, names::kFileSuffix) ||
         isLeft(name, std::string(names::kLibraryList) + ".tqlib-", "");
}

bool isLeftAmongVolumes(const std::string& name) {
  return isLeft(name, ".tqlib-copy-", "");
}

bool isPrepared(const std::string& name) {
  return name.starts_with(names::kAsidePrefix) && name.ends_with(names::kAsideSuffix);
}

// A zero byte ends each of the names.
std::vector<std::string> halfSavedNames(const std::string& folder) {
  std::vector<std::string> found;
  if (isAbsent(folder + names::kPending)) return found;
  const std::string text = fileContent(folder + names::kPending);
  for (std::size_t at = 0; at < text.size(); at += found.back().size() + 1) {
    found.push_back(text.substr(at, text.find('\0', at) - at));
  }
  return found;
}

bool isAbsent(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) == 0) return false;
  if (errno != ENOENT) throw systemFailure(path, errno);
  return true;
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

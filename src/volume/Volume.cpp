// The folder of a volume: builds its path, creates it, and lists its entries to erase the volume,
// find its last filemark or measure its size.

#include "volume/Volume.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "TqPlatform/MMError.h"
#include "TqPlatform/NuUtils.h"
#include "common/FolderListing.h"
#include "common/FolderSync.h"
#include "common/Log.h"
#include "files/ConfiguredPlaces.h"

namespace {

constexpr std::size_t kMaxNameLength = 255;    // of a path component on Linux
constexpr std::size_t kUsualPathLength = 256;  // of a filemark's file; reserved once
constexpr int kNoVolumeName = 993;
constexpr char kFolderOrigin[] = "TqLibEmlFile::GetVolumeFolder";

bool isFolder(const std::string& path) {
  struct stat record {};
  return !CNuUTFOSAPI::stat(path.c_str(), &record).IsError() && S_ISDIR(record.st_mode);
}

/// Whether the path holds a zero byte: the system would only see the part before it.
bool isCutShort(const std::string& path) {
  return path.find('\0') != std::string::npos;
}

bool logFailedCreation(const std::string& folder, const char* origin, const std::string& reason) {
  logError(origin, "Failed to create directory " + folder + ", error: " + reason);
  return false;
}

/// Creates the last component of the missing folder `folder`. False, which is logged, on failure.
bool createFolder(const std::string& folder, const char* origin) {
  if (isCutShort(folder)) {
    return logFailedCreation(folder, origin, std::generic_category().message(EINVAL));
  }
  const CNuError error = CNuDirectory::Create(folder.c_str(), false);
  // Another caller may have created it in the meantime. The error code does not show that reliably:
  // a platform may have codes of its own.
  return !error.IsError() || isFolder(folder) ||
         logFailedCreation(folder, origin, std::string(error.AsString()));
}

bool ensureFolder(const std::string& folder) {
  return isPresent(folder) || createFolder(folder, "GetVolumeFolder");
}

/// Whether `name` is one path component. With "..", an erase would delete the files of the
/// catalogue.
bool isVolumeName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= kMaxNameLength &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

int numberOf(const char* name) {
  return static_cast<int>(std::strtol(name, nullptr, 10));
}

}  // namespace

bool isPresent(const std::string& path) {
  return !isCutShort(path) && !CNuUTFOSAPI::access(path.c_str(), 0).IsError();
}

bool ensureCatalogueDirectory(const std::string& dir) {
  if (isPresent(dir)) {
    return true;
  }
  if (!createFolder(dir, "GetTQLibEMLXMLDir")) {
    return false;
  }
  // Files in the new directory are durable only when its own entry is durable.
  syncFolder(dir.substr(0, dir.size() - std::string_view(kCatalogueFolder).size()));
  return true;
}

std::string fileMarkName(int fileMark) {
  constexpr std::ptrdiff_t width = 8;  // including a sign
  char digits[16];
  const char* const end = std::to_chars(digits, std::end(digits), fileMark).ptr;
  const char* const first = digits + (fileMark < 0 ? 1 : 0);
  std::string name = fileMark < 0 ? "/-" : "/";
  name.append(static_cast<std::size_t>(std::max(width - (end - digits), std::ptrdiff_t{0})), '0');
  return name.append(first, end);
}

TQPlatformInfo& Configuration::platform() {
  if (!m_platform) {
    m_platform.emplace().setFocus(TQPI_Focus::getFocus());
  }
  return *m_platform;
}

void Volume::Settings::read(Configuration& configuration) {
  maxSize = maxVolumeSize(configuration.platform());
  findTapeDirectory(configuration.platform(), tapeDirectory);
}

bool Volume::nameFolder(Configuration& configuration, const std::string& base) {
  if (!isVolumeName(m_name)) {
    logError(kFolderOrigin, "Failed to get volume folder.");
    m_errorCode = kNoVolumeName;
    return false;
  }
  m_folder.reserve(kUsualPathLength);
  if (!m_tapeDirectory.empty()) {
    m_folder = m_tapeDirectory;
  } else {
    m_folder = base;
    findCatalogueDirectory(configuration.platform(), m_folder);
    m_folder += kDataFolder;
  }
  m_folder += '/';
  m_folder += m_name;
  return true;
}

// The parent folders are found by cutting the path at slashes: a volume's name has none.
bool Volume::makeFolder() {
  if (m_tapeDirectory.empty()) {
    std::string data = m_folder.substr(0, m_folder.rfind('/'));
    std::string catalogue = data.substr(0, data.rfind('/') + 1);
    if (!ensureCatalogueDirectory(catalogue)) {
      logError(kFolderOrigin, "GetTQLibEMLXMLDir() failed to get XML folder");
      m_folder = std::move(catalogue);
      return false;
    }
    if (!ensureFolder(data)) {
      m_folder = std::move(data);
      return false;
    }
  }
  return ensureFolder(m_folder);
}

/// Logs that an operation could not list the folder, and sets the code.
void Volume::failAccess(const std::string& operation, int error) {
  m_errorCode = static_cast<int>(MMS2BaseError::ConvertToMMError(static_cast<unsigned int>(error)));
  const std::string origin = "TqLibEmlFile::" + operation;
  logError(origin.c_str(), operation + "() failed to access directory " + m_folder +
                               ", error: " + std::generic_category().message(error));
}

/// Opens the folder's listing and calls `visit` with the name and the stat record of each entry.
/// Returns 0 or the error that ended the visits; nothing when the folder could not be opened. A
/// failure is logged.
template <typename Visit>
std::optional<int> Volume::visitRecords(FolderListing& listing, const char* operation,
                                        Visit visit) {
  const auto outcome = openIn([&] { return listing.open(m_folder); });
  if (!outcome) {
    return std::nullopt;
  }
  const int error = *outcome == 0 ? listing.visitRecords(visit) : *outcome;
  if (error != 0) {
    failAccess(operation, error);
  }
  return *outcome == 0 ? std::optional(error) : std::nullopt;
}

bool Volume::erase() {
  FolderListing listing;
  const auto error =
      visitRecords(listing, "EraseVolume", [&](const char* name, const struct stat& record) {
        if (S_ISREG(record.st_mode)) {
          listing.remove(name);
        }
      });
  if (error.value_or(0) != 0) {
    logError("TqLibEmlFile::EraseVolume",
             "RemoveDirectory() failed with error " + std::to_string(*error));
  }
  return error == 0;
}

bool Volume::findLastFileMark(int& lastFileMark) {
  FolderListing listing;
  const auto outcome = openIn([&] { return listing.open(m_folder); });
  if (outcome != 0) {
    return outcome.has_value();
  }
  lastFileMark = -1;
  const int error = listing.visitNames([&](const char* name) {
    lastFileMark = std::max(lastFileMark, numberOf(name));
    return 0;
  });
  if (error != 0) {
    failAccess("GetLastFileMark", error);
  } else if (lastFileMark < std::numeric_limits<int>::max()) {
    ++lastFileMark;
  }
  return true;
}

bool Volume::measure(unsigned long long& size) {
  FolderListing listing;
  const auto add = [&](const char*, const struct stat& record) {
    size += static_cast<unsigned long long>(record.st_size);
  };
  return visitRecords(listing, "GetVolumeSize", add).has_value();
}

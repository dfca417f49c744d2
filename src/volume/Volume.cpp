// A volume's folder: its name, its creation, and what its entries show.

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
constexpr std::size_t kUsualPathLength = 256;  // of a filemark's; room for it is made once
constexpr int kNoVolumeName = 993;
constexpr char kFolderOrigin[] = "TqLibEmlFile::GetVolumeFolder";

bool isFolder(const std::string& path) {
  struct stat record {};
  return !CNuUTFOSAPI::stat(path.c_str(), &record).IsError() && S_ISDIR(record.st_mode);
}

/// The system would take the part before a zero byte for the whole path.
bool isCutShort(const std::string& path) {
  return path.find('\0') != std::string::npos;
}

bool logFailedCreation(const std::string& folder, const char* origin, const std::string& reason) {
  logError(origin, "Failed to create directory " + folder + ", error: " + reason);
  return false;
}

/// Creates the last component of `folder`, which was not found; a failure is logged.
bool createFolder(const std::string& folder, const char* origin) {
  if (isCutShort(folder)) {
    return logFailedCreation(folder, origin, std::generic_category().message(EINVAL));
  }
  const CNuError error = CNuDirectory::Create(folder.c_str(), false);
  // Another caller may have made it since the look. The error's code does not show it, for it may
  // be one of the platform's own.
  return !error.IsError() || isFolder(folder) ||
         logFailedCreation(folder, origin, std::string(error.AsString()));
}

bool ensureFolder(const std::string& folder) {
  return isPresent(folder) || createFolder(folder, "GetVolumeFolder");
}

/// Whether `name` stays below the tape directory: ".." would make an erase empty the catalogue.
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
  // What is saved in it is on the disk only when it is there itself.
  syncFolder(dir.substr(0, dir.size() - std::string_view(kCatalogueFolder).size()));
  return true;
}

std::string fileMarkName(int fileMark) {
  constexpr std::ptrdiff_t width = 8;  // a sign counts
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

// The folders above are found by the last slashes, of which a volume's name has none.
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

/// Logs that an operation could not read the folder, and sets the code.
void Volume::failAccess(const std::string& operation, int error) {
  const std::string origin = "TqLibEmlFile::" + operation;
  logError(origin.c_str(), operation + "() failed to access directory " + m_folder +
                               ", error: " + std::generic_category().message(error));
  m_errorCode = static_cast<int>(MMS2BaseError::ConvertToMMError(static_cast<unsigned int>(error)));
}

bool Volume::erase() {
  FolderListing listing;
  const auto outcome = openIn([&] { return listing.open(m_folder); });
  if (!outcome) {
    return false;
  }
  int error = *outcome;
  const bool isOpen = error == 0;
  if (isOpen) {
    error = listing.visitRecords([&](const char* name, const struct stat& record) {
      if (S_ISREG(record.st_mode)) {
        listing.remove(name);
      }
    });
  }
  if (error == 0) {
    return true;
  }
  failAccess("EraseVolume", error);
  if (isOpen) {
    logError("TqLibEmlFile::EraseVolume",
             "RemoveDirectory() failed with error " + std::to_string(error));
  }
  return false;
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
  const auto outcome = openIn([&] { return listing.open(m_folder); });
  if (!outcome) {
    return false;
  }
  int error = *outcome;
  const bool isOpen = error == 0;
  if (isOpen) {
    error = listing.visitRecords([&](const char*, const struct stat& record) {
      size += static_cast<unsigned long long>(record.st_size);
    });
  }
  if (error != 0) {
    failAccess("GetVolumeSize", error);
  }
  return isOpen;
}

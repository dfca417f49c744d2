// The volume object: its configuration, where its folder lies, how its files are named, erasing.

#include "TqLibEmlFile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"
#include "TqPlatform/PlatformInfo.h"
#include "common/FolderListing.h"
#include "common/FolderSync.h"
#include "common/Log.h"
#include "common/NoCancel.h"
#include "files/ConfiguredPlaces.h"
#include "volume/VolumeFolder.h"

namespace {

constexpr std::size_t kMaxNameLength = 255;    // of a path component on Linux
constexpr std::size_t kUsualPathLength = 256;  // of a file mark's; room for it is made once
constexpr int kNoVolumeName = 993;
constexpr char kFolderOrigin[] = "TqLibEmlFile::GetVolumeFolder";

bool isFolder(const std::string& path) {
  struct stat record {};
  return !CNuUTFOSAPI::stat(path.c_str(), &record).IsError() && S_ISDIR(record.st_mode);
}

/// The system would take what is before a zero byte for the whole path.
bool isCutShort(const std::string& path) {
  return path.find('\0') != std::string::npos;
}

bool logFailedCreation(const std::string& folder, const char* origin, const std::string& reason) {
  const std::string text = "Failed to create directory " + folder + ", error: " + reason;
  EvDebug::Error(debugHandler, origin, "%s", text.c_str());
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
  return TqLibEmlFile::IsFilePresent(folder) || createFolder(folder, "GetVolumeFolder");
}

bool ensureCatalogueDirectory(const std::string& dir) {
  if (TqLibEmlFile::IsFilePresent(dir)) {
    return true;
  }
  if (!createFolder(dir, "GetTQLibEMLXMLDir")) {
    return false;
  }
  // What is saved in it is on the disk only when it is there itself.
  syncFolder(dir.substr(0, dir.size() - std::string_view(kCatalogueFolder).size()));
  return true;
}

/// Whether `name` stays below the tape directory: ".." would make an erase empty the catalogue.
bool isVolumeName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= kMaxNameLength &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace

/// The configuration at the moment when it is first asked for: a look is a system call, which shows
/// in the time of a block. It is given up before anything is opened.
class TqLibEmlFile::Configuration {
public:
  TQPlatformInfo& platform() {
    if (!m_platform) {
      m_platform.emplace().setFocus(TQPI_Focus::getFocus());
    }
    return *m_platform;
  }

private:
  std::optional<TQPlatformInfo> m_platform;
};

TqLibEmlFile::TqLibEmlFile(const std::string& volumeName) : m_sVolumeName(volumeName) {
  const NoCancel noCancel;
  Configuration configuration;
  configure(configuration);
}

/// For a single call: puts the volume's folder into `folder` by the same look at the configuration.
/// It stays empty, with code 993 set, when the volume's name is none.
TqLibEmlFile::TqLibEmlFile(const std::string& volumeName, std::string& folder)
    : m_sVolumeName(volumeName) {
  Configuration configuration;
  configure(configuration);
  nameFolder(folder, configuration);
}

TqLibEmlFile::~TqLibEmlFile() = default;

void TqLibEmlFile::configure(Configuration& configuration) {
  m_nMaxVolumeSize = maxVolumeSize(configuration.platform());
  findTapeDirectory(configuration.platform(), m_sTapeDirectory);
}

bool TqLibEmlFile::IsFilePresent(const std::string& path) {
  const NoCancel noCancel;
  return !isCutShort(path) && !CNuUTFOSAPI::access(path.c_str(), 0).IsError();
}

int TqLibEmlFile::GetTQLibEMLXMLDir(std::string& dir) {
  const NoCancel noCancel;
  findCatalogueDirectory(Configuration().platform(), dir);
  return ensureCatalogueDirectory(dir) ? 1 : 0;
}

bool TqLibEmlFile::GetVolumeFolder(std::string& folder) {
  const NoCancel noCancel;
  return nameFolder(folder) && makeFolder(folder);
}

bool TqLibEmlFile::nameFolder(std::string& folder) {
  Configuration configuration;
  return nameFolder(folder, configuration);
}

/// Replaces `folder`, which serves as the catalogue's base where nothing is configured, by the
/// volume's folder, without looking whether that is there. False, with `folder` as it was and code
/// 993 set, when the volume's name is none.
bool TqLibEmlFile::nameFolder(std::string& folder, Configuration& configuration) {
  if (!isVolumeName(m_sVolumeName)) {
    EvDebug::Error(debugHandler, kFolderOrigin, "Failed to get volume folder.");
    m_nErrorCode = kNoVolumeName;
    return false;
  }
  folder.reserve(kUsualPathLength);
  if (!m_sTapeDirectory.empty()) {
    folder = m_sTapeDirectory;
  } else {
    findCatalogueDirectory(configuration.platform(), folder);
    folder += kDataFolder;
  }
  folder += '/';
  folder += m_sVolumeName;
  return true;
}

/// Creates what is missing of `folder`, as nameFolder() gave it, from the top. False when something
/// could not be created, which `folder` then names instead. The folders above are found by the last
/// slashes, of which a volume's name has none.
bool TqLibEmlFile::makeFolder(std::string& folder) {
  if (m_sTapeDirectory.empty()) {
    std::string data = folder.substr(0, folder.rfind('/'));
    std::string catalogue = data.substr(0, data.rfind('/') + 1);
    if (!ensureCatalogueDirectory(catalogue)) {
      EvDebug::Error(debugHandler, kFolderOrigin, "GetTQLibEMLXMLDir() failed to get XML folder");
      folder = std::move(catalogue);
      return false;
    }
    if (!ensureFolder(data)) {
      folder = std::move(data);
      return false;
    }
  }
  return ensureFolder(folder);
}

void volume::logAccessFailure(const std::string& name, const std::string& folder, int error) {
  const std::string origin = "TqLibEmlFile::" + name;
  logError(origin.c_str(), name + "() failed to access directory " + folder +
                               ", error: " + std::generic_category().message(error));
}

std::string volume::fileMarkName(int fileMark) {
  constexpr std::ptrdiff_t width = 8;  // a sign counts
  char digits[16];
  const char* const end = std::to_chars(digits, std::end(digits), fileMark).ptr;
  const char* const first = digits + (fileMark < 0 ? 1 : 0);
  std::string name = fileMark < 0 ? "/-" : "/";
  name.append(static_cast<std::size_t>(std::max(width - (end - digits), std::ptrdiff_t{0})), '0');
  return name.append(first, end);
}

bool TqLibEmlFile::GetVolumeFilename(int fileMark, std::string& path) {
  if (!GetVolumeFolder(path)) {
    return false;
  }
  path += volume::fileMarkName(fileMark);
  return true;
}

bool TqLibEmlFile::EraseVolume() {
  const NoCancel noCancel;
  std::string folder;
  return nameFolder(folder) && eraseIn(folder);
}

/// Erases what lies in `folder`, as nameFolder() gave it.
bool TqLibEmlFile::eraseIn(const std::string& folder) {
  FolderListing listing;
  const auto outcome = openIn(folder, [&] { return listing.open(folder); });
  if (!outcome) {
    return false;
  }
  int error = *outcome;
  const bool opened = error == 0;
  if (opened) {
    error = listing.visitRecords([&](const char* name, const struct stat& record) {
      if (S_ISREG(record.st_mode)) {
        listing.remove(name);
      }
    });
  }
  if (error == 0) {
    return true;
  }
  m_nErrorCode = Err_Handler(static_cast<unsigned int>(error));
  volume::logAccessFailure("EraseVolume", folder, error);
  if (opened) {
    EvDebug::Error(debugHandler, "TqLibEmlFile::EraseVolume",
                   "RemoveDirectory() failed with error %d", error);
  }
  return false;
}

int TqLibEmlFile::Err_Handler(unsigned int code) {
  return static_cast<int>(ConvertToMMError(code));
}

// The volume object: its configuration, where its folder lies, how its files are named, erasing.

#include "TqLibEmlFile.h"

#include <cerrno>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>

#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"
#include "TqPlatform/PlatformInfo.h"
#include "common/FolderSync.h"
#include "volume/FolderListing.h"

namespace {

constexpr unsigned long long kDefaultMaxVolumeSize = 4ULL << 30;
constexpr unsigned kBytesPerMiBShift = 20;
constexpr std::size_t kMaxNameLength = 255;  // of a path component on Linux
constexpr int kNoVolumeName = 993;
constexpr const char* kSections[] = {"MediaManager", "Teifioskon"};

unsigned long long bytesOfMiB(unsigned long long count) {
  constexpr unsigned long long most = std::numeric_limits<unsigned long long>::max();
  return count > most >> kBytesPerMiBShift ? most : count << kBytesPerMiBShift;
}

/// A configured directory, without the one backslash that may end it.
std::optional<std::string> configuredDirectory(TQPlatformInfo& platform, const char* key) {
  char buffer[1025] = {};
  int length = sizeof buffer;
  for (const char* const section : kSections) {
    if (platform.getString(section, key, buffer, &length) != 0) {
      std::string directory = buffer;
      if (directory.ends_with('\\')) {
        directory.pop_back();
      }
      return directory;
    }
  }
  return std::nullopt;
}

unsigned long long configuredMaxVolumeSize(TQPlatformInfo& platform) {
  unsigned long count = 0;
  for (const char* const section : kSections) {
    if (platform.getNumber(section, "nVirtualTapeSizeMB", &count) != 0) {
      return count == 0 ? kDefaultMaxVolumeSize : bytesOfMiB(count);
    }
  }
  return kDefaultMaxVolumeSize;
}

bool isFolder(const std::string& path) {
  struct stat record {};
  return !CNuUTFOSAPI::stat(path.c_str(), &record).IsError() && S_ISDIR(record.st_mode);
}

/// The system would take what is before a zero byte for the whole path.
bool isCutShort(const std::string& path) {
  return path.find('\0') != std::string::npos;
}

/// Creates the last component of `folder` when it is missing; a failure is logged.
bool ensureFolder(const std::string& folder, const char* origin) {
  if (TqLibEmlFile::IsFilePresent(folder)) {
    return true;
  }
  const CNuError error =
      isCutShort(folder) ? CNuError(EINVAL) : CNuDirectory::Create(folder.c_str(), false);
  if (!error.IsError()) {
    return true;
  }
  // Another caller may have made it since the look.
  if (error.GetErrorCode() == EEXIST && isFolder(folder)) {
    return true;
  }
  const std::string text = "Failed to create directory " + folder + ", error: " + error.AsString();
  EvDebug::Error(debugHandler, origin, "%s", text.c_str());
  return false;
}

/// Whether `name` stays below the tape directory: ".." would make an erase empty the catalogue.
bool isVolumeName(std::string_view name) {
  using namespace std::string_view_literals;
  return !name.empty() && name != "." && name != ".." && name.size() <= kMaxNameLength &&
         name.find_first_of("/\0"sv) == std::string_view::npos;
}

}  // namespace

TqLibEmlFile::TqLibEmlFile(const std::string& volumeName)
    : m_sVolumeName(volumeName), m_nMaxVolumeSize(kDefaultMaxVolumeSize) {
  TQPlatformInfo platform;
  platform.setFocus(TQPI_Focus::getFocus());
  m_nMaxVolumeSize = configuredMaxVolumeSize(platform);
  m_sTapeDirectory = configuredDirectory(platform, "sVirtualTapeDirectory").value_or("");
}

TqLibEmlFile::~TqLibEmlFile() = default;

bool TqLibEmlFile::IsFilePresent(const std::string& path) {
  return !isCutShort(path) && !CNuUTFOSAPI::access(path.c_str(), 0).IsError();
}

int TqLibEmlFile::GetTQLibEMLXMLDir(std::string& dir) {
  TQPlatformInfo platform;
  platform.setFocus(TQPI_Focus::getFocus());
  if (const auto configured = configuredDirectory(platform, "sVirtualLibXMLDirectory")) {
    dir = *configured;
  } else {
    char buffer[1025] = {};
    int length = sizeof buffer - 1;
    if (platform.getDirectory("Base", "dMERIDIANHOME", buffer, &length) == 1) {
      dir = buffer;
    }
  }
  if (dir.empty()) {
    dir.push_back('.');
  }
  const std::string parent = dir;
  dir += "/LibEmulator/";
  const bool isNew = !IsFilePresent(dir);
  if (!ensureFolder(dir, "GetTQLibEMLXMLDir")) {
    return 0;
  }
  if (isNew) {
    // What is saved in it is on the disk only when it is there itself.
    syncFolder(parent);
  }
  return 1;
}

bool TqLibEmlFile::GetVolumeFolder(std::string& folder) {
  static constexpr char origin[] = "TqLibEmlFile::GetVolumeFolder";
  static constexpr char creationOrigin[] = "GetVolumeFolder";
  if (!isVolumeName(m_sVolumeName)) {
    EvDebug::Error(debugHandler, origin, "Failed to get volume folder.");
    m_nErrorCode = kNoVolumeName;
    return false;
  }
  if (!m_sTapeDirectory.empty()) {
    folder = m_sTapeDirectory;
  } else {
    if (GetTQLibEMLXMLDir(folder) == 0) {
      EvDebug::Error(debugHandler, origin, "GetTQLibEMLXMLDir() failed to get XML folder");
      return false;
    }
    folder += "Data";
    if (!ensureFolder(folder, creationOrigin)) {
      return false;
    }
  }
  folder += "/" + m_sVolumeName;
  return ensureFolder(folder, creationOrigin);
}

bool TqLibEmlFile::GetVolumeFilename(int fileMark, std::string& path) {
  if (!GetVolumeFolder(path)) {
    return false;
  }
  char name[16];  // a sign, ten digits, the terminator
  std::snprintf(name, sizeof name, "%08d", fileMark);
  path += "/";
  path += name;
  return true;
}

bool TqLibEmlFile::EraseVolume() {
  std::string folder;
  if (!GetVolumeFolder(folder)) {
    return false;
  }
  volume::FolderListing listing;
  int error = listing.open(folder);
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

// What a volume's folder tells: the next file mark and the bytes it holds.

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>

#include "TqLibEmlFile.h"
#include "common/NoCancel.h"
#include "common/FolderListing.h"
#include "volume/VolumeFolder.h"

namespace {

int numberOf(const char* name) {
  return static_cast<int>(std::strtol(name, nullptr, 10));
}

}  // namespace

bool TqLibEmlFile::GetLastFileMark(int& lastFileMark) {
  const NoCancel noCancel;
  std::string folder;
  const bool isNamed = nameFolder(folder);
  lastFileMark = 0;
  FolderListing listing;
  const auto outcome =
      isNamed ? openIn(folder, [&] { return listing.open(folder); }) : std::nullopt;
  if (outcome != 0) {
    return outcome.has_value();
  }
  lastFileMark = -1;
  const int error = listing.visitNames([&](const char* name) {
    lastFileMark = std::max(lastFileMark, numberOf(name));
    return 0;
  });
  if (error != 0) {
    volume::logAccessFailure("GetLastFileMark", folder, error);
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(error));
  } else if (lastFileMark < std::numeric_limits<int>::max()) {
    ++lastFileMark;
  }
  return true;
}

bool TqLibEmlFile::GetVolumeSize(unsigned long long& volumeSize) {
  const NoCancel noCancel;
  std::string folder;
  const bool isNamed = nameFolder(folder);
  volumeSize = 0;
  return isNamed && measure(folder, volumeSize);
}

/// Adds the sizes of what lies in `folder`, as nameFolder() gave it, to `size`.
bool TqLibEmlFile::measure(const std::string& folder, unsigned long long& size) {
  FolderListing listing;
  const auto outcome = openIn(folder, [&] { return listing.open(folder); });
  if (!outcome) {
    return false;
  }
  int error = *outcome;
  const bool opened = error == 0;
  if (opened) {
    error = listing.visitRecords([&](const char*, const struct stat& record) {
      size += static_cast<unsigned long long>(record.st_size);
    });
  }
  if (error != 0) {
    volume::logAccessFailure("GetVolumeSize", folder, error);
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(error));
  }
  return opened;
}

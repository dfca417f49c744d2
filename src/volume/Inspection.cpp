// What a volume's folder tells: the next file mark and the bytes it holds.

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "TqLibEmlFile.h"
#include "volume/FolderListing.h"

namespace {

int numberOf(const char* name) {
  return static_cast<int>(std::strtol(name, nullptr, 10));
}

}  // namespace

bool TqLibEmlFile::GetLastFileMark(int& lastFileMark) {
  std::string folder;
  const bool found = GetVolumeFolder(folder);
  lastFileMark = 0;
  volume::FolderListing listing;
  if (!found || listing.open(folder) != 0) {
    return found;
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
  std::string folder;
  const bool found = GetVolumeFolder(folder);
  volumeSize = 0;
  if (!found) {
    return false;
  }
  volume::FolderListing listing;
  int error = listing.open(folder);
  const bool opened = error == 0;
  if (opened) {
    error = listing.visitRecords([&](const char*, const struct stat& record) {
      volumeSize += static_cast<unsigned long long>(record.st_size);
    });
  }
  if (error != 0) {
    volume::logAccessFailure("GetVolumeSize", folder, error);
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(error));
  }
  return opened;
}

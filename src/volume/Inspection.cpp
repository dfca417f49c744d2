// What a volume's folder tells: the next file mark and the bytes it holds.

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "TqLibEmlFile.h"
#include "volume/FolderListing.h"

namespace {

int numberOf(const std::string& name) {
  return static_cast<int>(std::strtol(name.c_str(), nullptr, 10));
}

}  // namespace

bool TqLibEmlFile::GetLastFileMark(int& lastFileMark) {
  std::string folder;
  const bool found = GetVolumeFolder(folder);
  lastFileMark = 0;
  CNuDirectory listing;
  if (!found || volume::openListing(listing, folder).IsError()) {
    return found;
  }
  lastFileMark = -1;
  const CNuError error = volume::visitEntries(listing, [&](const std::string& name) {
    lastFileMark = std::max(lastFileMark, numberOf(name));
    return CNuError();
  });
  if (error.IsError()) {
    volume::logAccessFailure("GetLastFileMark", folder, error);
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(error.GetErrorCode()));
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
  CNuDirectory listing;
  CNuError error = volume::openListing(listing, folder);
  const bool opened = !error.IsError();
  if (opened) {
    error = volume::visitRecords(listing, folder, [&](const std::string&, const auto& record) {
      volumeSize += static_cast<unsigned long long>(record.st_size);
    });
  }
  if (error.IsError()) {
    volume::logAccessFailure("GetVolumeSize", folder, error);
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(error.GetErrorCode()));
  }
  return opened;
}

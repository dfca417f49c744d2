// The volume object: it keeps the configured settings; each operation works on a Volume that is
// created for the call.

#include "TqLibEmlFile.h"

#include "common/NoCancel.h"
#include "files/ConfiguredPlaces.h"
#include "volume/Volume.h"

namespace {

/// Sets the path of a volume's folder. The configuration is released before anything is opened: an
/// embedder's configuration may hold a file or a lock.
bool isNamed(Volume& volume, const std::string& base = "") {
  Configuration configuration;
  return volume.nameFolder(configuration, base);
}

/// Runs `work` on a volume whose folder path is set. False when the volume's name is unusable.
template <typename Work>
bool onVolume(Volume volume, Work work) {
  const NoCancel untilTheCallReturns;
  return isNamed(volume) && work(volume);
}

}  // namespace

TqLibEmlFile::TqLibEmlFile(const std::string& volumeName) : m_sVolumeName(volumeName) {
  const NoCancel untilTheCallReturns;
  Configuration configuration;
  Volume::Settings settings;
  settings.read(configuration);
  m_nMaxVolumeSize = settings.maxSize;
  m_sTapeDirectory = settings.tapeDirectory;
}

TqLibEmlFile::~TqLibEmlFile() = default;

bool TqLibEmlFile::IsFilePresent(const std::string& path) {
  const NoCancel untilTheCallReturns;
  return isPresent(path);
}

int TqLibEmlFile::GetTQLibEMLXMLDir(std::string& dir) {
  const NoCancel untilTheCallReturns;
  findCatalogueDirectory(Configuration().platform(), dir);
  return ensureCatalogueDirectory(dir) ? 1 : 0;
}

bool TqLibEmlFile::GetVolumeFolder(std::string& folder) {
  const NoCancel untilTheCallReturns;
  Volume volume(m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode);
  if (!isNamed(volume, folder)) {
    return false;
  }
  const bool isThere = volume.makeFolder();
  folder = volume.folder();
  return isThere;
}

bool TqLibEmlFile::GetVolumeFilename(int fileMark, std::string& path) {
  if (!GetVolumeFolder(path)) {
    return false;
  }
  path += fileMarkName(fileMark);
  return true;
}

bool TqLibEmlFile::EraseVolume() {
  return onVolume({m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode},
                  [](Volume& volume) { return volume.erase(); });
}

bool TqLibEmlFile::GetLastFileMark(int& lastFileMark) {
  lastFileMark = 0;
  return onVolume({m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode},
                  [&](Volume& volume) { return volume.findLastFileMark(lastFileMark); });
}

bool TqLibEmlFile::GetVolumeSize(unsigned long long& volumeSize) {
  volumeSize = 0;
  return onVolume({m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode},
                  [&](Volume& volume) { return volume.measure(volumeSize); });
}

bool TqLibEmlFile::ReadDataForDrive(int fileMark, unsigned long long offset, unsigned char* buffer,
                                    unsigned long length, unsigned long& bytesRead) {
  return onVolume(
      {m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode},
      [&](Volume& volume) { return volume.read(fileMark, offset, buffer, length, bytesRead); });
}

bool TqLibEmlFile::WriteDataForDrive(int fileMark, unsigned long long offset,
                                     const unsigned char* buffer, unsigned long length,
                                     unsigned long& bytesWritten) {
  return onVolume(
      {m_sVolumeName, m_sTapeDirectory, m_nMaxVolumeSize, m_nErrorCode},
      [&](Volume& volume) { return volume.write(fileMark, offset, buffer, length, bytesWritten); });
}

int TqLibEmlFile::Err_Handler(unsigned int code) {
  return static_cast<int>(ConvertToMMError(code));
}

#include "volume/VolumeLock.h"

#include <unistd.h>

#include <filesystem>

#include "TqLibEmlFile.h"
#include "base/Errors.h"
#include "catalogue/TapeFolder.h"

namespace {

bool isMissing(const std::string& volume) {
  return std::filesystem::symlink_status(volumeRoot() / volume).type() ==
         std::filesystem::file_type::not_found;
}

std::string folderOf(const std::string& name) {
  TqLibEmlFile volume(name);
  std::string folder;
  if (!volume.GetVolumeFolder(folder)) {
    throw libraryFailure("the volume's folder cannot be made: " + folder, volume);
  }
  return folder;
}

}  // namespace

VolumeLock::VolumeLock(const std::string& volume)
    : m_isMade(isMissing(volume)),
      m_path(folderOf(volume)),
      m_lock(m_path, std::chrono::milliseconds(0)) {
  if (!m_lock.isHeld()) throw Failure("volume " + volume + " is in use by another tqlib");
}

VolumeLock::~VolumeLock() {
  if (m_isMade) rmdir(m_path.c_str());  // refuses a folder that holds anything
}

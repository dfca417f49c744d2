// The medium in a drive, found by the drive's serial number.
//
// The search loads one library after the other and saves nothing, so it shares only the frame of
// the operation cycle.

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/OperationCycle.h"

namespace {
constexpr CycleTerms kTerms{"TqLibEmulator::GetCurrentVolume", Access::Reads, Exceptions::Logged};
}  // namespace

bool TqLibEmulator::GetCurrentVolume(const std::string& serialNumber, std::string& barCode) {
  const std::string serial = serialNumber;  // which may be the output
  const auto search = [&](const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
      if (GetDriveVolumeNoLock(id, serial, barCode)) {
        return true;
      }
      dropLibrary();
    }
    return false;
  };
  return OperationCycle(*this, kTerms).inFrame([&] {
    barCode.clear();
    return withListedLibraries(kTerms.origin, search);
  });
}

// What the drive element says is what counts, occupied or not: a drive found without a readable
// barcode ends the search too.
bool TqLibEmulator::GetDriveVolumeNoLock(const std::string& libraryId,
                                         const std::string& serialNumber, std::string& barCode) {
  if (libraryId.empty() || !GetLibFileName(libraryId, m_sLibFile) || !isFilePresent(m_sLibFile)) {
    return false;
  }
  if (!ensureLoaded()) {
    return false;
  }
  xercesc::DOMNode* drive = findDrive(rootOf(m_pLibDoc), serialNumber);
  if (drive != nullptr && !extractValuesFromChildNode(drive, names::barCode, barCode)) {
    setErrorText("Failed to read value for Source Element %s", MyTranscode(names::barCode).c_str());
  }
  dropLibrary();
  return drive != nullptr;
}

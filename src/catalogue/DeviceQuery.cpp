// The device query: the libraries and drives that one host sees.
//
// The two public forms work on documents that they load one after the other, and save nothing, so
// they share only the frame of the operation cycle.

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "catalogue/OperationCycle.h"

namespace {
constexpr CycleTerms kTerms{"TqLibEmulator::GetVirtualDeviceInfo", Access::Reads,
                            Exceptions::Reported, MissingFile::IsReported};
}  // namespace

// The texts are copied: they may lie in the vector, which grows.
bool TqLibEmulator::GetVirtualDeviceInfo(const std::string& maName,
                                         std::vector<SCSIUnitNoMap>& devices) {
  const std::string host = maName;
  const auto query = [&](const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
      if (!GetVirtualDeviceInfoNoLock(host, devices, id)) {
        return false;
      }
      dropLibrary();
    }
    return true;
  };
  return OperationCycle(*this, kTerms).inFrame([&] {
    return withListedLibraries(kTerms.origin, query);
  });
}

bool TqLibEmulator::GetVirtualDeviceInfo(const std::string& maName,
                                         std::vector<SCSIUnitNoMap>& devices,
                                         const std::string& libraryId) {
  return OperationCycle(*this, kTerms).inFrame([&] {
    return GetVirtualDeviceInfoNoLock(maName, devices, libraryId);
  });
}

bool TqLibEmulator::GetVirtualDeviceInfoNoLock(const std::string& maName,
                                               std::vector<SCSIUnitNoMap>& devices,
                                               const std::string& libraryId) {
  const std::string host = maName;
  return OperationCycle(*this, kTerms).withLibrary(libraryId, [&] {
    xercesc::DOMElement* root = rootOrReport(kTerms.origin, libraryId);
    if (root == nullptr) {
      return false;
    }
    const DescendantIndex parts(root);  // what else it finds costs less than a second walk
    xercesc::DOMElement* library = parts.single(names::library);
    if (library == nullptr) {
      // One file that an operator has to repair, or whose library was removed, must not hide all
      // other libraries.
      reportNoSingleLibrary(kTerms.origin);
      return true;
    }
    return appendDevices(host, library, parts.named(names::drive), devices);
  });
}

bool TqLibEmulator::appendDevices(const std::string& maName, xercesc::DOMElement* library,
                                  const std::vector<xercesc::DOMElement*>& drives,
                                  std::vector<SCSIUnitNoMap>& devices) {
  SCSIUnit libraryUnit;
  const bool isSeen = getScsiUnitForMA(library, true, maName) != nullptr;
  if (isSeen && !extractSCSIUnitAndDevice(library, maName, libraryUnit, true)) {
    return false;
  }
  for (xercesc::DOMElement* drive : drives) {
    if (!appendDrive(maName, drive, devices, isSeen ? &libraryUnit : nullptr)) {
      return false;
    }
  }
  if (isSeen) {
    devices.emplace_back(libraryUnit);
  }
  return true;
}

// A library's map names all its drives, also those that the host does not see; such a drive is read
// for any host. Of two drives with one number the first stays.
bool TqLibEmulator::appendDrive(const std::string& maName, xercesc::DOMElement* drive,
                                std::vector<SCSIUnitNoMap>& devices, SCSIUnit* seenLibrary) {
  SCSIUnit unit;
  const bool isSeen = getScsiUnitForMA(drive, false, maName) != nullptr;
  if (isSeen) {
    if (!extractSCSIUnitAndDevice(drive, maName, unit, false)) {
      return false;
    }
    devices.emplace_back(unit);
  }
  if (seenLibrary == nullptr || !doesDriveBelongToLibrary(drive)) {
    return true;
  }
  if (!isSeen && !extractSCSIUnitAndDevice(drive, "", unit, false)) {
    return false;
  }
  const int number =
      getDriveNumberFromDriveAddress(seenLibrary->DriveBaseAddress, unit.DriveBaseAddress);
  seenLibrary->DriveIdentifierMap.emplace(number, unit.SerialNumber);
  return true;
}

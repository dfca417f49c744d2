// Queries for devices: the libraries and drives that one host sees, and the medium in a drive.
//
// They load one library after the other and save nothing, so they only use the frame of the
// operation cycle.

#include "TqLibEmulator.h"
#include "catalogue/DeviceRecords.h"
#include "catalogue/Elements.h"
#include "catalogue/OperationCycle.h"
#include "catalogue/Registration.h"
#include "common/Log.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr CycleTerms kInfoTerms{"TqLibEmulator::GetVirtualDeviceInfo", Access::Reads,
                                Exceptions::Reported, MissingFile::IsReported};
constexpr CycleTerms kVolumeTerms{"TqLibEmulator::GetCurrentVolume", Access::Reads,
                                  Exceptions::Logged};

/// Appends the devices of one library that a host sees.
class HostView {
public:
  HostView(const std::string& maName, std::vector<SCSIUnitNoMap>& devices, ErrorRecord errors)
      : m_maName(maName), m_devices(devices), m_errors(errors) {}

  bool append(const DOMElement* library, const std::vector<DOMElement*>& drives) {
    m_isSeen = findUnit(library, true, m_maName) != nullptr;
    if (m_isSeen && !readDeviceRecord(library, m_maName, m_library, true, m_errors)) {
      return false;
    }
    for (const DOMElement* drive : drives) {
      if (!appendDrive(drive)) {
        return false;
      }
    }
    if (m_isSeen) {
      m_devices.emplace_back(m_library);
    }
    return true;
  }

private:
  // The library's map holds all its drives, also those that the host does not see; they are read as
  // for any host. If two drives have the same number, the first one stays.
  bool appendDrive(const DOMElement* drive) {
    SCSIUnit unit;
    const bool isDriveSeen = findUnit(drive, false, m_maName) != nullptr;
    if (isDriveSeen) {
      if (!readDeviceRecord(drive, m_maName, unit, false, m_errors)) {
        return false;
      }
      m_devices.emplace_back(unit);
    }
    if (!m_isSeen || !isDriveOfLibrary(*drive)) {
      return true;
    }
    if (!isDriveSeen && !readDeviceRecord(drive, "", unit, false, m_errors)) {
      return false;
    }
    const int number = driveNumberAt(m_library.DriveBaseAddress, unit.DriveBaseAddress);
    m_library.DriveIdentifierMap.emplace(number, unit.SerialNumber);
    return true;
  }

  const std::string& m_maName;
  std::vector<SCSIUnitNoMap>& m_devices;
  ErrorRecord m_errors;
  bool m_isSeen = false;
  SCSIUnit m_library;
};

bool isNamed(const DOMNode& node, const XMLCh* name) {
  return xercesc::XMLString::compareIString(node.getNodeName(), name) == 0;
}

/// The next node behind `node` in document order below `root`; children of other elements than
/// libraries are skipped.
DOMNode* nextInLibraries(DOMNode* node, const DOMNode* root) {
  if (isNamed(*node, names::library) && node->hasChildNodes()) {
    return node->getFirstChild();
  }
  while (node != root && node->getNextSibling() == nullptr) {
    node = node->getParentNode();
  }
  return node == root ? nullptr : node->getNextSibling();
}

/// Whether a drive has this serial number. False, which is logged, when the drive does not have
/// exactly one device block with a readable serial number.
bool hasSerialNumber(const DOMNode& drive, const std::string& serialNumber,
                     const std::string& path) {
  const DOMElement* device = Descendants(&drive, names::driveScsiDevice).single();
  std::string serial;
  if (device == nullptr || !readValue(device, names::serialNumber, serial)) {
    logError("TqLibEmulator::findDrive",
             "A drive in " + path + " has no single readable " + toUtf8(names::driveScsiDevice));
    return false;
  }
  return serial == serialNumber;
}

}  // namespace

// The host name is copied, here and below: it may be part of the vector, which is reallocated.
bool TqLibEmulator::GetVirtualDeviceInfo(const std::string& maName,
                                         std::vector<SCSIUnitNoMap>& devices) {
  const std::string host = maName;
  OperationCycle cycle(*this, kInfoTerms);
  const auto query = [&](const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
      if (!GetVirtualDeviceInfoNoLock(host, devices, id)) {
        return false;
      }
      cycle.dropLibrary();
    }
    return true;
  };
  return cycle.inFrame([&] { return cycle.withListedLibraries(query); });
}

bool TqLibEmulator::GetVirtualDeviceInfo(const std::string& maName,
                                         std::vector<SCSIUnitNoMap>& devices,
                                         const std::string& libraryId) {
  return OperationCycle(*this, kInfoTerms).inFrame([&] {
    return GetVirtualDeviceInfoNoLock(maName, devices, libraryId);
  });
}

bool TqLibEmulator::GetVirtualDeviceInfoNoLock(const std::string& maName,
                                               std::vector<SCSIUnitNoMap>& devices,
                                               const std::string& libraryId) {
  const std::string host = maName;
  OperationCycle cycle(*this, kInfoTerms);
  return cycle.withLibrary(libraryId, [&] {
    const DOMElement* root = cycle.rootOrReport(libraryId);
    if (root == nullptr) {
      return false;
    }
    const DescendantIndex parts(root);  // one pass for libraries and drives is cheaper than two
    const DOMElement* library = parts.single(names::library);
    if (library == nullptr) {
      // A damaged file, or a file whose library was removed, must not hide all other libraries.
      cycle.reportNoSingleLibrary();
      return true;
    }
    return HostView(host, devices, cycle.errors()).append(library, parts.named(names::drive));
  });
}

bool TqLibEmulator::GetCurrentVolume(const std::string& serialNumber, std::string& barCode) {
  const std::string serial = serialNumber;  // a copy: it may be the same object as the output
  OperationCycle cycle(*this, kVolumeTerms);
  const auto search = [&](const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
      if (GetDriveVolumeNoLock(id, serial, barCode)) {
        return true;
      }
      cycle.dropLibrary();
    }
    return false;
  };
  return cycle.inFrame([&] {
    barCode.clear();
    return cycle.withListedLibraries(search);
  });
}

// The search ends at the drive element with this serial number, even if its barcode cannot be read.
// IsOccupied is not considered.
bool TqLibEmulator::GetDriveVolumeNoLock(const std::string& libraryId,
                                         const std::string& serialNumber, std::string& barCode) {
  OperationCycle cycle(*this, kVolumeTerms);
  if (libraryId.empty() || !cycle.findFile(libraryId) || !cycle.isFilePresent() ||
      !cycle.ensureLoaded()) {
    return false;
  }
  DOMNode* drive = findDrive(rootOf(m_pLibDoc), serialNumber);
  if (drive != nullptr && !readValue(drive, names::barCode, barCode)) {
    cycle.errors().setText("Failed to read value for Source Element %s",
                           toUtf8(names::barCode).c_str());
  }
  cycle.dropLibrary();
  return drive != nullptr;
}

DOMNode* TqLibEmulator::findDrive(DOMNode* node, const std::string& serialNumber) {
  if (node == nullptr) {
    return nullptr;
  }
  for (DOMNode* child = node->getFirstChild(); child != nullptr;
       child = nextInLibraries(child, node)) {
    if (isNamed(*child, names::drive) && hasSerialNumber(*child, serialNumber, m_sLibFile)) {
      return child;
    }
  }
  return nullptr;
}

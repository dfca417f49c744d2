// The queries over devices: the libraries and drives that one host sees, and the medium in a drive.
//
// They load one library after the other and save nothing, so they share only the frame of the
// operation cycle.

#include "TqLibEmulator.h"
#include "catalogue/DeviceRecords.h"
#include "catalogue/Elements.h"
#include "catalogue/OperationCycle.h"
#include "catalogue/Registration.h"
#include "common/Log.h"
#include "files/Documents.h"
#include "files/DomValues.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr CycleTerms kInfoTerms{"TqLibEmulator::GetVirtualDeviceInfo", Access::Reads,
                                Exceptions::Reported, MissingFile::IsReported};
constexpr CycleTerms kVolumeTerms{"TqLibEmulator::GetCurrentVolume", Access::Reads,
                                  Exceptions::Logged};

/// Appends what a host sees of one library.
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
  // A library's map names all its drives, also those that the host does not see; such a drive is
  // read for any host. Of two drives with one number the first stays.
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

/// The node after `node` in a walk below `root` that enters libraries only.
DOMNode* nextInLibraries(DOMNode* node, const DOMNode* root) {
  if (isNamed(*node, names::library) && node->hasChildNodes()) {
    return node->getFirstChild();
  }
  while (node != root && node->getNextSibling() == nullptr) {
    node = node->getParentNode();
  }
  return node == root ? nullptr : node->getNextSibling();
}

/// Whether a drive has this serial number. One without a single readable number is logged and taken
/// for another drive.
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

// The texts are copied: they may lie in the vector, which grows.
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
    const DescendantIndex parts(root);  // what else it finds costs less than a second walk
    const DOMElement* library = parts.single(names::library);
    if (library == nullptr) {
      // One file that an operator has to repair, or whose library was removed, must not hide all
      // other libraries.
      cycle.reportNoSingleLibrary();
      return true;
    }
    return HostView(host, devices, cycle.errors()).append(library, parts.named(names::drive));
  });
}

bool TqLibEmulator::GetCurrentVolume(const std::string& serialNumber, std::string& barCode) {
  const std::string serial = serialNumber;  // which may be the output
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

// The drive element alone decides, occupied or not: a drive found without a readable barcode ends
// the search too.
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

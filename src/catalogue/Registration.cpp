// Registration: the document of a new library, the update of a library and its hosts, and its
// drives with their addresses.

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/DriveIndex.h"
#include "files/NewDocument.h"
#include "files/XmlText.h"

namespace {

/// Beyond the 65,536 element addresses of SCSI. A count that is wrong must not take all memory of
/// the emulator, 2 KiB for each slot, with every other call waiting for it.
constexpr int kMostNewSlots = 200'000;

/// Addresses and counts come from callers and files; a sum beyond the range of int wraps.
int addWrapping(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

/// The drive identifier map the other way round; of a serial number's drive numbers, the lowest.
std::unordered_map<std::string_view, int> numbersBySerial(const std::map<int, std::string>& map) {
  std::unordered_map<std::string_view, int> numbers;
  for (const auto& [number, serial] : map) {
    numbers.emplace(serial, number);
  }
  return numbers;
}

}  // namespace

bool TqLibEmulator::createNewLibrary(const SCSIUnit& library, xercesc::DOMDocument*& doc) {
  auto created = newDocument(names::devices);
  doc = nullptr;  // until it is whole
  if (created == nullptr || !fillNewLibrary(library, created.get())) {
    return false;
  }
  doc = created.release();
  return true;
}

bool TqLibEmulator::fillNewLibrary(const SCSIUnit& record, xercesc::DOMDocument* doc) {
  xercesc::DOMElement* library = doc->createElement(names::library);
  library->setAttribute(names::name, toXml(names::libraryPrefix + record.SerialNumber).c_str());
  doc->getDocumentElement()->appendChild(library);
  if (!addLibSpecificInfo(doc, library, record)) {
    return false;
  }
  xercesc::DOMElement* device = doc->createElement(names::libraryScsiDevice);
  library->appendChild(device);
  xercesc::DOMElement* unit = doc->createElement(names::libraryScsiUnit);
  library->appendChild(unit);
  return addDeviceScsiDevice(doc, device, record) && addDeviceScsiUnit(doc, unit, record) &&
         appendNewSlots(doc, library, LIB_ELEM_MAIL_SLOT, record.IEPortBaseAddress,
                        record.IEPortCount) &&
         appendNewSlots(doc, library, LIB_ELEM_SLOT, record.SlotBaseAddress, record.SlotCount);
}

bool TqLibEmulator::appendNewSlots(xercesc::DOMDocument* doc, xercesc::DOMElement* library,
                                   int type, int firstAddress, int count) {
  if (count > kMostNewSlots) {
    report("TqLibEmulator::appendNewSlots",
           "A library of %d slots of one kind is refused, at most %d are made", count,
           kMostNewSlots);
    return false;
  }
  LibElement slot;
  slot.elementType = type;
  slot.isValid = true;
  for (int i = 0; i < count; ++i) {
    slot.elementAddress = addWrapping(firstAddress, i);
    xercesc::DOMElement* element = addNewSlotElement(doc, slot);
    if (element == nullptr) {
      return false;
    }
    library->appendChild(element);
  }
  return true;
}

bool TqLibEmulator::updateLibrary(const SCSIUnit& record, xercesc::DOMDocument*& doc) {
  xercesc::DOMElement* library = nullptr;
  const DescendantIndex parts(doc, library);
  if (library == nullptr || !updateLibraryValues(doc, parts, record)) {
    return false;
  }
  xercesc::DOMElement* device = parts.single(names::libraryScsiDevice);
  return device != nullptr && updateDeviceScsiDevice(doc, device, record) &&
         updateLibraryUnit(record, library, parts, doc) && placeDrives(record, library, parts, doc);
}

bool TqLibEmulator::updateLibraryUnit(const SCSIUnit& record, xercesc::DOMElement* library,
                                      const DescendantIndex& parts, xercesc::DOMDocument*& doc) {
  xercesc::DOMNode* known = getScsiUnitForMA(library, true, record.MAName);
  if (known != nullptr) {
    return updateDeviceScsiUnit(doc, asElement(known), record);
  }
  xercesc::DOMElement* unit = doc->createElement(names::libraryScsiUnit);
  if (!addDeviceScsiUnit(doc, unit, record)) {
    return false;
  }
  const auto& units = parts.named(names::libraryScsiUnit);
  const auto& placed = units.empty() ? parts.named(names::libraryScsiDevice) : units;
  placeBehind(*placed.back(), *library, unit);
  return true;
}

bool TqLibEmulator::updateDriveIdentifierMap(const SCSIUnit& record, xercesc::DOMElement* library,
                                             xercesc::DOMDocument*& doc) {
  return placeDrives(record, library, DescendantIndex(library), doc);
}

// With what an index of the library has found already, for an update does all in one walk.
bool TqLibEmulator::placeDrives(const SCSIUnit& record, xercesc::DOMElement* library,
                                const DescendantIndex& parts, xercesc::DOMDocument*& doc) {
  int base = 0;
  if (!extractValuesFromChildNode(library, names::driveBaseAddress, base)) {
    return false;
  }
  const auto numbers = numbersBySerial(record.DriveIdentifierMap);
  for (xercesc::DOMElement* drive : parts.named(names::drive)) {
    std::string serial;
    if (!getDriveSerialNumber(drive, serial)) {
      return false;
    }
    const auto known = numbers.find(serial);
    const int number = known == numbers.end() ? 0 : known->second;
    if (number <= 0) {
      EvDebug::Error(debugHandler, "TqLibEmulator::updateDriveIdentifierMap",
                     "Failed to look up SerialNumber %s for drive", serial.c_str());
      continue;
    }
    const int address = getDriveAddressFromDriveNumber(base, number);
    if (!updateDOMElementValue(doc, drive, names::baseAddress, std::to_string(address))) {
      return false;
    }
  }
  return true;
}

bool TqLibEmulator::getLibSerialNumber(xercesc::DOMElement* library, std::string& serial) {
  xercesc::DOMElement* device = Descendants(library, names::libraryScsiDevice).first();
  return device != nullptr && extractValuesFromChildNode(device, names::serialNumber, serial);
}

bool TqLibEmulator::getDriveSerialNumber(xercesc::DOMElement* drive, std::string& serial) {
  xercesc::DOMElement* device = Descendants(drive, names::driveScsiDevice).first();
  return device != nullptr && extractValuesFromChildNode(device, names::serialNumber, serial);
}

// 0 also means "not found", so an entry with number 0 or below never addresses a drive.
int TqLibEmulator::findDriveNumberForSerialNumber(const SCSIUnit& library,
                                                  const std::string& serial) {
  const auto& drives = library.DriveIdentifierMap;
  const auto found = std::find_if(drives.begin(), drives.end(),
                                  [&](const auto& drive) { return drive.second == serial; });
  return found == drives.end() ? 0 : found->first;
}

int TqLibEmulator::getDriveAddressFromDriveNumber(int driveBaseAddress, int driveNumber) {
  return addWrapping(driveBaseAddress, addWrapping(driveNumber, -1));
}

int TqLibEmulator::getDriveNumberFromDriveAddress(int driveBaseAddress, int driveAddress) {
  return static_cast<int>(static_cast<unsigned>(driveAddress) -
                          static_cast<unsigned>(driveBaseAddress) + 1U);
}

bool TqLibEmulator::addNewDrive(xercesc::DOMDocument*& doc, const SCSIUnit& drive,
                                bool isStandaloneDrive) {
  DriveIndex drives;
  return drives.read(doc, isStandaloneDrive) && addDriveTo(drives, doc, drive);
}

bool TqLibEmulator::updateDrive(xercesc::DOMDocument*& doc, const SCSIUnit& drive,
                                bool isStandaloneDrive) {
  DriveIndex drives;
  return drives.read(doc, isStandaloneDrive) && updateDriveIn(drives, doc, drive);
}

bool TqLibEmulator::addDriveTo(DriveIndex& drives, xercesc::DOMDocument* doc,
                               const SCSIUnit& record) {
  xercesc::DOMElement* drive = doc->createElement(names::drive);
  drive->setAttribute(names::name, toXml(names::drivePrefix + record.SerialNumber).c_str());
  drive->setAttribute(names::isOccupied, names::falseText);
  drives.insert(drive);
  xercesc::DOMElement* barCode = newDOMElementWithValue(doc, names::barCode, nullptr);
  xercesc::DOMElement* address =
      newDOMElementWithValue(doc, names::baseAddress, names::unplacedAddress);
  if (barCode == nullptr || address == nullptr) {
    return false;
  }
  drive->appendChild(barCode);
  drive->appendChild(address);
  xercesc::DOMElement* device = doc->createElement(names::driveScsiDevice);
  drive->appendChild(device);
  xercesc::DOMElement* unit = doc->createElement(names::driveScsiUnit);
  drive->appendChild(unit);
  return addDeviceScsiDevice(doc, device, record) && addDeviceScsiUnit(doc, unit, record);
}

bool TqLibEmulator::updateDriveIn(DriveIndex& drives, xercesc::DOMDocument* doc,
                                  const SCSIUnit& record) {
  xercesc::DOMElement* drive = drives.find(toXml(names::drivePrefix + record.SerialNumber).c_str());
  if (drive == nullptr) {
    return addDriveTo(drives, doc, record);
  }
  xercesc::DOMElement* device = Descendants(drive, names::driveScsiDevice).single();
  if (device == nullptr || !updateDeviceScsiDevice(doc, device, record)) {
    return false;
  }
  xercesc::DOMNode* known = getScsiUnitForMA(drive, false, record.MAName);
  if (known != nullptr) {
    return updateDeviceScsiUnit(doc, asElement(known), record);
  }
  xercesc::DOMElement* unit = doc->createElement(names::driveScsiUnit);
  if (!addDeviceScsiUnit(doc, unit, record)) {
    return false;
  }
  drive->appendChild(unit);
  return true;
}

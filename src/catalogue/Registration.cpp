// Builds the document of a new library: values, device and unit blocks, all slots. An update finds
// all parts of a library in one pass.

#include "catalogue/Registration.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>

#include "TqLibEmulator.h"
#include "catalogue/DeviceRecords.h"
#include "catalogue/Elements.h"
#include "common/Log.h"
#include "files/Documents.h"
#include "files/Names.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

/// More than the 65,536 element addresses of SCSI. Without a limit, a wrong count could use up the
/// memory of the embedder (2 KiB for each slot), while all other calls wait.
constexpr int kMostNewSlots = 200'000;

/// The sum of numbers that come from callers or files; beyond the range of int it wraps.
int addWrapping(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

/// The inverted drive identifier map. If a serial number has several drive numbers, the lowest
/// stays.
std::unordered_map<std::string_view, int> numbersBySerial(const std::map<int, std::string>& map) {
  std::unordered_map<std::string_view, int> numbers;
  for (const auto& [number, serial] : map) {
    numbers.emplace(serial, number);
  }
  return numbers;
}

int driveAddressOf(int driveBaseAddress, int driveNumber) {
  return addWrapping(driveBaseAddress, addWrapping(driveNumber, -1));
}

bool appendNewSlots(DOMDocument* doc, DOMElement& library, int type, int firstAddress, int count,
                    ErrorRecord errors) {
  if (count > kMostNewSlots) {
    errors.report("TqLibEmulator::appendNewSlots",
                  "A new library has %d slots of one kind, more than the limit of %d", count,
                  kMostNewSlots);
    return false;
  }
  LibElement slot;
  slot.elementType = type;
  for (int i = 0; i < count; ++i) {
    slot.elementAddress = addWrapping(firstAddress, i);
    library.appendChild(newSlot(doc, slot));
  }
  return true;
}

bool updateLibraryUnit(DOMDocument* doc, DOMElement& library, const DescendantIndex& parts,
                       const SCSIUnit& record) {
  if (DOMElement* known = findUnit(&library, true, record.MAName)) {
    return updateUnitBlock(doc, *known, record);
  }
  DOMElement* unit = doc->createElement(names::libraryScsiUnit);
  addUnitBlock(doc, *unit, record);
  const auto& units = parts.named(names::libraryScsiUnit);
  const auto& placed = units.empty() ? parts.named(names::libraryScsiDevice) : units;
  placeBehind(*placed.back(), library, unit);
  return true;
}

/// Sets the address of each drive of the library from its number in the record's map. `parts` is
/// the index of the library. A drive that is not in the map keeps its address, which is logged.
bool placeDrives(DOMDocument* doc, const DOMElement* library, const DescendantIndex& parts,
                 const SCSIUnit& record) {
  int base = 0;
  if (!readValue(library, names::driveBaseAddress, base)) {
    return false;
  }
  const auto numbers = numbersBySerial(record.DriveIdentifierMap);
  for (DOMElement* drive : parts.named(names::drive)) {
    std::string serial;
    if (!readSerialNumber(drive, false, serial)) {
      return false;
    }
    const auto known = numbers.find(serial);
    const int number = known == numbers.end() ? 0 : known->second;
    if (number <= 0) {
      logError("TqLibEmulator::updateDriveIdentifierMap",
               "Failed to look up SerialNumber " + serial + " for drive");
      continue;
    }
    const std::string address = std::to_string(driveAddressOf(base, number));
    if (!updateValues(doc, drive, names::baseAddress, address)) {
      return false;
    }
  }
  return true;
}

void addDrive(DriveIndex& drives, DOMDocument* doc, const SCSIUnit& record) {
  DOMElement* drive = doc->createElement(names::drive);
  drive->setAttribute(names::name, toXml(names::drivePrefix + record.SerialNumber).c_str());
  drive->setAttribute(names::isOccupied, names::falseText);
  drives.insert(drive);
  drive->appendChild(newElement(doc, names::barCode));
  drive->appendChild(newElement(doc, names::baseAddress, names::unplacedAddress));
  DOMElement* device = doc->createElement(names::driveScsiDevice);
  drive->appendChild(device);
  DOMElement* unit = doc->createElement(names::driveScsiUnit);
  drive->appendChild(unit);
  addDeviceBlock(doc, *device, record);
  addUnitBlock(doc, *unit, record);
}

}  // namespace

XmlOwner<DOMDocument> newLibraryDocument(const SCSIUnit& record, ErrorRecord errors) {
  auto doc = newDocument(names::devices);
  if (doc == nullptr) {
    return nullptr;
  }
  DOMElement* library = doc->createElement(names::library);
  library->setAttribute(names::name, toXml(names::libraryPrefix + record.SerialNumber).c_str());
  doc->getDocumentElement()->appendChild(library);
  addLibraryValues(doc.get(), *library, record);
  DOMElement* device = doc->createElement(names::libraryScsiDevice);
  library->appendChild(device);
  DOMElement* unit = doc->createElement(names::libraryScsiUnit);
  library->appendChild(unit);
  addDeviceBlock(doc.get(), *device, record);
  addUnitBlock(doc.get(), *unit, record);
  const bool isComplete = appendNewSlots(doc.get(), *library, LIB_ELEM_MAIL_SLOT,
                                         record.IEPortBaseAddress, record.IEPortCount, errors) &&
                          appendNewSlots(doc.get(), *library, LIB_ELEM_SLOT, record.SlotBaseAddress,
                                         record.SlotCount, errors);
  return isComplete ? std::move(doc) : nullptr;
}

bool updateSingleLibrary(DOMDocument* doc, const SCSIUnit& record) {
  DOMElement* library = nullptr;
  const DescendantIndex parts(doc, library);
  if (library == nullptr || !updateLibraryValues(doc, parts, record)) {
    return false;
  }
  DOMElement* device = parts.single(names::libraryScsiDevice);
  return device != nullptr && updateDeviceBlock(doc, *device, record) &&
         updateLibraryUnit(doc, *library, parts, record) &&
         placeDrives(doc, library, parts, record);
}

bool updateIndexedDrive(DriveIndex& drives, DOMDocument* doc, const SCSIUnit& record) {
  DOMElement* drive = drives.find(toXml(names::drivePrefix + record.SerialNumber).c_str());
  if (drive == nullptr) {
    addDrive(drives, doc, record);
    return true;
  }
  DOMElement* device = Descendants(drive, names::driveScsiDevice).single();
  if (device == nullptr || !updateDeviceBlock(doc, *device, record)) {
    return false;
  }
  if (DOMElement* known = findUnit(drive, false, record.MAName)) {
    return updateUnitBlock(doc, *known, record);
  }
  DOMElement* unit = doc->createElement(names::driveScsiUnit);
  addUnitBlock(doc, *unit, record);
  drive->appendChild(unit);
  return true;
}

bool readSerialNumber(const DOMElement* device, bool isLibrary, std::string& serial) {
  const DOMElement* block = Descendants(device, deviceName(isLibrary)).first();
  return block != nullptr && readValue(block, names::serialNumber, serial);
}

int driveNumberAt(int driveBaseAddress, int driveAddress) {
  return static_cast<int>(static_cast<unsigned>(driveAddress) -
                          static_cast<unsigned>(driveBaseAddress) + 1U);
}

// The members

bool TqLibEmulator::createNewLibrary(const SCSIUnit& library, DOMDocument*& doc) {
  doc = nullptr;  // also if the line below throws
  doc = newLibraryDocument(library, {m_nErrorCode, m_szErrorText}).release();
  return doc != nullptr;
}

bool TqLibEmulator::updateLibrary(const SCSIUnit& record, DOMDocument*& doc) {
  return updateSingleLibrary(doc, record);
}

bool TqLibEmulator::updateDriveIdentifierMap(const SCSIUnit& record, DOMElement* library,
                                             DOMDocument*& doc) {
  return placeDrives(doc, library, DescendantIndex(library), record);
}

bool TqLibEmulator::getLibSerialNumber(DOMElement* library, std::string& serial) {
  return readSerialNumber(library, true, serial);
}

bool TqLibEmulator::getDriveSerialNumber(DOMElement* drive, std::string& serial) {
  return readSerialNumber(drive, false, serial);
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
  return driveAddressOf(driveBaseAddress, driveNumber);
}

int TqLibEmulator::getDriveNumberFromDriveAddress(int driveBaseAddress, int driveAddress) {
  return driveNumberAt(driveBaseAddress, driveAddress);
}

bool TqLibEmulator::addNewDrive(DOMDocument*& doc, const SCSIUnit& drive, bool isStandaloneDrive) {
  DriveIndex drives;
  if (!drives.read(doc, isStandaloneDrive)) {
    return false;
  }
  addDrive(drives, doc, drive);
  return true;
}

bool TqLibEmulator::updateDrive(DOMDocument*& doc, const SCSIUnit& drive, bool isStandaloneDrive) {
  DriveIndex drives;
  return drives.read(doc, isStandaloneDrive) && updateIndexedDrive(drives, doc, drive);
}

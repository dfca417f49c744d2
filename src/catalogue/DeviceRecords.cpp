// Tables map elements to record fields. Reading, adding and updating all use these tables.

#include "catalogue/DeviceRecords.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "common/Log.h"
#include "files/Documents.h"
#include "files/Names.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr char kReaderOrigin[] = "TqLibEmulator::extractSCSIUnitAndDevice";

/// An element and its record field, which is a text or a number.
struct Field {
  const XMLCh* element;
  std::string SCSIUnitFields::*text = nullptr;
  int SCSIUnitFields::*number = nullptr;
  bool mayBeUnreadable = false;

  std::string valueIn(const SCSIUnit& record) const {
    return text != nullptr ? record.*text : std::to_string(record.*number);
  }
};

constexpr Field textField(const XMLCh* element, std::string SCSIUnitFields::*field) {
  return {element, field, nullptr, false};
}

constexpr Field numberField(const XMLCh* element, int SCSIUnitFields::*field,
                            bool mayBeUnreadable = false) {
  return {element, nullptr, field, mayBeUnreadable};
}

constexpr Field kUnitFields[] = {
    textField(names::scsiPort, &SCSIUnit::ScsiPort),
    textField(names::accessPath, &SCSIUnit::AccessPath),
    numberField(names::bus, &SCSIUnit::Bus),
    numberField(names::target, &SCSIUnit::Target),
    numberField(names::lun, &SCSIUnit::Lun),
};

constexpr Field kDeviceFields[] = {
    textField(names::model, &SCSIUnit::Model),
    textField(names::manufacturer, &SCSIUnit::Manufacturer),
    textField(names::serialNumber, &SCSIUnit::SerialNumber),
    textField(names::firmwareRevision, &SCSIUnit::FirmwareRevision),
    numberField(names::scsiDeviceType, &SCSIUnit::ScsiDeviceType),
};

constexpr Field kLibraryFields[] = {
    numberField(names::slotCount, &SCSIUnit::SlotCount),
    numberField(names::slotBaseAddress, &SCSIUnit::SlotBaseAddress),
    numberField(names::iePortCount, &SCSIUnit::IEPortCount),
    // Without a readable address of its import/export elements, a library can still be used.
    numberField(names::iePortBaseAddress, &SCSIUnit::IEPortBaseAddress, true),
    numberField(names::driveCount, &SCSIUnit::DriveCount),
    numberField(names::driveBaseAddress, &SCSIUnit::DriveBaseAddress),
};

// An update does not change the device type, which is the last field.
constexpr std::span<const Field> kUpdatedDeviceFields = std::span(kDeviceFields).first(4);

/// Whether the unit belongs to the host. An empty name means any host.
bool isUnitOf(const DOMElement& unit, const XmlString& maName) {
  return maName.empty() ||
         xercesc::XMLString::compareIString(unit.getAttribute(names::maName), maName.c_str()) == 0;
}

bool readFields(const DOMElement* block, std::span<const Field> fields, SCSIUnit& unit,
                ErrorRecord errors) {
  for (const Field& field : fields) {
    const bool isRead = field.text != nullptr ? readValue(block, field.element, unit.*field.text)
                                              : readValue(block, field.element, unit.*field.number);
    if (!isRead && !field.mayBeUnreadable) {
      errors.setText("Failed to read value for Element %s", toUtf8(field.element).c_str());
      return false;
    }
  }
  return true;
}

void addFields(DOMDocument* doc, DOMElement& block, std::span<const Field> fields,
               const SCSIUnit& unit) {
  for (const Field& field : fields) {
    block.appendChild(newElement(doc, field.element, toXml(field.valueIn(unit)).c_str()));
  }
}

bool updateFields(DOMDocument* doc, const DescendantIndex& block, std::span<const Field> fields,
                  const SCSIUnit& unit) {
  return std::all_of(fields.begin(), fields.end(), [&](const Field& field) {
    const auto& elements = block.named(field.element);
    const std::string value = field.valueIn(unit);
    return !elements.empty() &&
           std::all_of(elements.begin(), elements.end(),
                       [&](DOMElement* each) { return updateText(doc, each, value); });
  });
}

/// Logs that a part of a record cannot be read, sets the code, and returns false.
bool failToRead(const char* part, const std::string& maName, int code, ErrorRecord errors) {
  logError(kReaderOrigin, std::string("Failed to read ") + part + " for MA " + maName +
                              " due to error " + errors.text());
  errors.setCode(code);
  return false;
}

bool readMatchingUnits(const DOMElement* device, const std::string& maName, SCSIUnit& unit,
                       bool isLibrary, ErrorRecord errors) {
  const Descendants units(device, unitName(isLibrary));
  if (units.first() == nullptr) {
    return false;
  }
  const XmlString host = toXml(maName);
  for (const DOMElement* block : units) {
    if (isUnitOf(*block, host) && !readUnitBlock(block, unit, errors)) {
      return failToRead("values from ScsiUnit", maName, codes::unitUnreadable, errors);
    }
  }
  return true;
}

}  // namespace

bool isLibraryRecord(const SCSIUnitFields& record) {
  constexpr int kMediumChanger = 8;  // SCSI peripheral device type
  return record.ScsiDeviceType == kMediumChanger;
}

const XMLCh* unitName(bool isLibrary) {
  return isLibrary ? names::libraryScsiUnit : names::driveScsiUnit;
}

const XMLCh* deviceName(bool isLibrary) {
  return isLibrary ? names::libraryScsiDevice : names::driveScsiDevice;
}

bool readUnitBlock(const DOMElement* block, SCSIUnit& unit, ErrorRecord errors) {
  if (block == nullptr) {
    return false;
  }
  unit.MAName = toUtf8(block->getAttribute(names::maName));
  return readFields(block, kUnitFields, unit, errors);
}

bool readDeviceBlock(const DOMElement* block, SCSIUnit& unit, ErrorRecord errors) {
  return block != nullptr && readFields(block, kDeviceFields, unit, errors);
}

bool readLibraryValues(const DOMElement* library, SCSIUnit& unit, ErrorRecord errors) {
  return readFields(library, kLibraryFields, unit, errors);
}

void addUnitBlock(DOMDocument* doc, DOMElement& block, const SCSIUnit& unit) {
  block.setAttribute(names::maName, toXml(unit.MAName).c_str());
  addFields(doc, block, kUnitFields, unit);
}

void addDeviceBlock(DOMDocument* doc, DOMElement& block, const SCSIUnit& unit) {
  addFields(doc, block, kDeviceFields, unit);
}

void addLibraryValues(DOMDocument* doc, DOMElement& library, const SCSIUnit& unit) {
  addFields(doc, library, kLibraryFields, unit);
}

bool updateUnitBlock(DOMDocument* doc, DOMElement& block, const SCSIUnit& unit) {
  block.setAttribute(names::maName, toXml(unit.MAName).c_str());
  return updateFields(doc, DescendantIndex(&block), kUnitFields, unit);
}

bool updateDeviceBlock(DOMDocument* doc, DOMElement& block, const SCSIUnit& unit) {
  return updateFields(doc, DescendantIndex(&block), kUpdatedDeviceFields, unit);
}

bool updateLibraryValues(DOMDocument* doc, const DescendantIndex& library, const SCSIUnit& unit) {
  return updateFields(doc, library, kLibraryFields, unit);
}

DOMElement* findUnit(const DOMNode* device, bool isLibrary, const std::string& maName) {
  const XmlString host = toXml(maName);
  for (DOMElement* unit : Descendants(device, unitName(isLibrary))) {
    if (isUnitOf(*unit, host)) {
      return unit;
    }
  }
  return nullptr;
}

bool readDeviceRecord(const DOMElement* device, const std::string& maName, SCSIUnit& unit,
                      bool isLibrary, ErrorRecord errors) {
  if (device == nullptr || !readMatchingUnits(device, maName, unit, isLibrary, errors)) {
    return false;
  }
  if (!isLibrary && !readValue(device, names::baseAddress, unit.DriveBaseAddress)) {
    errors.report(kReaderOrigin, "Element address not found for drive");
    errors.setCode(codes::driveAddressMissing);
    return false;
  }
  if (!readDeviceBlock(Descendants(device, deviceName(isLibrary)).first(), unit, errors)) {
    return failToRead("values from ScsiDevice", maName, codes::deviceUnreadable, errors);
  }
  return !isLibrary || readLibraryValues(device, unit, errors) ||
         failToRead("Library Specific Information", maName, codes::libraryValuesUnreadable, errors);
}

// The members

bool TqLibEmulator::extractDeviceScsiUnit(DOMNode* node, SCSIUnit& unit) {
  return readUnitBlock(asElement(node), unit, {m_nErrorCode, m_szErrorText});
}

bool TqLibEmulator::addDeviceScsiUnit(DOMDocument* doc, DOMElement* element, const SCSIUnit& unit) {
  if (doc == nullptr) {
    return false;
  }
  addUnitBlock(doc, *element, unit);
  return true;
}

bool TqLibEmulator::updateDeviceScsiUnit(DOMDocument*& doc, DOMElement* element,
                                         const SCSIUnit& unit) {
  return updateUnitBlock(doc, *element, unit);
}

bool TqLibEmulator::extractDeviceScsiDevice(DOMNode* node, SCSIUnit& unit) {
  return readDeviceBlock(asElement(node), unit, {m_nErrorCode, m_szErrorText});
}

bool TqLibEmulator::addDeviceScsiDevice(DOMDocument* doc, DOMElement* element,
                                        const SCSIUnit& unit) {
  if (doc == nullptr) {
    return false;
  }
  addDeviceBlock(doc, *element, unit);
  return true;
}

bool TqLibEmulator::updateDeviceScsiDevice(DOMDocument*& doc, DOMElement* element,
                                           const SCSIUnit& unit) {
  return element != nullptr && updateDeviceBlock(doc, *element, unit);
}

bool TqLibEmulator::extractLibSpecificSCSIUnit(DOMNode* library, SCSIUnit& unit) {
  return readLibraryValues(asElement(library), unit, {m_nErrorCode, m_szErrorText});
}

bool TqLibEmulator::addLibSpecificInfo(DOMDocument* doc, DOMElement* library,
                                       const SCSIUnit& unit) {
  if (doc == nullptr) {
    return false;
  }
  addLibraryValues(doc, *library, unit);
  return true;
}

bool TqLibEmulator::updateLibSpecificInfo(DOMDocument*& doc, DOMElement* library,
                                          const SCSIUnit& unit) {
  return updateLibraryValues(doc, DescendantIndex(library), unit);
}

DOMNode* TqLibEmulator::getScsiUnitForMA(DOMNode* device, bool isLibrary,
                                         const std::string& maName) {
  return findUnit(device, isLibrary, maName);
}

bool TqLibEmulator::extractSCSIUnitAndDevice(DOMNode* device, const std::string& maName,
                                             SCSIUnit& unit, bool isLibrary) {
  return readDeviceRecord(asElement(device), maName, unit, isLibrary,
                          {m_nErrorCode, m_szErrorText});
}

// MAName is kept: callers set it before they clear a record.
void TqLibEmulator::clearSCSIUnit(SCSIUnit& unit) {
  SCSIUnit cleared;
  cleared.MAName.swap(unit.MAName);
  unit = std::move(cleared);
}

bool TqLibEmulator::isDeviceALibrary(const SCSIUnit& unit) {
  return isLibraryRecord(unit);
}

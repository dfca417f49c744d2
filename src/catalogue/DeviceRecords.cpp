// Device records: unit blocks (how a host addresses a device), device blocks (its identity) and the
// values of a library, read into and written from the fields of a record. Tables say which element
// mirrors which field; reading, adding and updating walk them.

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "catalogue/ErrorCodes.h"
#include "files/Names.h"
#include "files/XmlText.h"

namespace {

constexpr int kMediumChanger = 8;
constexpr char kReaderOrigin[] = "TqLibEmulator::extractSCSIUnitAndDevice";

/// An element and the field that it mirrors, which is a text or a number.
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
    // A library whose import/export slots have no readable address still works without them.
    numberField(names::iePortBaseAddress, &SCSIUnit::IEPortBaseAddress, true),
    numberField(names::driveCount, &SCSIUnit::DriveCount),
    numberField(names::driveBaseAddress, &SCSIUnit::DriveBaseAddress),
};

}  // namespace

struct DeviceFields {
  std::span<const Field> fields;
};

namespace {

constexpr DeviceFields kUnit{kUnitFields};
constexpr DeviceFields kDevice{kDeviceFields};
// The type of a device is fixed when its block is first added.
constexpr DeviceFields kUpdatedDevice{std::span(kDeviceFields).first(4)};
constexpr DeviceFields kLibraryValues{kLibraryFields};

const XMLCh* unitName(bool isLibrary) {
  return isLibrary ? names::libraryScsiUnit : names::driveScsiUnit;
}

const XMLCh* deviceName(bool isLibrary) {
  return isLibrary ? names::libraryScsiDevice : names::driveScsiDevice;
}

/// An empty name stands for any host.
bool isUnitOf(const xercesc::DOMElement& unit, const XmlString& maName) {
  return maName.empty() ||
         xercesc::XMLString::compareIString(unit.getAttribute(names::maName), maName.c_str()) == 0;
}

}  // namespace

bool TqLibEmulator::readFields(xercesc::DOMNode* block, const DeviceFields& fields,
                               SCSIUnit& unit) {
  for (const Field& field : fields.fields) {
    const bool isRead = field.text != nullptr
                            ? extractValuesFromChildNode(block, field.element, unit.*field.text)
                            : extractValuesFromChildNode(block, field.element, unit.*field.number);
    if (!isRead && !field.mayBeUnreadable) {
      setErrorText("Failed to read value for Element %s", MyTranscode(field.element).c_str());
      return false;
    }
  }
  return true;
}

bool TqLibEmulator::addFields(xercesc::DOMDocument* doc, xercesc::DOMElement* block,
                              const DeviceFields& fields, const SCSIUnit& unit) {
  for (const Field& field : fields.fields) {
    xercesc::DOMElement* value =
        newDOMElementWithValue(doc, field.element, toXml(field.valueIn(unit)).c_str());
    if (value == nullptr) {
      return false;
    }
    block->appendChild(value);
  }
  return true;
}

bool TqLibEmulator::updateFields(xercesc::DOMDocument*& doc, const DescendantIndex& block,
                                 const DeviceFields& fields, const SCSIUnit& unit) {
  return std::all_of(fields.fields.begin(), fields.fields.end(), [&](const Field& field) {
    const auto& elements = block.named(field.element);
    const std::string value = field.valueIn(unit);
    return !elements.empty() &&
           std::all_of(elements.begin(), elements.end(),
                       [&](xercesc::DOMElement* each) { return updateTextNode(doc, each, value); });
  });
}

bool TqLibEmulator::extractDeviceScsiUnit(xercesc::DOMNode* node, SCSIUnit& unit) {
  if (node == nullptr) {
    return false;
  }
  unit.MAName = MyTranscode(static_cast<xercesc::DOMElement*>(node)->getAttribute(names::maName));
  return readFields(node, kUnit, unit);
}

bool TqLibEmulator::addDeviceScsiUnit(xercesc::DOMDocument* doc, xercesc::DOMElement* element,
                                      const SCSIUnit& unit) {
  element->setAttribute(names::maName, toXml(unit.MAName).c_str());
  return addFields(doc, element, kUnit, unit);
}

bool TqLibEmulator::updateDeviceScsiUnit(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                                         const SCSIUnit& unit) {
  element->setAttribute(names::maName, toXml(unit.MAName).c_str());
  return updateFields(doc, DescendantIndex(element), kUnit, unit);
}

bool TqLibEmulator::extractDeviceScsiDevice(xercesc::DOMNode* node, SCSIUnit& unit) {
  return node != nullptr && readFields(node, kDevice, unit);
}

bool TqLibEmulator::addDeviceScsiDevice(xercesc::DOMDocument* doc, xercesc::DOMElement* element,
                                        const SCSIUnit& unit) {
  return addFields(doc, element, kDevice, unit);
}

bool TqLibEmulator::updateDeviceScsiDevice(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                                           const SCSIUnit& unit) {
  return updateFields(doc, DescendantIndex(element), kUpdatedDevice, unit);
}

bool TqLibEmulator::extractLibSpecificSCSIUnit(xercesc::DOMNode* library, SCSIUnit& unit) {
  return readFields(library, kLibraryValues, unit);
}

bool TqLibEmulator::addLibSpecificInfo(xercesc::DOMDocument* doc, xercesc::DOMElement* library,
                                       const SCSIUnit& unit) {
  return addFields(doc, library, kLibraryValues, unit);
}

bool TqLibEmulator::updateLibSpecificInfo(xercesc::DOMDocument*& doc, xercesc::DOMElement* library,
                                          const SCSIUnit& unit) {
  return updateLibraryValues(doc, DescendantIndex(library), unit);
}

bool TqLibEmulator::updateLibraryValues(xercesc::DOMDocument*& doc, const DescendantIndex& library,
                                        const SCSIUnit& unit) {
  return updateFields(doc, library, kLibraryValues, unit);
}

xercesc::DOMNode* TqLibEmulator::getScsiUnitForMA(xercesc::DOMNode* device, bool isLibrary,
                                                  const std::string& maName) {
  const XmlString host = toXml(maName);
  for (xercesc::DOMElement* unit : Descendants(device, unitName(isLibrary))) {
    if (isUnitOf(*unit, host)) {
      return unit;
    }
  }
  return nullptr;
}

bool TqLibEmulator::readMatchingUnits(xercesc::DOMNode* device, const std::string& maName,
                                      SCSIUnit& unit, bool isLibrary) {
  const Descendants units(device, unitName(isLibrary));
  if (units.first() == nullptr) {
    return false;
  }
  const XmlString host = toXml(maName);
  for (xercesc::DOMElement* block : units) {
    if (isUnitOf(*block, host) && !extractDeviceScsiUnit(block, unit)) {
      EvDebug::Error(debugHandler, kReaderOrigin,
                     "Failed to read values from ScsiUnit for MA %s due to error %s",
                     maName.c_str(), m_szErrorText);
      m_nErrorCode = codes::unitUnreadable;
      return false;
    }
  }
  return true;
}

// Where several unit blocks match, the last one read wins; where none does, the unit's fields keep
// what the caller put there.
bool TqLibEmulator::extractSCSIUnitAndDevice(xercesc::DOMNode* device, const std::string& maName,
                                             SCSIUnit& unit, bool isLibrary) {
  if (device == nullptr || !readMatchingUnits(device, maName, unit, isLibrary)) {
    return false;
  }
  if (!isLibrary &&
      !extractValuesFromChildNode(device, names::baseAddress, unit.DriveBaseAddress)) {
    report(kReaderOrigin, "Element address not found for drive");
    m_nErrorCode = codes::driveAddressMissing;
    return false;
  }
  if (!extractDeviceScsiDevice(Descendants(device, deviceName(isLibrary)).first(), unit)) {
    EvDebug::Error(debugHandler, kReaderOrigin,
                   "Failed to read values from ScsiDevice for MA %s due to error %s",
                   maName.c_str(), m_szErrorText);
    m_nErrorCode = codes::deviceUnreadable;
    return false;
  }
  if (isLibrary && !extractLibSpecificSCSIUnit(device, unit)) {
    EvDebug::Error(debugHandler, kReaderOrigin,
                   "Failed to read Library Specific Information for MA %s due to error %s",
                   maName.c_str(), m_szErrorText);
    m_nErrorCode = codes::libraryValuesUnreadable;
    return false;
  }
  return true;
}

// MAName stays: callers set it before they clear a record.
void TqLibEmulator::clearSCSIUnit(SCSIUnit& unit) {
  SCSIUnit cleared;
  cleared.MAName.swap(unit.MAName);
  unit = std::move(cleared);
}

bool TqLibEmulator::isDeviceALibrary(const SCSIUnit& unit) {
  return unit.ScsiDeviceType == kMediumChanger;
}

// Reads devices and hosts from the file: a call of the API answers for one host only, and parses
// the file each time.
#include "catalogue/Devices.h"

#include <algorithm>
#include <climits>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Elements.h"
#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;

void require(bool isRead) {
  if (isRead) return;
  throw Failure("the values of a device cannot be read", "\"tqlib check\" shows which");
}

void readFields(const DOMElement* element, SCSIUnitFields& record,
                std::span<const DeviceField> fields) {
  for (const DeviceField& field : fields) {
    field.visit(record, [&](auto& value) { require(readValue(element, field.element, value)); });
  }
}

Device readDevice(const DOMElement& element, const XMLCh* blockName, const XMLCh* unitName) {
  Device device;
  const DOMElement* block = Descendants(&element, blockName).first();
  readFields(block, device.record, kIdentity);
  require(readValue(block, names::serialNumber, device.record.SerialNumber));
  require(readValue(block, names::scsiDeviceType, device.record.ScsiDeviceType));
  for (const DOMElement* unit : Descendants(&element, unitName)) {
    SCSIUnitFields& host = device.hosts.emplace_back();
    host.MAName = toUtf8(unit->getAttribute(names::maName));
    readFields(unit, host, kAddressing);
  }
  return device;
}

Device readDrive(const DOMElement& element) {
  Device drive = readDevice(element, names::driveScsiDevice, names::driveScsiUnit);
  drive.element.elementType = LIB_ELEM_DRIVE;
  require(readValue(&element, names::baseAddress, drive.element.elementAddress));
  drive.record.DriveBaseAddress = drive.element.elementAddress;
  drive.element.isOccupied = isTrue(element.getAttribute(names::isOccupied));
  readValue(&element, names::barCode, drive.element.barCode);
  return drive;
}

}  // namespace

LibraryDevices devicesIn(const xercesc::DOMDocument* document, const std::string& library) {
  LibraryDevices devices;
  const DOMElement& element = wholeLibrary(document, library);
  devices.library = readDevice(element, names::libraryScsiDevice, names::libraryScsiUnit);
  for (const ElementRange& range : kRanges) {
    require(readValue(&element, range.countElement, devices.library.record.*range.count));
    require(readValue(&element, range.baseElement, devices.library.record.*range.base));
  }
  for (const DOMElement* drive : Descendants(rootOf(document), names::drive)) {
    devices.drives.push_back(readDrive(*drive));
  }
  return devices;
}

LibraryDevices devicesIn(const std::string& library) {
  return devicesIn(readLibraryFile(library).document(), library);
}

SCSIUnit unitOf(const SCSIUnitFields& record, const SCSIUnitFields& host) {
  SCSIUnit unit;
  static_cast<SCSIUnitFields&>(unit) = record;
  unit.MAName = host.MAName;
  for (const DeviceField& each : kAddressing) {
    std::visit([&](auto field) { unit.*field = host.*field; }, each.field);
  }
  return unit;
}

const SCSIUnitFields* findHost(const Device& device, const std::string& host) {
  for (const SCSIUnitFields& unit : device.hosts) {
    if (folded(unit.MAName) == folded(host)) return &unit;
  }
  return nullptr;
}

const SCSIUnitFields& unitFor(const Device& device, const std::string& host) {
  if (const SCSIUnitFields* unit = findHost(device, host)) return *unit;
  throw Failure(
      fmt::format("host {} does not see {} {}", host,
                  isLibrary(device.record) ? "library" : "drive", device.record.SerialNumber),
      "\"tqlib host list\" lists the hosts");
}

const Device& driveIn(const LibraryDevices& devices, const std::string& serial) {
  for (const Device& drive : devices.drives) {
    if (folded(drive.record.SerialNumber) == folded(serial)) return drive;
  }
  const std::string& library = devices.library.record.SerialNumber;
  throw Failure(fmt::format("library {} has no drive {}", library, serial),
                fmt::format("\"tqlib drive list {}\" lists the drives", library));
}

std::int64_t numberOf(const SCSIUnitFields& library, const Device& drive) {
  return std::int64_t{drive.record.DriveBaseAddress} - library.DriveBaseAddress + 1;
}

SCSIUnit libraryUnit(const SCSIUnitFields& library, const std::vector<Device>& drives,
                     const SCSIUnitFields& host) {
  SCSIUnit unit = unitOf(library, host);
  for (const Device& drive : drives) {
    const std::int64_t number = numberOf(library, drive);
    if (number < 1 || number > INT_MAX) continue;  // it is not placed
    unit.DriveIdentifierMap[static_cast<int>(number)] = drive.record.SerialNumber;
  }
  return unit;
}

std::map<std::string, std::vector<SCSIUnit>> unitsByHost(const LibraryDevices& devices) {
  std::map<std::string, std::vector<SCSIUnit>> units;
  const auto add = [&](const Device& device) {
    for (const SCSIUnitFields& host : device.hosts) {
      units[folded(host.MAName)].push_back(unitOf(device.record, host));
    }
  };
  std::ranges::for_each(devices.drives, add);
  add(devices.library);
  return units;
}

std::optional<Failure> forEachLibrary(const std::string& library,
                                      const std::function<void(const std::string&)>& use) {
  std::optional<Failure> first;
  for (const std::string& each : library.empty() ? listedLibraries() : std::vector{library}) {
    try {
      use(each);
    } catch (const Failure& failure) {
      if (!first) first.emplace(failure);
    }
  }
  return first;
}

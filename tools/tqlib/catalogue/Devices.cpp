// Reads devices and hosts from the file: a call of the API answers for one host only, and parses
// the file each time.
#include "catalogue/Devices.h"

#include <algorithm>
#include <optional>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/Elements.h"
#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;

constexpr DeviceField kDevice[] = {
    {"serial number", names::serialNumber, &SCSIUnitFields::SerialNumber},
    {"device type", names::scsiDeviceType, &SCSIUnitFields::ScsiDeviceType}};

void readFields(const DOMElement* element, SCSIUnitFields& record,
                std::span<const DeviceField> fields) {
  for (const DeviceField& field : fields) {
    field.visit(record, [&](auto& value) {
      if (readValue(element, field.element, value)) return;
      throw Failure(fmt::format("the {} of a device cannot be read", field.key),
                    "\"tqlib check\" shows which file, and what is wrong in it");
    });
  }
}

Device readDevice(const DOMElement& element, const XMLCh* blockName, const XMLCh* unitName) {
  Device device;
  const DOMElement* block = Descendants(&element, blockName).first();
  readFields(block, device.record, kIdentity);
  readFields(block, device.record, kDevice);
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
  constexpr DeviceField kAddress[] = {
      {"address", names::baseAddress, &SCSIUnitFields::DriveBaseAddress}};
  readFields(&element, drive.record, kAddress);
  drive.element.elementAddress = drive.record.DriveBaseAddress;
  drive.element.isOccupied = isTrue(element.getAttribute(names::isOccupied));
  if (drive.element.isOccupied) readValue(&element, names::barCode, drive.element.barCode);
  return drive;
}

}  // namespace

LibraryDevices devicesIn(const xercesc::DOMDocument* document, const std::string& library) {
  LibraryDevices devices;
  const DOMElement& element = wholeLibrary(document, library);
  devices.library = readDevice(element, names::libraryScsiDevice, names::libraryScsiUnit);
  for (const ElementRange& range : kRanges) {
    const DeviceField values[] = {{range.key, range.countElement, range.count},
                                  {range.key, range.baseElement, range.base}};
    readFields(&element, devices.library.record, values);
  }
  for (const DOMElement* drive : Descendants(rootOf(document), names::drive)) {
    devices.drives.push_back(readDrive(*drive));
  }
  return devices;
}

LibraryDevices devicesIn(const std::string& library) {
  return devicesIn(readLibraryFile(library).document(), library);
}

const Device& requireDrive(const LibraryDevices& devices, const std::string& serial) {
  const auto found = std::ranges::find_if(
      devices.drives, [&](const Device& drive) { return drive.record.SerialNumber == serial; });
  if (found != devices.drives.end()) return *found;
  const std::string& library = devices.library.record.SerialNumber;
  throw Failure(fmt::format("library {} has no drive {}", library, serial),
                fmt::format("\"tqlib drive list {}\" lists the drives", library));
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
  const auto found = std::ranges::find_if(device.hosts, [&](const SCSIUnitFields& unit) {
    return folded(unit.MAName) == folded(host);
  });
  return found == device.hosts.end() ? nullptr : &*found;
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

void forEachLibrary(const std::string& library, const std::function<void(const std::string&)>& use,
                    const std::function<void()>& print) {
  std::optional<Failure> first;
  for (const std::string& each : library.empty() ? listedLibraries() : std::vector{library}) {
    try {
      if (library.empty() && !libraryExists(each)) throw listedOnly(each);
      use(each);
    } catch (const Failure& failure) {
      if (!first) first = failure;
    }
  }
  if (!first || library.empty()) print();
  if (first) throw Failure(*first);
}

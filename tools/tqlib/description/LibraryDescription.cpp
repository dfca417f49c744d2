// Defaults and ranges of a description, and the check that a library can be created from it.
//
// An error names the place in the JSON, also if the description did not come from JSON.
#include "description/LibraryDescription.h"

#include <algorithm>
#include <climits>
#include <map>
#include <set>

#include "catalogue/Elements.h"

namespace {

/// The address behind the last one of a range.
std::int64_t endOf(const SCSIUnitFields& library, const ElementRange& range) {
  return std::int64_t{library.*range.base} + library.*range.count;
}

void checkRange(const SCSIUnitFields& library, const ElementRange& range) {
  const int count = library.*range.count;
  const int base = library.*range.base;
  if (count < 0 || count > kMostElements) {
    throw Failure(
        fmt::format("{}.count: {} is not from 0 to {}", range.described, count, kMostElements));
  }
  // A library without such elements has -1 for their first address.
  if (base < (count == 0 ? -1 : 0)) {
    throw Failure(fmt::format("{}.base: {} is not an address", range.described, base));
  }
  if (endOf(library, range) > INT_MAX) {
    throw Failure(fmt::format("{}: the addresses are too large", range.name));
  }
}

void refuseOverlap(const SCSIUnitFields& library, const ElementRange& one,
                   const ElementRange& other) {
  const std::int64_t end = std::min(endOf(library, one), endOf(library, other));
  if (std::max(library.*one.base, library.*other.base) >= end) return;
  throw Failure(fmt::format("the {} from {} to {} overlap the {} from {} to {}", one.name,
                            library.*one.base, endOf(library, one) - 1, other.name,
                            library.*other.base, endOf(library, other) - 1));
}

void checkText(const CLI::Validator& rule, std::string text, const std::string& place) {
  if (const std::string reason = rule(text); !reason.empty()) throw Failure(place + ": " + reason);
}

void checkTexts(const SCSIUnitFields& record, std::span<const DeviceField> fields,
                const std::string& place) {
  for (const DeviceField& field : fields) {
    const auto* text = std::get_if<std::string SCSIUnitFields::*>(&field.field);
    if (text == nullptr || (record.**text).empty()) continue;
    checkText(catalogueText(), record.**text, place + field.key);
  }
}

void checkHosts(const std::vector<SCSIUnitFields>& hosts, const std::string& place) {
  if (hosts.empty()) throw Failure(place + ": expected at least one host");
  std::set<std::string> seen;
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    const std::string& name = hosts[i].MAName;
    const std::string here = fmt::format("{}[{}].", place, i);
    checkText(catalogueText(), name, here + "name");
    checkTexts(hosts[i], kAddressing, here);
    if (!seen.insert(folded(name)).second) {
      throw Failure(fmt::format("{}name: host {} appears twice", here, name));
    }
  }
}

void checkDrive(const LibraryDescription& description, const Device& drive,
                const std::string& place) {
  const SCSIUnitFields& device = drive.record;
  checkText(catalogueText(), device.SerialNumber, place + "serial");
  const std::string problem =
      driveSerialProblem(device.SerialNumber, description.library.SerialNumber);
  if (!problem.empty()) throw Failure(place + "serial: " + problem);
  checkTexts(device, kIdentity, place);
  if (device.ScsiDeviceType == kMediumChanger) {
    throw Failure(place + "deviceType: that is the type of a library");
  }
  const int address = device.DriveBaseAddress;
  const std::int64_t number = numberOf(description.library, drive);
  if (address != kUnplaced && (address < 0 || number < 1 || number > kMostElements)) {
    throw Failure(fmt::format("{}address: no drive can be at {} when they begin at {}", place,
                              address, description.library.DriveBaseAddress));
  }
  checkHosts(drive.hosts, place + "hosts");
}

void checkDrives(const LibraryDescription& description) {
  std::set<std::string> seen;
  for (std::size_t i = 0; i < description.drives.size(); ++i) {
    const Device& drive = description.drives[i];
    const std::string place = fmt::format("drives[{}].", i);
    checkDrive(description, drive, place);
    // Drives are found without regard to case, so two that differ in case are one.
    if (!seen.insert(folded(drive.record.SerialNumber)).second) {
      throw Failure(fmt::format("{}serial: two drives have one serial number: {}", place,
                                drive.record.SerialNumber));
    }
  }
}

void checkElements(const std::vector<LibElement>& elements) {
  std::map<std::pair<bool, int>, std::string> places;  // shelves have addresses of their own
  std::map<std::string, std::string> media;
  for (const LibElement& element : elements) {
    const std::string name = elementName(element);
    const int address = element.elementAddress;
    const bool isUnplaced = address == kUnplaced;
    if (address < 0 && (element.isOccupied || !isUnplaced)) {
      throw Failure(isUnplaced ? "elements: a drive without an address cannot hold a medium"
                               : "elements: " + name + " has no valid address");
    }
    const bool isShelf = element.elementType == LIB_ELEM_SHELF;
    const auto [twin, isNewPlace] = places.emplace(std::pair(isShelf, address), name);
    if (!isNewPlace && !isUnplaced) {
      throw Failure(fmt::format("elements: {} and {} have one address", twin->second, name));
    }
    if (!element.isOccupied || element.barCode.empty()) continue;
    checkText({volumeNameProblem, ""}, element.barCode, "elements: the barcode of " + name);
    const auto [other, isNewMedium] = media.emplace(element.barCode, name);
    if (!isNewMedium) {
      throw Failure(fmt::format("elements: barcode {} is in {} and in {}", element.barCode,
                                other->second, name));
    }
  }
}

}  // namespace

LibraryDescription::LibraryDescription() {
  library.ScsiDeviceType = kMediumChanger;
  library.DriveBaseAddress = 500;
  library.SlotBaseAddress = 1000;
  library.IEPortBaseAddress = 10;
}

void checkRanges(const SCSIUnitFields& library) {
  for (const ElementRange& range : kRanges) checkRange(library, range);
  refuseOverlap(library, kDriveRange, kSlotRange);
  refuseOverlap(library, kDriveRange, kMailRange);
  refuseOverlap(library, kSlotRange, kMailRange);
}

std::string sizeText(const SCSIUnitFields& library) {
  return fmt::format("{}, {}", counted(static_cast<unsigned>(library.SlotCount), "slot"),
                     counted(static_cast<unsigned>(library.IEPortCount), "mail slot"));
}

std::vector<LibElement> usualElements(const LibraryDescription& description) {
  std::vector<LibElement> elements;
  const auto add = [&](int type, int address) {
    LibElement& element = elements.emplace_back();
    element.elementType = type;
    element.elementAddress = address;
  };
  for (const Device& drive : description.drives) {
    add(LIB_ELEM_DRIVE, drive.record.DriveBaseAddress);
  }
  for (const ElementRange& range : {kMailRange, kSlotRange}) {  // the order of a new file
    for (int i = 0; i < description.library.*range.count; ++i) {
      add(range.type, description.library.*range.base + i);
    }
  }
  return elements;
}

// A slot that was removed and added again is behind all others. Its range does not put it there, so
// it counts as a gap of the range.
std::vector<LibElement> gapsOf(const LibraryDescription& description) {
  const std::vector<LibElement>& elements = description.elements;
  std::vector<LibElement> gaps;
  std::size_t next = 0;
  for (const LibElement& usual : usualElements(description)) {
    if (next < elements.size() && isSameElement(elements[next], usual)) {
      ++next;
    } else {
      gaps.push_back(usual);
    }
  }
  return gaps;
}

void checkDescription(const LibraryDescription& description) {
  checkText(nameText(), description.library.SerialNumber, "serial");
  checkTexts(description.library, kIdentity, "");
  checkHosts(description.hosts, "hosts");
  checkRanges(description.library);
  checkDrives(description);
  checkElements(description.elements);
}

#include "description/LibraryDescription.h"

#include <cstdint>
#include <limits>
#include <tuple>

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/ElementName.h"

namespace {

int countIn(const LibraryDescription& description, const DescribedRange& range) {
  return description.library.*range.count;
}

std::int64_t endOf(const LibraryDescription& description, const DescribedRange& range) {
  return std::int64_t{description.library.*range.base} + countIn(description, range);
}

void checkRange(const LibraryDescription& description, const DescribedRange& range) {
  const int count = countIn(description, range);
  const int base = description.library.*range.base;
  const std::string place = range.key;
  if (count < 0 || count > kMostElements) {
    throw Failure(place + ".count: " + std::to_string(count) + " is not from 0 to " +
                  std::to_string(kMostElements));
  }
  // A library without such elements has -1 for their first address.
  if (base < (count == 0 ? -1 : 0)) {
    throw Failure(place + ".base: there is no address " + std::to_string(base));
  }
  if (endOf(description, range) > std::numeric_limits<int>::max()) {
    throw Failure(place + ": the addresses are too large");
  }
}

void refuseOverlap(const LibraryDescription& description, const DescribedRange& one,
                   const DescribedRange& other) {
  if (countIn(description, one) == 0 || countIn(description, other) == 0) return;
  if (description.library.*one.base < endOf(description, other) &&
      description.library.*other.base < endOf(description, one)) {
    throw Failure(std::string(one.key) + " and " + other.key + ": the addresses overlap");
  }
}

void addEmpty(std::vector<LibElement>& elements, int type, int address) {
  LibElement element;
  element.elementType = type;
  element.elementAddress = address;
  elements.push_back(element);
}

std::vector<LibElement> rangeSlots(const LibraryDescription& description) {
  std::vector<LibElement> slots;
  for (const DescribedRange& range : kSlotRanges) {
    const int base = description.library.*range.base;
    for (int i = 0; i < countIn(description, range); ++i) addEmpty(slots, range.type, base + i);
  }
  return slots;
}

bool isSamePlace(const LibElement& one, const LibElement& other) {
  return std::tie(one.elementType, one.elementAddress) ==
         std::tie(other.elementType, other.elementAddress);
}

}  // namespace

LibraryDescription::LibraryDescription() {
  library.ScsiDeviceType = kMediumChanger;
  library.DriveBaseAddress = 500;
  library.SlotBaseAddress = 1000;
  library.IEPortBaseAddress = 10;
}

std::int64_t numberOf(const LibraryDescription& description, const DescribedDrive& drive) {
  return std::int64_t{drive.device.DriveBaseAddress} - description.library.DriveBaseAddress + 1;
}

int driveAddress(const LibraryDescription& description, std::int64_t number) {
  const int base = description.library.DriveBaseAddress;
  const std::int64_t address = base + number - 1;
  if (base < 0 || address > std::numeric_limits<int>::max()) {
    throw Failure("driveRange.base: there is no address for drive number " +
                  std::to_string(number) + " when the drives begin at " + std::to_string(base));
  }
  return static_cast<int>(address);
}

DescribedDrive usualDrive(const LibraryDescription& description, std::size_t index) {
  DescribedDrive drive;
  drive.device.SerialNumber = description.library.SerialNumber + "D" + std::to_string(index + 1);
  drive.device.ScsiDeviceType = kSequentialAccess;
  drive.device.DriveBaseAddress = kUnplaced;
  for (const SCSIUnitFields& host : description.hosts) {
    SCSIUnitFields& unit = drive.hosts.emplace_back();
    unit.MAName = host.MAName;
    unit.ScsiPort = host.ScsiPort;
    unit.Bus = host.Bus;
  }
  return drive;
}

void checkRanges(const LibraryDescription& description) {
  const DescribedRange& mail = kSlotRanges[0];
  const DescribedRange& slots = kSlotRanges[1];
  for (const DescribedRange& range : {kDriveRange, slots, mail}) checkRange(description, range);
  refuseOverlap(description, kDriveRange, slots);
  refuseOverlap(description, kDriveRange, mail);
  refuseOverlap(description, slots, mail);
}

std::vector<LibElement> usualElements(const LibraryDescription& description) {
  std::vector<LibElement> elements;
  for (const DescribedDrive& drive : description.drives) {
    addEmpty(elements, LIB_ELEM_DRIVE, drive.device.DriveBaseAddress);
  }
  for (const LibElement& slot : rangeSlots(description)) elements.push_back(slot);
  return elements;
}

// A slot that was removed and made again stands behind all others: the range does not give it its
// place, and so it counts as one that the range lacks.
SlotPlan planOf(const LibraryDescription& description) {
  SlotPlan plan;
  std::size_t next = description.drives.size();
  for (const LibElement& slot : rangeSlots(description)) {
    if (next < description.elements.size() && isSamePlace(description.elements[next], slot)) {
      ++next;
    } else {
      plan.gaps.push_back(slot);
    }
  }
  plan.inPlace = next - description.drives.size();
  return plan;
}

// What there is to say about a library: who it is, which hosts see it, its drives and its elements.
// Options, a JSON file and the catalogue itself are three ways to one description.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "TqLibEmulator.h"
#include "base/Output.h"

/// The address, in the catalogue, of a drive that its library has not placed.
inline constexpr int kUnplaced = -999999;

/// A drive as the hosts see it, each with the addressing of its own.
struct DescribedDrive {
  SCSIUnitFields device;  ///< identity, device type, and DriveBaseAddress, its address or kUnplaced
  std::vector<SCSIUnitFields> hosts;
};

struct LibraryDescription {
  LibraryDescription();

  SCSIUnitFields library;  ///< identity, and the ranges as hosts are told of them
  std::vector<SCSIUnitFields> hosts;
  std::vector<DescribedDrive> drives;
  std::vector<LibElement> elements;  ///< all of them: the drives, then the slots, then the shelves
};

/// A text or a number of a description, and its field in the record.
struct DescribedText {
  const char* key;
  std::string SCSIUnitFields::*field;
};
struct DescribedNumber {
  const char* key;
  int SCSIUnitFields::*field;
};

inline constexpr DescribedText kIdentity[] = {{"vendor", &SCSIUnitFields::Manufacturer},
                                              {"model", &SCSIUnitFields::Model},
                                              {"firmware", &SCSIUnitFields::FirmwareRevision}};
inline constexpr DescribedText kHostTexts[] = {{"path", &SCSIUnitFields::AccessPath},
                                               {"port", &SCSIUnitFields::ScsiPort}};
inline constexpr DescribedNumber kHostNumbers[] = {{"bus", &SCSIUnitFields::Bus},
                                                   {"target", &SCSIUnitFields::Target},
                                                   {"lun", &SCSIUnitFields::Lun}};

/// Elements of one type whose addresses follow each other.
struct DescribedRange {
  const char* key;
  int type;
  int SCSIUnitFields::*count;
  int SCSIUnitFields::*base;
};

/// In the order in which a new file gets them.
inline constexpr DescribedRange kSlotRanges[] = {
    {"mailSlots", LIB_ELEM_MAIL_SLOT, &SCSIUnitFields::IEPortCount,
     &SCSIUnitFields::IEPortBaseAddress},
    {"slots", LIB_ELEM_SLOT, &SCSIUnitFields::SlotCount, &SCSIUnitFields::SlotBaseAddress}};
inline constexpr DescribedRange kDriveRange = {
    "driveRange", LIB_ELEM_DRIVE, &SCSIUnitFields::DriveCount, &SCSIUnitFields::DriveBaseAddress};

/// The version of the JSON.
inline constexpr int kDescriptionFormat = 1;

/// Far more than the element addresses of SCSI: a count beyond it is a slip.
inline constexpr int kMostElements = 200'000;

/// The drive's number in the library's map, from 1; meaningless for one that is not placed.
std::int64_t numberOf(const LibraryDescription& description, const DescribedDrive& drive);

/// The address of the drive of that number. Throws Failure when there is none.
int driveAddress(const LibraryDescription& description, std::int64_t number);

/// The drive `index` (from 0) as it is when nothing is said of it: seen by the hosts of the
/// library, at its port and bus. It is not placed yet.
DescribedDrive usualDrive(const LibraryDescription& description, std::size_t index);

/// Throws Failure when a range cannot be that of a library, or overlaps another one.
void checkRanges(const LibraryDescription& description);

/// The drives and the slots of the ranges, all empty. checkRanges() has to have passed.
std::vector<LibElement> usualElements(const LibraryDescription& description);

/// How the slots of a description lie to those that the ranges alone would give.
struct SlotPlan {
  std::size_t inPlace = 0;       ///< so many slots, the first ones, follow the ranges
  std::vector<LibElement> gaps;  ///< slots of the ranges that are not among them
};
SlotPlan planOf(const LibraryDescription& description);

/// Throws Failure, with the place in the description, unless a library can be made of it.
void checkDescription(const LibraryDescription& description);

/// `text` is what `source` holds. Throws Failure, with the place in the text, when it is no
/// description. `serial` takes the place of the serial number unless it is empty.
LibraryDescription readDescription(const std::string& text, const std::string& source,
                                   const std::string& serial);

Json descriptionJson(const LibraryDescription& description);

/// The library as the catalogue holds it. Throws Failure when it cannot be read.
LibraryDescription describeLibrary(const std::string& library);

// A library as data: its identity, the hosts that see it, its drives and its elements. Options, a
// JSON file and the catalogue are three sources of one description.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "TqLibEmulator.h"
#include "base/Output.h"
#include "catalogue/ElementName.h"
#include "files/Names.h"

struct DescribedDrive {
  SCSIUnitFields device;  ///< identity, device type; DriveBaseAddress: its address, or kUnplaced
  std::vector<SCSIUnitFields> hosts;  ///< those that see it, each with its own addressing
};

struct LibraryDescription {
  LibraryDescription();

  SCSIUnitFields library;  ///< identity, and the ranges as the library announces them
  std::vector<SCSIUnitFields> hosts;
  std::vector<DescribedDrive> drives;
  std::vector<LibElement> elements;  ///< all: the drives, then the slots, then the shelves
};

/// A value of a description: its key in JSON, its element in the catalogue file, and its field in
/// the record.
struct DescribedField {
  const char* key;
  const XMLCh* element;
  std::variant<std::string SCSIUnitFields::*, int SCSIUnitFields::*> field;

  /// Calls `use` with the field of `record`.
  template <typename Record, typename Use>
  void visit(Record& record, Use use) const {
    std::visit([&](auto member) { use(record.*member); }, field);
  }
};

inline constexpr DescribedField kIdentity[] = {
    {"vendor", names::manufacturer, &SCSIUnitFields::Manufacturer},
    {"model", names::model, &SCSIUnitFields::Model},
    {"firmware", names::firmwareRevision, &SCSIUnitFields::FirmwareRevision}};
/// Of a host, without its name.
inline constexpr DescribedField kAddressing[] = {
    {"path", names::accessPath, &SCSIUnitFields::AccessPath},
    {"port", names::scsiPort, &SCSIUnitFields::ScsiPort},
    {"bus", names::bus, &SCSIUnitFields::Bus},
    {"target", names::target, &SCSIUnitFields::Target},
    {"lun", names::lun, &SCSIUnitFields::Lun}};

/// Copies these fields.
void copyFields(const SCSIUnitFields& from, SCSIUnitFields& to,
                std::span<const DescribedField> fields);

/// Far more than SCSI has element addresses: a larger count is a mistake.
inline constexpr int kMostElements = 200'000;

/// The drive's number in the library's map, from 1; meaningless for a drive that is not placed.
std::int64_t numberOf(const LibraryDescription& description, const DescribedDrive& drive);

/// The address of the drive of that number. Throws Failure when it has none.
int driveAddress(const LibraryDescription& description, std::int64_t number);

/// The defaults of the drive `index` (from 0): the hosts of the library see it, at its port and
/// bus. It is not placed yet.
DescribedDrive usualDrive(const LibraryDescription& description, std::size_t index);

/// Throws Failure when a library cannot have such a range, or when two ranges overlap.
void checkRanges(const LibraryDescription& description);

/// The drives and the slots of the ranges, all empty. Call checkRanges() first.
std::vector<LibElement> usualElements(const LibraryDescription& description);

/// How the slots differ from those of the ranges.
struct SlotPlan {
  std::size_t inPlace = 0;       ///< so many slots, the first ones, follow the ranges
  std::vector<LibElement> gaps;  ///< slots of the ranges that are not among them
};
SlotPlan planOf(const LibraryDescription& description);

/// Throws Failure, with the place in the description, when no library can be created from it.
void checkDescription(const LibraryDescription& description);

/// Reads and checks the description that the JSON `text` holds; `source` names it in messages.
/// `serial` replaces the serial number unless it is empty. Throws Failure, with the place in the
/// text.
LibraryDescription readDescription(const std::string& text, const std::string& source,
                                   const std::string& serial);

Json descriptionJson(const LibraryDescription& description);

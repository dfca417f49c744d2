// Elements as operators write them, "slot:1000", "mail:10", "drive:500" or "shelf:1", and the
// ranges of addresses that a library announces.
#pragma once

#include <string>

#include "TqLibEmulator.h"

/// The forms of an element's name, for messages and help.
inline constexpr char kElementForms[] = "slot:N, mail:N, drive:N or shelf:N";

/// The address, in the catalogue, of a drive that its library has not placed.
inline constexpr int kUnplaced = -999999;

/// The element of that name, empty and without barcode. Throws UsageError when `name` is not a type
/// and an address.
LibElement parseElementName(const std::string& name);

/// The word for an element type; "unknown" for any other code.
std::string elementTypeWord(int type);

std::string elementName(const LibElement& element);

/// Whether it is a storage slot or a mail slot: these share their addresses.
bool isSlot(const LibElement& element);

/// Whether both are the same element of a library, whatever they hold.
bool isSameElement(const LibElement& one, const LibElement& other);

/// Elements of one type with consecutive addresses, as a library announces them.
struct ElementRange {
  const char* key;        ///< in reports
  const char* described;  ///< key in descriptions
  const char* name;
  int type;
  int SCSIUnitFields::*count;
  int SCSIUnitFields::*base;
};

/// In the order of reports and descriptions.
inline constexpr ElementRange kRanges[] = {
    {"drives", "driveRange", "drives", LIB_ELEM_DRIVE, &SCSIUnitFields::DriveCount,
     &SCSIUnitFields::DriveBaseAddress},
    {"slots", "slots", "slots", LIB_ELEM_SLOT, &SCSIUnitFields::SlotCount,
     &SCSIUnitFields::SlotBaseAddress},
    {"mailSlots", "mailSlots", "mail slots", LIB_ELEM_MAIL_SLOT, &SCSIUnitFields::IEPortCount,
     &SCSIUnitFields::IEPortBaseAddress}};
inline constexpr const ElementRange& kDriveRange = kRanges[0];
inline constexpr const ElementRange& kSlotRange = kRanges[1];
inline constexpr const ElementRange& kMailRange = kRanges[2];

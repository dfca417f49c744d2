// Device records: unit blocks (how a host addresses a device), device blocks (its identity) and the
// values of a library, read into and written from the fields of a record.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "files/Descendants.h"

/// Whether the record is a library: a medium changer.
bool isLibraryRecord(const SCSIUnitFields& record);

/// The element names of the blocks of a library or a drive.
const XMLCh* unitName(bool isLibrary);
const XMLCh* deviceName(bool isLibrary);

/// Reads a block, or the values of a library. False, with text, when there is no block or one of
/// its values cannot be read.
bool readUnitBlock(const xercesc::DOMElement* block, SCSIUnit& unit, ErrorRecord errors);
bool readDeviceBlock(const xercesc::DOMElement* block, SCSIUnit& unit, ErrorRecord errors);
bool readLibraryValues(const xercesc::DOMElement* library, SCSIUnit& unit, ErrorRecord errors);

/// Adds the elements of a block, or the values of a library, to `block`.
void addUnitBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
void addDeviceBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
void addLibraryValues(xercesc::DOMDocument* doc, xercesc::DOMElement& library,
                      const SCSIUnit& unit);

/// Updates the elements of a block, or the values of a library. False when one of them is missing
/// or holds no text.
bool updateUnitBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
bool updateDeviceBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
bool updateLibraryValues(xercesc::DOMDocument* doc, const DescendantIndex& library,
                         const SCSIUnit& unit);

/// The first unit of a device for the host, or for any host when its name is empty; null when there
/// is none.
xercesc::DOMElement* findUnit(const xercesc::DOMNode* device, bool isLibrary,
                              const std::string& maName);

/// Reads a device as a host sees it. Where several unit blocks match, the last one wins; where none
/// does, the unit's fields keep what the caller put there. False when there is no device or it has
/// no unit block, and, with code and text, when a value cannot be read.
bool readDeviceRecord(const xercesc::DOMElement* device, const std::string& maName, SCSIUnit& unit,
                      bool isLibrary, ErrorRecord errors);

// Device records: reading and writing unit blocks (how a host addresses a device), device blocks
// (the identity of a device) and the values of a library.
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

/// Read a block, or the values of a library. False when `block` is null and, with text, when a
/// value cannot be read.
bool readUnitBlock(const xercesc::DOMElement* block, SCSIUnit& unit, ErrorRecord errors);
bool readDeviceBlock(const xercesc::DOMElement* block, SCSIUnit& unit, ErrorRecord errors);
bool readLibraryValues(const xercesc::DOMElement* library, SCSIUnit& unit, ErrorRecord errors);

/// Add the elements of a block, or the values of a library.
void addUnitBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
void addDeviceBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
void addLibraryValues(xercesc::DOMDocument* doc, xercesc::DOMElement& library,
                      const SCSIUnit& unit);

/// Update the elements of a block, or the values of a library. False when an element is missing or
/// its first child is not a text node.
bool updateUnitBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
bool updateDeviceBlock(xercesc::DOMDocument* doc, xercesc::DOMElement& block, const SCSIUnit& unit);
bool updateLibraryValues(xercesc::DOMDocument* doc, const DescendantIndex& library,
                         const SCSIUnit& unit);

/// The first unit block of a device for the host `maName`, or for any host if the name is empty.
/// Null when there is none.
xercesc::DOMElement* findUnit(const xercesc::DOMNode* device, bool isLibrary,
                              const std::string& maName);

/// Reads a device as a host sees it. If several unit blocks match, the last one wins. If none does,
/// the fields of the unit block keep their values. False when there is no device or it has no unit
/// block at all, and, with code and text, when a value cannot be read.
bool readDeviceRecord(const xercesc::DOMElement* device, const std::string& maName, SCSIUnit& unit,
                      bool isLibrary, ErrorRecord errors);

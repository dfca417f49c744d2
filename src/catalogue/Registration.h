// Libraries and drives in a document: making, updating and numbering them.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "catalogue/Indexes.h"
#include "files/XmlMemory.h"

/// The document of a new library with all its slots. Null, with text, when it is to have more slots
/// than are allowed, and without text when there is no memory for a document.
XmlOwner<xercesc::DOMDocument> newLibraryDocument(const SCSIUnit& record, ErrorRecord errors);

/// Updates the values of the single library of a document, its unit for the record's host and the
/// addresses of its drives. False when a part is missing or cannot be read; what was updated before
/// stays.
bool updateSingleLibrary(xercesc::DOMDocument* doc, const SCSIUnit& record);

/// Updates a drive, or adds it when the index has none of its name. Fails as
/// updateSingleLibrary() does.
bool updateIndexedDrive(DriveIndex& drives, xercesc::DOMDocument* doc, const SCSIUnit& record);

/// The serial number of a library or a drive; false when it has no device block or no readable
/// number.
bool readSerialNumber(const xercesc::DOMElement* device, bool isLibrary, std::string& serial);

/// The number of the drive at an element address of a library, from 1.
int driveNumberAt(int driveBaseAddress, int driveAddress);

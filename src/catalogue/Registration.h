// Libraries and drives in a document: creating, updating and numbering them.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "catalogue/Indexes.h"
#include "files/Documents.h"

/// Creates the document of a new library with all its slots. Null, with text, when there would be
/// more slots than allowed; null without text when no document can be created.
XmlOwner<xercesc::DOMDocument> newLibraryDocument(const SCSIUnit& record, ErrorRecord errors);

/// Updates the single library of a document: its values, its unit for the record's host, and the
/// addresses of its drives. False when a part is missing or cannot be read; changes up to then stay
/// in the document.
bool updateSingleLibrary(xercesc::DOMDocument* doc, const SCSIUnit& record);

/// Updates a drive, or adds it if the index does not hold its name. Fails as updateSingleLibrary()
/// does.
bool updateIndexedDrive(DriveIndex& drives, xercesc::DOMDocument* doc, const SCSIUnit& record);

/// Reads the serial number of a library or a drive. False when there is no device block or the
/// number cannot be read.
bool readSerialNumber(const xercesc::DOMElement* device, bool isLibrary, std::string& serial);

/// The number of the drive at an element address; the first drive has number 1.
int driveNumberAt(int driveBaseAddress, int driveAddress);

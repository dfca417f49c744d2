// Elements of a library in its document: finding, reading and making them.
//
// A search that ran is a success, also when it found nothing.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"

/// Whether the library of a file is the one of that name.
bool isNamedLibrary(const xercesc::DOMNode& library, const std::string& libraryName);

/// Whether a drive is the child of a library; a drive may also be in a file without one.
bool isDriveOfLibrary(const xercesc::DOMNode& drive);

/// Reads an element. A slot's type is that of its attribute, not `type`. A barcode in the file of
/// an element that is marked unoccupied is not reported.
void readElement(const xercesc::DOMNode& node, int type, LibElement& element);

/// Reads the address of an element; false, with text, when it has none.
bool readAddress(const xercesc::DOMNode& node, int& address, ErrorRecord errors);

/// The elements below `parent` by address, storage slots and import/export slots in one map; of two
/// with one address, the later one. False, with text, for a type that does not exist or an address
/// that cannot be read, and without text when there is no parent.
bool mapElements(const xercesc::DOMNode* parent, int type, ElementMap& map, ErrorRecord errors);

/// Finds the first element below `parent` of this type and address; `found` is null when there is
/// none. Slots of the other kind are skipped unread. Fails as mapElements() does.
bool findElement(const xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found,
                 ErrorRecord errors);

/// A new slot or shelf, not yet in its place; null without a document. Throws InvalidText for a
/// barcode that XML cannot hold.
xercesc::DOMElement* newSlot(xercesc::DOMDocument* doc, const LibElement& element);
xercesc::DOMElement* newShelf(xercesc::DOMDocument* doc, const LibElement& element);

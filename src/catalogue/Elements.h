// Elements of a library in its document: finding, reading and creating them.
//
// A search that finds nothing is a success.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"

/// Whether the library element has that name.
bool isNamedLibrary(const xercesc::DOMNode& library, const std::string& libraryName);

/// Whether a drive is the child of a library. A file may also hold drives without a library.
bool isDriveOfLibrary(const xercesc::DOMNode& drive);

/// Reads an element. The kind of a slot is that of its attribute, not `type`. The barcode is empty
/// if the element is marked unoccupied, whatever the file holds.
void readElement(const xercesc::DOMNode& node, int type, LibElement& element);

/// Reads the address of an element. False, with text, when it cannot be read.
bool readAddress(const xercesc::DOMNode& node, int& address, ErrorRecord errors);

/// Puts the elements below `parent` into `map` by address; both kinds of slots are in one map. If
/// two have the same address, the later one stays. False, with text, for an unknown type or an
/// address that cannot be read; false without text when `parent` is null.
bool mapElements(const xercesc::DOMNode* parent, int type, ElementMap& map, ErrorRecord errors);

/// Finds the first element of this type and address below `parent`; `found` is null when there is
/// none. Slots of the other kind are skipped without reading their address. Fails as mapElements()
/// does.
bool findElement(const xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found,
                 ErrorRecord errors);

/// Creates a slot or shelf, not yet inserted into the document. Null when `doc` is null. Throws
/// InvalidText for a barcode that XML cannot hold.
xercesc::DOMElement* newSlot(xercesc::DOMDocument* doc, const LibElement& element);
xercesc::DOMElement* newShelf(xercesc::DOMDocument* doc, const LibElement& element);

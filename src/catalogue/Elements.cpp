// Searches elements by walking over all elements of the right name; nothing is cached.

#include "catalogue/Elements.h"

#include <string_view>

#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/Names.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

const XMLCh* attribute(const DOMNode& node, const XMLCh* name) {
  return static_cast<const DOMElement&>(node).getAttribute(name);
}

/// The XML name of an element type; null for an unknown type.
const XMLCh* elementName(int type) {
  switch (type) {
    case LIB_ELEM_SLOT:
    case LIB_ELEM_MAIL_SLOT:
      return names::slots;
    case LIB_ELEM_DRIVE:
      return names::drive;
    case LIB_ELEM_SHELF:
      return names::shelf;
    default:
      return nullptr;
  }
}

bool isMailSlot(const DOMNode& slot) {
  return isTrue(attribute(slot, names::isMailSlot));
}

/// The XML name of an element type; null, with text, for an unknown type.
const XMLCh* elementNameOrReport(int type, ErrorRecord errors) {
  const XMLCh* name = elementName(type);
  if (name == nullptr) {
    errors.setText("Invalid Element Type %d", type);
  }
  return name;
}

DOMElement* newElementAt(DOMDocument* doc, const XMLCh* name, const char* namePrefix,
                         const LibElement& element) {
  const XmlString barCode = toXml(element.barCode);
  const XmlString address = toXml(element.elementAddress);
  DOMElement* node = newElement(doc, name);
  if (node == nullptr) {
    return nullptr;
  }
  node->setAttribute(names::name, (toXml(std::string_view(namePrefix)) + address).c_str());
  node->setAttribute(names::isOccupied, boolText(element.isOccupied));
  node->appendChild(newElement(doc, names::baseAddress, address.c_str()));
  node->appendChild(newElement(doc, names::barCode, barCode.c_str()));
  return node;
}

}  // namespace

bool isNamedLibrary(const DOMNode& library, const std::string& libraryName) {
  return toUtf8(attribute(library, names::name)) == names::libraryPrefix + libraryName;
}

bool isDriveOfLibrary(const DOMNode& drive) {
  const DOMNode* parent = drive.getParentNode();
  return parent != nullptr &&
         xercesc::XMLString::compareIString(parent->getNodeName(), names::library) == 0;
}

void readElement(const DOMNode& node, int type, LibElement& element) {
  const bool isSlot = type == LIB_ELEM_SLOT || type == LIB_ELEM_MAIL_SLOT;
  element.elementType = isSlot ? (isMailSlot(node) ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT) : type;
  readValue(&node, names::baseAddress, element.elementAddress);
  element.isValid = true;
  element.isOccupied = isTrue(attribute(node, names::isOccupied));
  if (element.isOccupied) {
    readValue(&node, names::barCode, element.barCode);
  } else {
    element.barCode.clear();
  }
}

bool readAddress(const DOMNode& node, int& address, ErrorRecord errors) {
  if (readValue(&node, names::baseAddress, address)) {
    return true;
  }
  errors.setText("Failed to read value for Element %s", toUtf8(names::baseAddress).c_str());
  return false;
}

bool mapElements(const DOMNode* parent, int type, ElementMap& map, ErrorRecord errors) {
  map.clear();
  const XMLCh* name = elementNameOrReport(type, errors);
  if (name == nullptr || parent == nullptr) {
    return false;
  }
  for (DOMElement* element : Descendants(parent, name)) {
    int address = 0;
    if (!readAddress(*element, address, errors)) {
      return false;
    }
    map[address] = element;
  }
  return true;
}

bool findElement(const DOMNode* parent, int type, int address, DOMNode*& found,
                 ErrorRecord errors) {
  if (parent == nullptr) {
    return false;
  }
  const XMLCh* name = elementNameOrReport(type, errors);
  if (name == nullptr) {
    return false;
  }
  found = nullptr;
  const bool isSlot = name == names::slots;
  for (DOMElement* element : Descendants(parent, name)) {
    if (isSlot && isMailSlot(*element) != (type == LIB_ELEM_MAIL_SLOT)) {
      continue;
    }
    int itsAddress = 0;
    if (!readAddress(*element, itsAddress, errors)) {
      return false;
    }
    if (itsAddress == address) {
      found = element;
      return true;
    }
  }
  return true;
}

DOMElement* newSlot(DOMDocument* doc, const LibElement& element) {
  DOMElement* slot = newElementAt(doc, names::slots, names::slotPrefix, element);
  if (slot != nullptr) {
    slot->setAttribute(names::isMailSlot, boolText(element.elementType == LIB_ELEM_MAIL_SLOT));
  }
  return slot;
}

DOMElement* newShelf(DOMDocument* doc, const LibElement& element) {
  return newElementAt(doc, names::shelf, names::shelfPrefix, element);
}

// The members

void TqLibEmulator::clearLibElement(LibElement& element) {
  element = LibElement();
}

bool TqLibEmulator::doesDriveBelongToLibrary(DOMNode* drive) {
  return isDriveOfLibrary(*drive);
}

bool TqLibEmulator::isLibraryPresent(DOMNode* library, const std::string& libraryName) {
  return isNamedLibrary(*library, libraryName);
}

bool TqLibEmulator::fillLibElementForDrive(DOMNode* node, LibElement& element) {
  readElement(*node, LIB_ELEM_DRIVE, element);
  return true;
}

bool TqLibEmulator::fillLibElementForSlot(DOMNode* node, LibElement& element) {
  readElement(*node, LIB_ELEM_SLOT, element);
  return true;
}

bool TqLibEmulator::fillLibElementForShelf(DOMNode* node, LibElement& element) {
  readElement(*node, LIB_ELEM_SHELF, element);
  return true;
}

bool TqLibEmulator::getElementMap(DOMNode* parent, int type, ElementMap& map) {
  return mapElements(parent, type, map, {m_nErrorCode, m_szErrorText});
}

bool TqLibEmulator::findDriveElem(DOMNode* parent, int /*type*/, int address, DOMNode*& found) {
  found = nullptr;
  return findLibElemNode(parent, LIB_ELEM_DRIVE, address, found);
}

bool TqLibEmulator::findShelfElem(DOMNode* parent, int /*type*/, int address, DOMNode*& found) {
  found = nullptr;
  return findLibElemNode(parent, LIB_ELEM_SHELF, address, found);
}

bool TqLibEmulator::findSlotElem(DOMNode* parent, int type, int address, DOMNode*& found) {
  found = nullptr;
  const bool isMail = type == LIB_ELEM_MAIL_SLOT;
  return findLibElemNode(parent, isMail ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT, address, found);
}

bool TqLibEmulator::findLibElemNode(DOMNode* parent, int type, int address, DOMNode*& found) {
  return findElement(parent, type, address, found, {m_nErrorCode, m_szErrorText});
}

DOMElement* TqLibEmulator::addNewSlotElement(DOMDocument*& doc, const LibElement& element) {
  return newSlot(doc, element);
}

DOMElement* TqLibEmulator::addNewShelfElement(DOMDocument*& doc, const LibElement& element) {
  return newShelf(doc, element);
}

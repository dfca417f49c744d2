// Element lookup: finding elements by type and address, and turning their nodes into records.
//
// A search that ran is a success, also when it found nothing.

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "files/Names.h"
#include "files/XmlText.h"

namespace {

const XMLCh* attribute(xercesc::DOMNode* node, const XMLCh* name) {
  return static_cast<xercesc::DOMElement*>(node)->getAttribute(name);
}

/// The element name of a type; null for a type that does not exist.
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

}  // namespace

void TqLibEmulator::clearLibElement(LibElement& element) {
  element = LibElement();
}

bool TqLibEmulator::doesDriveBelongToLibrary(xercesc::DOMNode* drive) {
  const xercesc::DOMNode* parent = drive->getParentNode();
  return parent != nullptr &&
         xercesc::XMLString::compareIString(parent->getNodeName(), names::library) == 0;
}

bool TqLibEmulator::isLibraryPresent(xercesc::DOMNode* library, const std::string& libraryName) {
  return MyTranscode(attribute(library, names::name)) == names::libraryPrefix + libraryName;
}

bool TqLibEmulator::fillLibElementForDrive(xercesc::DOMNode* node, LibElement& element) {
  fillLibElement(node, LIB_ELEM_DRIVE, element);
  return true;
}

bool TqLibEmulator::fillLibElementForSlot(xercesc::DOMNode* node, LibElement& element) {
  const bool isMailSlot = ConvertTobool(attribute(node, names::isMailSlot));
  fillLibElement(node, isMailSlot ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT, element);
  return true;
}

bool TqLibEmulator::fillLibElementForShelf(xercesc::DOMNode* node, LibElement& element) {
  fillLibElement(node, LIB_ELEM_SHELF, element);
  return true;
}

// A barcode that the file holds for an element marked unoccupied is never reported.
void TqLibEmulator::fillLibElement(xercesc::DOMNode* node, int type, LibElement& element) {
  element.elementType = type;
  extractValuesFromChildNode(node, names::baseAddress, element.elementAddress);
  element.isValid = true;
  element.isOccupied = ConvertTobool(attribute(node, names::isOccupied));
  if (element.isOccupied) {
    extractValuesFromChildNode(node, names::barCode, element.barCode);
  } else {
    element.barCode.clear();
  }
}

bool TqLibEmulator::readAddress(xercesc::DOMNode* node, int& address) {
  if (extractValuesFromChildNode(node, names::baseAddress, address)) {
    return true;
  }
  setErrorText("Failed to read value for Element %s", MyTranscode(names::baseAddress).c_str());
  return false;
}

// Storage slots and import/export slots share one map, and of two elements with one address the
// later one stays in it.
bool TqLibEmulator::getElementMap(xercesc::DOMNode* parent, int type, ElementMap& map) {
  map.clear();
  const XMLCh* name = elementName(type);
  if (name == nullptr) {
    setErrorText("Invalid Element Type %d", type);
    return false;
  }
  if (parent == nullptr) {
    return false;
  }
  for (xercesc::DOMElement* element : Descendants(parent, name)) {
    int address = 0;
    if (!readAddress(element, address)) {
      return false;
    }
    map[address] = element;
  }
  return true;
}

// Elements that are no candidates are passed over unread.
bool TqLibEmulator::findByAddress(
    xercesc::DOMNode* parent, const XMLCh* name, int address, xercesc::DOMNode*& found,
    const std::function<bool(const xercesc::DOMElement&)>& isCandidate) {
  found = nullptr;
  if (parent == nullptr) {
    return false;
  }
  for (xercesc::DOMElement* element : Descendants(parent, name)) {
    if (isCandidate && !isCandidate(*element)) {
      continue;
    }
    int itsAddress = 0;
    if (!readAddress(element, itsAddress)) {
      return false;
    }
    if (itsAddress == address) {
      found = element;
      return true;
    }
  }
  return true;
}

bool TqLibEmulator::findDriveElem(xercesc::DOMNode* parent, int /*type*/, int address,
                                  xercesc::DOMNode*& found) {
  return findByAddress(parent, names::drive, address, found);
}

bool TqLibEmulator::findShelfElem(xercesc::DOMNode* parent, int /*type*/, int address,
                                  xercesc::DOMNode*& found) {
  return findByAddress(parent, names::shelf, address, found);
}

bool TqLibEmulator::findSlotElem(xercesc::DOMNode* parent, int type, int address,
                                 xercesc::DOMNode*& found) {
  const bool wantsMailSlot = type == LIB_ELEM_MAIL_SLOT;
  return findByAddress(parent, names::slots, address, found, [&](const auto& slot) {
    return ConvertTobool(slot.getAttribute(names::isMailSlot)) == wantsMailSlot;
  });
}

bool TqLibEmulator::findLibElemNode(xercesc::DOMNode* parent, int type, int address,
                                    xercesc::DOMNode*& found) {
  if (parent == nullptr) {
    return false;
  }
  switch (type) {
    case LIB_ELEM_SHELF:
      return findShelfElem(parent, type, address, found);
    case LIB_ELEM_DRIVE:
      return findDriveElem(parent, type, address, found);
    case LIB_ELEM_SLOT:
    case LIB_ELEM_MAIL_SLOT:
      return findSlotElem(parent, type, address, found);
    default:
      setErrorText("Invalid Element Type %d", type);
      return false;
  }
}

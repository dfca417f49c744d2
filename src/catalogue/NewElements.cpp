// New slots and shelves, not yet in their place in a document.

#include "TqLibEmulator.h"
#include "files/Names.h"
#include "files/XmlText.h"

xercesc::DOMElement* TqLibEmulator::addNewSlotElement(xercesc::DOMDocument*& doc,
                                                      const LibElement& element) {
  xercesc::DOMElement* slot = addNewElement(doc, names::slots, names::slotPrefix, element);
  if (slot != nullptr) {
    slot->setAttribute(names::isMailSlot, boolText(element.elementType == LIB_ELEM_MAIL_SLOT));
  }
  return slot;
}

xercesc::DOMElement* TqLibEmulator::addNewShelfElement(xercesc::DOMDocument*& doc,
                                                       const LibElement& element) {
  return addNewElement(doc, names::shelf, names::shelfPrefix, element);
}

xercesc::DOMElement* TqLibEmulator::addNewElement(xercesc::DOMDocument* doc, const XMLCh* name,
                                                  const char* namePrefix,
                                                  const LibElement& element) {
  const XmlString barCode = toXml(element.barCode);
  const XmlString address = toXml(element.elementAddress);
  xercesc::DOMElement* node = newDOMElementWithValue(doc, name, nullptr);
  if (node == nullptr) {
    return nullptr;
  }
  node->setAttribute(names::name, (toXml(std::string_view(namePrefix)) + address).c_str());
  node->setAttribute(names::isOccupied, boolText(element.isOccupied));
  node->appendChild(newDOMElementWithValue(doc, names::baseAddress, address.c_str()));
  node->appendChild(newDOMElementWithValue(doc, names::barCode, barCode.c_str()));
  return node;
}

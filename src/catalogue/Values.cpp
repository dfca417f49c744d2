// Values of elements: the members of the catalogue object, on top of files/Documents.h.

#include "TqLibEmulator.h"
#include "files/Documents.h"

xercesc::DOMElement* TqLibEmulator::newDOMElementWithValue(xercesc::DOMDocument* doc,
                                                           const XMLCh* name, const XMLCh* value) {
  return newElement(doc, name, value);
}

bool TqLibEmulator::updateDOMElementValue(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                                          const XMLCh* name, const std::string& value) {
  return updateValues(doc, element, name, value);
}

bool TqLibEmulator::getTextForNode(xercesc::DOMNode* node, std::string& text) {
  return readText(*node, text);
}

bool TqLibEmulator::extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name,
                                               std::string& value) {
  return readValue(node, name, value);
}

bool TqLibEmulator::extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name,
                                               int& value) {
  return readValue(node, name, value);
}

bool TqLibEmulator::removeTextNode(xercesc::DOMNode* node, std::string /*value*/) {
  return removeText(*node);
}

bool TqLibEmulator::addTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node,
                                std::string value) {
  return addText(doc, node, value);
}

bool TqLibEmulator::updateTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node,
                                   std::string value) {
  return updateText(doc, node, value);
}

bool TqLibEmulator::ConvertTobool(const XMLCh* value) {
  return isTrue(value);
}

// Values of elements. An element that carries a value holds it as its first child, a text node; how
// tolerant the whole catalogue is to missing and odd values is decided here.

#include <cstdlib>

#include "TqLibEmulator.h"
#include "catalogue/Descendants.h"
#include "catalogue/XmlText.h"

namespace {

bool isText(const xercesc::DOMNode& node) {
  return node.getNodeType() == xercesc::DOMNode::TEXT_NODE;
}

void appendText(xercesc::DOMDocument& doc, xercesc::DOMNode& node, const std::string& value) {
  node.appendChild(doc.createTextNode(toXml(value).c_str()));
}

bool spellsItsName(const xercesc::DOMNode& node, const XmlString& value) {
  return xercesc::XMLString::compareIString(node.getNodeName(), value.c_str()) == 0;
}

}  // namespace

xercesc::DOMElement* TqLibEmulator::newDOMElementWithValue(xercesc::DOMDocument* doc,
                                                           const XMLCh* name, const XMLCh* value) {
  if (doc == nullptr) {
    return nullptr;
  }
  xercesc::DOMElement* element = doc->createElement(name);
  if (value != nullptr) {
    element->appendChild(doc->createTextNode(value));
  }
  return element;
}

bool TqLibEmulator::updateDOMElementValue(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                                          const XMLCh* name, const std::string& value) {
  bool found = false;
  for (xercesc::DOMElement* each : Descendants(element, name)) {
    found = true;
    if (!updateTextNode(doc, each, value)) {
      return false;
    }
  }
  return found;
}

bool TqLibEmulator::getTextForNode(xercesc::DOMNode* node, std::string& text) {
  const xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr) {
    text.clear();
    return true;
  }
  if (!isText(*child)) {
    return false;
  }
  text = MyTranscode(child->getNodeValue());
  return true;
}

bool TqLibEmulator::extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name,
                                               std::string& value) {
  value.clear();
  xercesc::DOMElement* element = Descendants(node, name).first();
  return element == nullptr || getTextForNode(element, value);
}

// A missing element reads as 0 and text that is no number as its numeric prefix: files of earlier
// versions lack elements that were added later.
bool TqLibEmulator::extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name,
                                               int& value) {
  value = -1;
  std::string text;
  xercesc::DOMElement* element = Descendants(node, name).first();
  if (element != nullptr && !getTextForNode(element, text)) {
    return false;
  }
  value = std::atoi(text.c_str());
  return true;
}

bool TqLibEmulator::removeTextNode(xercesc::DOMNode* node, std::string /*value*/) {
  xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr || !isText(*child)) {
    return false;
  }
  node->removeChild(child)->release();
  return true;
}

// The value is compared with the element's name, not with its current text, here and in
// updateTextNode(). So a value is always replaced, except one that spells the element's own name,
// which leaves the element as it was. Files in the field were written that way.
bool TqLibEmulator::addTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node,
                                std::string value) {
  if (node == nullptr) {
    return false;
  }
  xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr) {
    if (doc == nullptr) {
      return false;
    }
    appendText(*doc, *node, value);
    return true;
  }
  if (!isText(*child)) {
    return false;
  }
  const XmlString text = toXml(value);
  if (spellsItsName(*node, text)) {
    return true;
  }
  const bool isAlone = child->getNextSibling() == nullptr;
  if (isAlone && doc != nullptr) {      // without a document a call fails, with the text removed
    child->setNodeValue(text.c_str());  // cheaper than another node in its place
    return true;
  }
  return removeTextNode(node, value) && addTextNode(doc, node, value);
}

bool TqLibEmulator::updateTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node,
                                   std::string value) {
  if (node == nullptr) {
    return false;
  }
  const xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr) {
    return value.empty() || addTextNode(doc, node, value);
  }
  if (!isText(*child)) {
    return false;
  }
  return value.empty() ? removeTextNode(node, value) : addTextNode(doc, node, value);
}

// The first character alone decides; a missing attribute, which reads as empty text, is true.
// Elements without IsOccupied have always been read as occupied.
bool TqLibEmulator::ConvertTobool(const XMLCh* value) {
  return value != nullptr && *value != u'0' && *value != u'f' && *value != u'F';
}

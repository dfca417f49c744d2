// Creates documents and elements, and decides how tolerant the catalogue is of missing and unusual
// values: all values are read and written here.

#include "files/Documents.h"

#include <cstdlib>

#include <xercesc/validators/schema/SchemaSymbols.hpp>

namespace {

bool isText(const xercesc::DOMNode& node) {
  return node.getNodeType() == xercesc::DOMNode::TEXT_NODE;
}

bool spellsItsName(const xercesc::DOMNode& node, const XmlString& value) {
  return xercesc::XMLString::compareIString(node.getNodeName(), value.c_str()) == 0;
}

bool appendText(xercesc::DOMDocument* doc, xercesc::DOMNode& node, const std::string& value) {
  if (doc == nullptr) {
    return false;
  }
  node.appendChild(doc->createTextNode(toXml(value).c_str()));
  return true;
}

}  // namespace

XmlOwner<xercesc::DOMDocument> newDocument(const XMLCh* root) {
  xercesc::DOMImplementation* implementation =
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
  return XmlOwner<xercesc::DOMDocument>(
      implementation == nullptr
          ? nullptr
          : implementation->createDocument(xercesc::SchemaSymbols::fgURI_XSI, root, nullptr));
}

xercesc::DOMElement* newElement(xercesc::DOMDocument* doc, const XMLCh* name, const XMLCh* value) {
  if (doc == nullptr) {
    return nullptr;
  }
  xercesc::DOMElement* element = doc->createElement(name);
  if (value != nullptr) {
    element->appendChild(doc->createTextNode(value));
  }
  return element;
}

void addListEntry(xercesc::DOMDocument& list, const std::string& file, const std::string& key) {
  xercesc::DOMElement* entry = newElement(&list, names::library, toXml(file).c_str());
  entry->setAttribute(names::id, toXml(key).c_str());
  list.getDocumentElement()->appendChild(entry);
}

bool readText(const xercesc::DOMNode& node, std::string& text) {
  const xercesc::DOMNode* child = node.getFirstChild();
  if (child == nullptr) {
    text.clear();
    return true;
  }
  if (!isText(*child)) {
    return false;
  }
  text = toUtf8(child->getNodeValue());
  return true;
}

bool readValue(const xercesc::DOMNode* node, const XMLCh* name, std::string& value) {
  value.clear();
  const xercesc::DOMElement* element = Descendants(node, name).first();
  return element == nullptr || readText(*element, value);
}

// A missing element reads as 0, because files of earlier versions lack elements that were added
// later.
bool readValue(const xercesc::DOMNode* node, const XMLCh* name, int& value) {
  value = -1;
  std::string text;
  if (!readValue(node, name, text)) {
    return false;
  }
  value = std::atoi(text.c_str());
  return true;
}

bool removeText(xercesc::DOMNode& node) {
  xercesc::DOMNode* child = node.getFirstChild();
  if (child == nullptr || !isText(*child)) {
    return false;
  }
  node.removeChild(child)->release();
  return true;
}

// The value is compared with the element's name, not with its current text: a value that equals the
// name leaves the text unchanged. Existing files were written that way.
bool addText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value) {
  if (node == nullptr) {
    return false;
  }
  xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr) {
    return appendText(doc, *node, value);
  }
  if (!isText(*child)) {
    return false;
  }
  const XmlString text = toXml(value);
  if (spellsItsName(*node, text)) {
    return true;
  }
  const bool isAlone = child->getNextSibling() == nullptr;
  if (isAlone && doc != nullptr) {
    child->setNodeValue(text.c_str());  // cheaper than a new node
    return true;
  }
  return removeText(*node) && addText(doc, node, value);
}

bool updateText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value) {
  if (node == nullptr) {
    return false;
  }
  const xercesc::DOMNode* child = node->getFirstChild();
  if (child == nullptr) {
    return value.empty() || appendText(doc, *node, value);
  }
  if (!isText(*child)) {
    return false;
  }
  return value.empty() ? removeText(*node) : addText(doc, node, value);
}

bool updateValues(xercesc::DOMDocument* doc, const xercesc::DOMElement* element, const XMLCh* name,
                  const std::string& value) {
  bool found = false;
  for (xercesc::DOMElement* each : Descendants(element, name)) {
    found = true;
    if (!updateText(doc, each, value)) {
      return false;
    }
  }
  return found;
}

bool isTrue(const XMLCh* value) {
  return value != nullptr && *value != u'0' && *value != u'f' && *value != u'F';
}

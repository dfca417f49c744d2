// Where a document's elements hang, and taking them off.
#pragma once

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLString.hpp>

#include "catalogue/Descendants.h"
#include "catalogue/Names.h"

/// The root element; null without a document or a root.
inline xercesc::DOMElement* rootOf(const xercesc::DOMDocument* doc) {
  return doc == nullptr ? nullptr : doc->getDocumentElement();
}

/// The one library of a document; null when there is none or more than one.
inline xercesc::DOMElement* singleLibrary(const xercesc::DOMDocument* doc) {
  return Descendants(rootOf(doc), names::library).single();
}

/// Every element that the catalogue finds is a DOMElement; nodes go through older interfaces only.
inline xercesc::DOMElement* asElement(xercesc::DOMNode* node) {
  return static_cast<xercesc::DOMElement*>(node);
}

/// Whether it is a text of nothing but white space.
inline bool isBlankText(const xercesc::DOMNode& node) {
  const XMLCh* text = node.getNodeValue();
  return node.getNodeType() == xercesc::DOMNode::TEXT_NODE &&
         xercesc::XMLChar1_0::isAllSpaces(text, xercesc::XMLString::stringLen(text));
}

/// Removes `node` from `parent`. It goes with its document at the end of the call; to release the
/// nodes of a library one by one costs half as much as to read them. Indentation that is left alone
/// would be taken for the parent's value, so it becomes empty then.
inline void removeFrom(xercesc::DOMNode& parent, xercesc::DOMNode* node) {
  parent.removeChild(node);
  xercesc::DOMNode* left = parent.getFirstChild();
  if (left != nullptr && left->getNextSibling() == nullptr && isBlankText(*left)) {
    left->setNodeValue(u"");
  }
}

// What several operations do with the elements of a document.
#pragma once

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

#include "files/Descendants.h"
#include "files/Names.h"

/// The one library of a document; null when there is none or more than one.
inline xercesc::DOMElement* singleLibrary(const xercesc::DOMDocument* doc) {
  return Descendants(rootOf(doc), names::library).single();
}

/// Every element that the catalogue finds is a DOMElement; nodes go through older interfaces only.
inline xercesc::DOMElement* asElement(xercesc::DOMNode* node) {
  return static_cast<xercesc::DOMElement*>(node);
}

/// Puts `node` behind `reference`. Where nothing follows, no text either, it goes to the end of
/// `last`, whatever the reference lies in.
inline void placeBehind(const xercesc::DOMNode& reference, xercesc::DOMNode& last,
                        xercesc::DOMNode* node) {
  xercesc::DOMNode* next = reference.getNextSibling();
  (next == nullptr ? last : *next->getParentNode()).insertBefore(node, next);
}

/// Removes `node` from `parent`. It goes with its document at the end of the call: to release
/// the nodes of a library one by one would cost much of what it costs to read them.
inline void removeFrom(xercesc::DOMNode& parent, xercesc::DOMNode* node) {
  parent.removeChild(node);
}

/// Sets the attribute that tells whether there is a medium. One that is there keeps its node: a
/// vector of records sets tens of thousands of them.
inline void setOccupied(xercesc::DOMElement& element, bool isOccupied) {
  const XMLCh* value = isOccupied ? names::trueText : names::falseText;
  const xercesc::DOMAttr* attribute = element.getAttributeNode(names::isOccupied);
  xercesc::DOMNode* text = attribute == nullptr ? nullptr : attribute->getFirstChild();
  if (text != nullptr && text->getNextSibling() == nullptr) {
    text->setNodeValue(value);
  } else {
    element.setAttribute(names::isOccupied, value);
  }
}

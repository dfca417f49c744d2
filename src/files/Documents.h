// Owning and creating documents; finding, placing and changing their elements.
#pragma once

#include <memory>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

#include "files/Descendants.h"
#include "files/Names.h"

/// The deleter of XmlOwner.
struct XmlRelease {
  template <class T>
  void operator()(T* object) const {
    object->release();
  }
};

/// Owns a document, serialiser or output.
template <class T>
using XmlOwner = std::unique_ptr<T, XmlRelease>;

/// A document with an empty root of this name, in the namespace of all catalogue files; null when
/// Xerces-C++ has no DOM implementation.
inline XmlOwner<xercesc::DOMDocument> newDocument(const XMLCh* root) {
  xercesc::DOMImplementation* implementation =
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
  return XmlOwner<xercesc::DOMDocument>(
      implementation == nullptr
          ? nullptr
          : implementation->createDocument(xercesc::SchemaSymbols::fgURI_XSI, root, nullptr));
}

/// The only library of a document; null when there is none or more than one.
inline xercesc::DOMElement* singleLibrary(const xercesc::DOMDocument* doc) {
  return Descendants(rootOf(doc), names::library).single();
}

/// Casts a node that is known to be an element. Older interfaces pass elements as nodes.
inline xercesc::DOMElement* asElement(xercesc::DOMNode* node) {
  return static_cast<xercesc::DOMElement*>(node);
}

/// Inserts `node` behind `reference`. If `reference` has no next sibling (text counts as one),
/// `node` is appended to `last`, even if `last` is not the parent of `reference`.
inline void placeBehind(const xercesc::DOMNode& reference, xercesc::DOMNode& last,
                        xercesc::DOMNode* node) {
  xercesc::DOMNode* next = reference.getNextSibling();
  (next == nullptr ? last : *next->getParentNode()).insertBefore(node, next);
}

/// Removes `node` from `parent`. Its memory is freed with the document, at the end of the call:
/// releasing the nodes of a library one by one would cost nearly as much as reading them.
inline void removeFrom(xercesc::DOMNode& parent, xercesc::DOMNode* node) {
  parent.removeChild(node);
}

/// Sets the attribute IsOccupied. The text node of an existing attribute is reused, for speed: an
/// operation may set tens of thousands of elements.
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

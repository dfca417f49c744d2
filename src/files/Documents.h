// Owning and creating documents; creating, finding and placing elements; reading and changing their
// values. An element that carries a value holds it as its first child, a text node.
#pragma once

#include <memory>
#include <string>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

#include "files/Descendants.h"
#include "files/Names.h"
#include "files/XmlText.h"

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
XmlOwner<xercesc::DOMDocument> newDocument(const XMLCh* root);

/// Creates an element, with `value` as its text unless `value` is null. Returns null when `doc` is
/// null.
xercesc::DOMElement* newElement(xercesc::DOMDocument* doc, const XMLCh* name,
                                const XMLCh* value = nullptr);

/// Appends the entry of a library to the library list: its file as the text, its key as the Id.
void addListEntry(xercesc::DOMDocument& list, const std::string& file, const std::string& key);

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
  const XMLCh* value = boolText(isOccupied);
  const xercesc::DOMAttr* attribute = element.getAttributeNode(names::isOccupied);
  xercesc::DOMNode* text = attribute == nullptr ? nullptr : attribute->getFirstChild();
  if (text != nullptr && text->getNextSibling() == nullptr) {
    text->setNodeValue(value);
  } else {
    element.setAttribute(names::isOccupied, value);
  }
}

/// Reads the text of `node`; empty when it has no child. False, with `text` unchanged, when its
/// first child is not a text node.
bool readText(const xercesc::DOMNode& node, std::string& text);

/// Reads the text of the first descendant of that name; empty when there is none. False, with
/// `value` empty, when the element's first child is not a text node.
bool readValue(const xercesc::DOMNode* node, const XMLCh* name, std::string& value);

/// Reads a number in the same way: the leading digits of the text, 0 without digits or without the
/// element. False, with -1, when the element's first child is not a text node.
bool readValue(const xercesc::DOMNode* node, const XMLCh* name, int& value);

/// Adds text to `node`, or replaces its present text. False, with nothing changed, when its first
/// child is not a text node. False also when `doc` is null; present text is then removed.
bool addText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value);

/// Does the same, but an empty `value` removes the text.
bool updateText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value);

/// Removes the text of `node`. False when it has no child or its first child is not a text node.
bool removeText(xercesc::DOMNode& node);

/// Updates the text of all descendants of `element` of that name. Stops at the first failure and
/// returns false; false also when there is no such descendant.
bool updateValues(xercesc::DOMDocument* doc, const xercesc::DOMElement* element, const XMLCh* name,
                  const std::string& value);

/// The value of an attribute such as IsOccupied. False when the text begins with "0", "f" or "F",
/// or `value` is null; else true. A missing attribute reads as empty text and is therefore true:
/// elements without IsOccupied have always been read as occupied.
bool isTrue(const XMLCh* value);

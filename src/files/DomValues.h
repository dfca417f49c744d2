// Values of elements. An element that carries a value holds it as its first child, a text node.
#pragma once

#include <string>

#include <xercesc/dom/DOM.hpp>

/// Creates an element, with `value` as its text unless `value` is null. Returns null when `doc` is
/// null.
xercesc::DOMElement* newElement(xercesc::DOMDocument* doc, const XMLCh* name,
                                const XMLCh* value = nullptr);

/// Appends the entry of a library to the library list: its file as the text, its key as the Id.
void addListEntry(xercesc::DOMDocument& list, const std::string& file, const std::string& key);

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

// Values of elements. An element that carries a value holds it as its first child, a text node.
#pragma once

#include <string>

#include <xercesc/dom/DOM.hpp>

/// A new element, with `value` as its text unless that is null. Null without a document.
xercesc::DOMElement* newElement(xercesc::DOMDocument* doc, const XMLCh* name,
                                const XMLCh* value = nullptr);

/// Reads the text of `node`, empty when it has no child. False, with `text` unchanged, when its
/// first child is no text.
bool readText(const xercesc::DOMNode& node, std::string& text);

/// Reads the first descendant of that name. A missing one reads as empty text; false, with `value`
/// empty, when it has no text.
bool readValue(const xercesc::DOMNode* node, const XMLCh* name, std::string& value);

/// The same for a number: text that is no number reads as its leading digits, and a missing element
/// as 0. False, with -1, when it has no text.
bool readValue(const xercesc::DOMNode* node, const XMLCh* name, int& value);

/// Adds text to `node`, or replaces the text that it has. False, with nothing changed, when its
/// first child is no text. Without a document, a node that already has text loses it.
bool addText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value);

/// The same, but an empty `value` removes the text.
bool updateText(xercesc::DOMDocument* doc, xercesc::DOMNode* node, const std::string& value);

/// Removes the text of `node`; false when its first child is no text.
bool removeText(xercesc::DOMNode& node);

/// Updates all descendants of `element` of that name, up to the first failure. False when there are
/// none.
bool updateValues(xercesc::DOMDocument* doc, const xercesc::DOMElement* element, const XMLCh* name,
                  const std::string& value);

/// The value of an attribute such as IsOccupied. The first character alone decides; a missing
/// attribute, which reads as empty text, is true: elements without IsOccupied have always been read
/// as occupied.
bool isTrue(const XMLCh* value);

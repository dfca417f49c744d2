// Looking into catalogue files for what no call of the API reports.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "files/ParsedFile.h"

/// The document of a catalogue file, which has a root. Throws Failure when the file cannot be read
/// or parsed.
ParsedFile readDocument(const std::string& path);

/// The value of `attribute` in every element named `element` of a catalogue file, in the order of
/// the file; empty text for an element without it. Throws as readDocument() does.
std::vector<std::string> attributeValues(const std::string& path, const XMLCh* element,
                                         const XMLCh* attribute);

/// The number of elements named `element` in a catalogue file. Throws as readDocument() does.
std::size_t countElements(const std::string& path, const XMLCh* element);

// Looking into catalogue files for what no call of the library tells.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The value of `attribute` in every element named `element` of the XML file `path`, in the order
/// of the file; empty text for an element without it. Throws Failure when the file cannot be read
/// or parsed.
std::vector<std::string> attributeValues(const std::string& path, const std::string& element,
                                         const std::string& attribute);

/// The number of elements named `element` in the XML file `path`. Throws as attributeValues() does.
std::size_t countElements(const std::string& path, const std::string& element);

// Looking into catalogue files for what no call of the library tells.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

/// The XML library runs as long as one of these lives. To start it takes longer than to parse a
/// small file, so whoever reads many files holds one meanwhile.
class XmlRuntime {
public:
  XmlRuntime();
  ~XmlRuntime();
  XmlRuntime(const XmlRuntime&) = delete;
  XmlRuntime& operator=(const XmlRuntime&) = delete;
};

/// All bytes of a file. Throws Failure when it cannot be read, or is no regular file: to open a
/// pipe would wait for somebody to write.
std::string fileContent(const std::string& path);

/// Hands the document that `bytes` spell to `work`, which may change it. Throws Failure, with the
/// line, when there is none; `path` is what it calls the file.
void withDocument(const std::string& bytes, const std::string& path,
                  const std::function<void(xercesc::DOMDocument&)>& work);

/// The elements of that name under the root, in the order of the file. The document owns them.
std::vector<xercesc::DOMElement*> elementsNamed(const xercesc::DOMDocument& document,
                                                const std::string& name);

/// The value of `attribute` in every element named `element` of the XML file `path`, in the order
/// of the file; empty text for an element without it. Throws Failure when the file cannot be read
/// or parsed.
std::vector<std::string> attributeValues(const std::string& path, const std::string& element,
                                         const std::string& attribute);

/// The number of elements named `element` in the XML file `path`. Throws as attributeValues() does.
std::size_t countElements(const std::string& path, const std::string& element);

#include "catalogue/XmlScan.h"

#include <cerrno>

#include "base/Errors.h"
#include "files/Descendants.h"
#include "files/XmlText.h"

ParsedFile readDocument(const std::string& path) {
  ParsedFile file = parseFile(path);
  if (!file.error.empty()) throw Failure(path + " cannot be parsed: " + file.error);
  if (file.document() == nullptr) throw systemFailure(path, ENOENT);
  if (rootOf(file.document()) == nullptr) {
    throw Failure(path + " cannot be parsed: it has no root element");
  }
  return file;
}

std::vector<std::string> attributeValues(const std::string& path, const XMLCh* element,
                                         const XMLCh* attribute) {
  const ParsedFile file = readDocument(path);
  std::vector<std::string> values;
  for (const xercesc::DOMElement* found : Descendants(rootOf(file.document()), element)) {
    values.push_back(toUtf8(found->getAttribute(attribute)));
  }
  return values;
}

std::size_t countElements(const std::string& path, const XMLCh* element) {
  const ParsedFile file = readDocument(path);
  const Descendants found(rootOf(file.document()), element);
  std::size_t count = 0;
  for (auto each = found.begin(); each != found.end(); ++each) ++count;
  return count;
}

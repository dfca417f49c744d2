#include "catalogue/ListedLibraries.h"

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "catalogue/ErrorCodes.h"
#include "files/Names.h"
#include "files/ParsedFile.h"

ListedLibraries readListedLibraries(const std::string& path) {
  const ParsedFile file = parseFile(path);
  if (file.lacksParser) {
    return {{}, codes::noParser, "Failed to initialize Parser Object", file.error};
  }
  if (file.document() == nullptr) {
    return {{}, codes::cannotParse, "Cannot parse the file " + path, file.error};
  }
  const xercesc::DOMElement* root = file.document()->getDocumentElement();
  if (root == nullptr) {
    return {{}, codes::noXmlFile, "Root Element not found in file " + path, ""};
  }
  ListedLibraries listed;
  for (const xercesc::DOMElement* entry : Descendants(root, names::library)) {
    listed.ids.push_back(MyTranscode(entry->getAttribute(names::id)));
  }
  return listed;
}

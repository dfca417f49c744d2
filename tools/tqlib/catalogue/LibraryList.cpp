// Changes of the library list that the API does not make.
//
// The API enters or removes an entry only together with a library in its file. Here the list is
// read, changed and saved as a document, under the lock that the API takes as well.
#include "catalogue/LibraryList.h"

#include <filesystem>
#include <vector>

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "files/Descendants.h"
#include "files/DomValues.h"
#include "files/Names.h"
#include "files/XmlText.h"

using xercesc::DOMDocument;
using xercesc::DOMElement;

void addEntry(DOMDocument& list, const std::string& key) {
  DOMElement* entry = newElement(&list, names::library, toXml(names::fileOf(key)).c_str());
  entry->setAttribute(names::id, toXml(key).c_str());
  list.getDocumentElement()->appendChild(entry);
}

bool removeEntries(DOMDocument& list, const std::function<bool(const std::string&)>& isUnwanted) {
  std::vector<DOMElement*> unwanted;
  for (DOMElement* entry : Descendants(rootOf(&list), names::library)) {
    const bool isRemoved = isUnwanted(toUtf8(entry->getAttribute(names::id)));
    if (isRemoved && entry->getFirstElementChild() == nullptr) unwanted.push_back(entry);
  }
  for (DOMElement* entry : unwanted) entry->getParentNode()->removeChild(entry)->release();
  return !unwanted.empty();
}

void takeOffList(const std::string& library) {
  changeFile(catalogueFolder() + names::listFile, names::libraryList, [&](DOMDocument& list) {
    return removeEntries(list, [&](const std::string& key) { return key == library; });
  });
  if (isListed(library)) {
    throw Failure("the entry of library " + library + " in the list contains other elements",
                  "edit the list by hand");
  }
}

// An entry without a file makes every query over all libraries fail, so the entries go first.
void purgeLibrary(const std::string& library) {
  takeOffList(library);
  std::filesystem::remove(libraryFile(library));
}

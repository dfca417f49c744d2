// Changes of the library list that the API does not make.
//
// The API enters or removes an entry only together with a library in its file. Here the list is
// read, changed and saved as a document, under the lock that the API takes as well.
#include "catalogue/LibraryList.h"

#include <filesystem>
#include <vector>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/XmlScan.h"
#include "files/Descendants.h"
#include "files/DomValues.h"
#include "files/Names.h"
#include "files/NewDocument.h"
#include "files/PairedSave.h"
#include "files/SavedDocument.h"
#include "files/XmlText.h"

using xercesc::DOMDocument;
using xercesc::DOMElement;

void changeList(const std::function<bool(DOMDocument&)>& change) {
  asOneStep([&] {
    const std::string folder = catalogueFolder();
    // Completing that save would replace this list by an older one.
    if (PairedSave::isPending(folder)) {
      throw Failure("an earlier save of the library list is incomplete", seeLog());
    }
    const std::string path = folder + names::listFile;
    const bool isNew = !TqLibEmlFile::IsFilePresent(path);
    const XmlOwner<DOMDocument> created(isNew ? newDocument(names::libraryList) : nullptr);
    const ParsedFile parsed = isNew ? ParsedFile() : readDocument(path);
    DOMDocument* list = isNew ? created.get() : parsed.document();
    if (!change(*list)) return;
    std::string error;
    SavedDocument{list, path, isNew ? Existing::Kept : Existing::Replaced}.save(error);
    if (!error.empty()) throw Failure("the library list was not saved: " + error);
  });
}

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
  changeList([&](DOMDocument& list) {
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

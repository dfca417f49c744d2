// Reads and changes the library list, the file that lists all libraries of the catalogue.
//
// The members that change it set no last-error code. If an existing list cannot be read, they log
// the reason; without that, a new library would be lost without a message. Entries are not checked
// for duplicates. A removal takes the first entry that matches.

#include "catalogue/LibraryList.h"

#include <utility>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "common/Log.h"
#include "files/Documents.h"
#include "files/ParsedFile.h"
#include "files/SavedDocument.h"
#include "files/XmlText.h"

namespace {

/// The list document of an object with its owners.
struct ListDocument {
  xercesc::XercesDOMParser*& parser;
  xercesc::DOMDocument*& document;
  xercesc::DOMDocument*& created;
  bool& isLoaded;

  void drop() {
    document = nullptr;
    XmlOwner<xercesc::DOMDocument>(std::exchange(created, nullptr)).reset();
    delete std::exchange(parser, nullptr);
    isLoaded = false;
  }

  bool load(const std::string& path) {
    ParsedFile file = parseFile(path);
    drop();
    if (file.document() == nullptr) {
      logError("TqLibEmulator::loadList", "Failed to load " + path + ": " + file.error);
      return false;
    }
    document = file.document();
    parser = file.parser.release();
    isLoaded = true;
    return true;
  }
};

}  // namespace

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
    listed.ids.push_back(toUtf8(entry->getAttribute(names::id)));
  }
  return listed;
}

bool TqLibEmulator::createNewLibList(xercesc::DOMDocument*& doc, const std::string& libFile,
                                     const std::string& libId) {
  auto created = newDocument(names::libraryList);
  if (created == nullptr) {
    return false;
  }
  xercesc::DOMDocument* list = created.get();
  if (!libFile.empty() && !addToLibraryList(list, libFile, libId)) {
    return false;
  }
  doc = created.release();
  return true;
}

bool TqLibEmulator::addToLibraryList(xercesc::DOMDocument*& doc, const std::string& libFile,
                                     const std::string& libId) {
  if (doc == nullptr) {
    return false;
  }
  addListEntry(*doc, libFile, libId);
  return true;
}

bool TqLibEmulator::removeFromLibraryList(xercesc::DOMDocument*& doc,
                                          const std::string& /*libFile*/,
                                          const std::string& libId) {
  xercesc::DOMElement* root = rootOf(doc);
  if (root == nullptr) {
    return false;
  }
  for (xercesc::DOMElement* entry : Descendants(root, names::library)) {
    if (toUtf8(entry->getAttribute(names::id)) == libId) {
      removeFrom(*root, entry);
      return true;
    }
  }
  return true;
}

// Despite its name, this creates no library file: it adds the library to the list document, which
// the caller saves.
bool TqLibEmulator::createNewLibraryFile(const std::string& libFile, const std::string& libId) {
  std::string path;
  if (!GetLibListFile(path)) {
    return false;
  }
  ListDocument current{m_pListParser, m_pListDoc, m_pNewListDoc, m_bListLoaded};
  if (!isFilePresent(path)) {
    current.drop();
    if (!createNewLibList(m_pListDoc, libFile, libId)) {
      return false;
    }
    m_pNewListDoc = m_pListDoc;
  } else if (!current.load(path)) {
    return false;
  } else if (!addToLibraryList(m_pListDoc, libFile, libId)) {
    current.drop();
    return false;
  }
  m_bListModified = true;
  return true;
}

bool TqLibEmulator::addToLibraryListFile(const std::string& libFile, const std::string& libId) {
  std::string path;
  if (!GetLibListFile(path)) {
    return false;
  }
  if (isFilePresent(path)) {
    const ParsedFile file = parseFile(path);
    xercesc::DOMDocument* list = file.document();
    if (list == nullptr || !addToLibraryList(list, libFile, libId)) {
      return false;
    }
    saveDocument(list, path);
    return true;
  }
  xercesc::DOMDocument* created = nullptr;
  if (!createNewLibList(created, "", "")) {
    return false;
  }
  const XmlOwner<xercesc::DOMDocument> list(created);
  if (!addToLibraryList(created, libFile, libId)) {
    return false;
  }
  SavedDocument{created, path, Existing::Kept}.save(m_saveError);
  return true;
}

bool TqLibEmulator::removeFromLibraryListFile(const std::string& libFile,
                                              const std::string& libId) {
  std::string path;
  ListDocument current{m_pListParser, m_pListDoc, m_pNewListDoc, m_bListLoaded};
  if (!GetLibListFile(path) || !isFilePresent(path) || !current.load(path)) {
    return false;
  }
  if (!removeFromLibraryList(m_pListDoc, libFile, libId)) {
    current.drop();
    return false;
  }
  m_bListModified = true;
  return true;
}

// The library list: the file that names every library of the catalogue.
//
// The members that change it set no code: their callers know what a failure means. They log why an
// existing list cannot be read, which would otherwise lose a new library without a message. Entries
// are not checked for duplicates, and removal takes the first that matches.

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "files/SavedDocument.h"
#include "catalogue/ListedLibraries.h"
#include "files/NewDocument.h"
#include "files/ParsedFile.h"
#include "files/XmlText.h"

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
  const XmlString id = toXml(libId);
  xercesc::DOMElement* entry = newDOMElementWithValue(doc, names::library, toXml(libFile).c_str());
  if (entry == nullptr) {
    return false;
  }
  entry->setAttribute(names::id, id.c_str());
  doc->getDocumentElement()->appendChild(entry);
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
    if (MyTranscode(entry->getAttribute(names::id)) == libId) {
      removeFrom(*root, entry);
      return true;
    }
  }
  return true;
}

bool TqLibEmulator::loadList(const std::string& path) {
  ParsedFile file = parseFile(path);
  m_pListDoc = nullptr;
  m_newListDoc.reset();
  delete m_pListParser;
  m_pListParser = nullptr;
  m_bListLoaded = file.document() != nullptr;
  if (!m_bListLoaded) {
    EvDebug::Error(debugHandler, "TqLibEmulator::loadList", "Failed to load %s: %s", path.c_str(),
                   file.error.c_str());
  } else {
    m_pListDoc = file.document();
    m_pListParser = file.parser.release();
  }
  return m_bListLoaded;
}

void TqLibEmulator::dropList() {
  m_pListDoc = nullptr;
  delete m_pListParser;
  m_pListParser = nullptr;
  m_bListLoaded = false;
}

// Despite its name it makes no library file: it enters the library in the list document, which the
// caller saves.
bool TqLibEmulator::createNewLibraryFile(const std::string& libFile, const std::string& libId) {
  std::string path;
  if (!GetLibListFile(path)) {
    return false;
  }
  if (!isFilePresent(path)) {
    dropList();
    if (!createNewLibList(m_pListDoc, libFile, libId)) {
      return false;
    }
    m_newListDoc.reset(m_pListDoc);
  } else if (!loadList(path)) {
    return false;
  } else if (!addToLibraryList(m_pListDoc, libFile, libId)) {
    dropList();
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
  const OwnedDocument list(created);
  if (!addToLibraryList(created, libFile, libId)) {
    return false;
  }
  SavedDocument{created, path, Existing::Kept}.save(m_saveError);
  return true;
}

bool TqLibEmulator::removeFromLibraryListFile(const std::string& libFile,
                                              const std::string& libId) {
  std::string path;
  if (!GetLibListFile(path) || !isFilePresent(path) || !loadList(path)) {
    return false;
  }
  if (!removeFromLibraryList(m_pListDoc, libFile, libId)) {
    dropList();
    return false;
  }
  m_bListModified = true;
  return true;
}

// No list is an empty catalogue. Why one cannot be parsed stands in the log alone: callers compare
// the text.
bool TqLibEmulator::withListedLibraries(
    const char* origin, const std::function<bool(const std::vector<std::string>&)>& work) {
  std::string path;
  if (!GetLibListFile(path)) {
    return false;
  }
  if (!isFilePresent(path)) {
    return true;
  }
  const ListedLibraries listed = readListedLibraries(path);
  if (listed.code == 0) {
    return work(listed.ids);
  }
  if (!listed.reason.empty()) {
    EvDebug::Error(debugHandler, origin, "%s: %s", path.c_str(), listed.reason.c_str());
  }
  report(origin, "%s", listed.problem.c_str());
  m_nErrorCode = listed.code;
  return false;
}

// The files of the catalogue: their names, loading and saving.

#include <climits>

#include "TqLibEmulator.h"
#include "files/CatalogueLock.h"
#include "files/Documents.h"
#include "catalogue/ErrorCodes.h"
#include "files/SavedDocument.h"
#include "files/Names.h"
#include "files/ParsedFile.h"

namespace {

constexpr char kObstacleOrigin[] = "PairedSave::complete";

/// Whether the library's file can have this name, one component of a path.
bool isUsableKey(const std::string& key, const std::string& fileName) {
  return key != "." && key != ".." && key.find('/') == std::string::npos &&
         key.find('\0') == std::string::npos && fileName.size() <= NAME_MAX;
}

/// Why an operation that changes something must not do so with a file; empty when it may.
std::string obstacleTo(const std::string& directory, const std::string& fileName) {
  const CatalogueLock* const lock = CatalogueLock::current();
  return lock == nullptr ? "" : lock->obstacleTo(directory, fileName);
}

}  // namespace

bool TqLibEmulator::GetLibListFile(std::string& path) {
  if (!GetMeridianInstallDir(path)) {
    const CatalogueLock* const lock = CatalogueLock::current();
    if (lock == nullptr || !lock->isRefused()) {
      setErrorText("No catalogue directory %s", path.c_str());
    }
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  const std::string obstacle = obstacleTo(path, names::listFile);
  if (!obstacle.empty()) {
    report(kObstacleOrigin, "%s", obstacle.c_str());
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  path += names::listFile;
  return true;
}

// Where nothing is configured, the directory is made from what the path was; one that stayed after
// a failure would grow with each of them.
bool TqLibEmulator::GetLibFileName(const std::string& name, std::string& path) {
  const std::string fileName = getLibXMLFile(name);
  if (!isUsableKey(name, fileName)) {
    report("TqLibEmulator::GetLibFileName", "Library name %s cannot be part of a file name",
           name.c_str());
    return false;
  }
  std::string directory = path;
  if (!GetMeridianInstallDir(directory)) {
    return false;
  }
  const std::string obstacle = obstacleTo(directory, fileName);
  if (!obstacle.empty()) {
    report(kObstacleOrigin, "%s", obstacle.c_str());
    return false;
  }
  path = directory + fileName;
  return true;
}

std::string TqLibEmulator::getLibXMLFile(const std::string& name) {
  return names::fileOf(name);
}

bool TqLibEmulator::loadDocument() {
  static constexpr char kOrigin[] = "TqLibEmulator::loadDocument";
  m_pLibDoc = nullptr;
  delete m_pLibParser;
  m_pLibParser = nullptr;
  try {
    ParsedFile file = parseFile(m_sLibFile);
    if (!file.error.empty()) {
      m_nErrorCode = codes::cannotParse;
      report(kOrigin, "An error occurred during parsing document %s. Error Message: %s",
             m_sLibFile.c_str(), file.error.c_str());
      return false;
    }
    m_pLibDoc = file.document();
    m_pLibParser = file.parser.release();
    return m_pLibDoc != nullptr;
  } catch (...) {
    EvDebug::Error(debugHandler, kOrigin, "An error occurred during parsing.");
    return false;
  }
}

bool TqLibEmulator::hasDocument(const char* origin, const std::string& libraryName) {
  if (m_pLibDoc != nullptr) {
    return true;
  }
  report(origin, "No XML Files %s for Library %s", m_sLibFile.c_str(),
         getLibXMLFile(libraryName).c_str());
  m_nErrorCode = codes::noXmlFile;
  return false;
}

xercesc::DOMElement* TqLibEmulator::rootOrReport(const char* origin,
                                                 const std::string& libraryName) {
  if (!hasDocument(origin, libraryName)) {
    return nullptr;
  }
  xercesc::DOMElement* root = rootOf(m_pLibDoc);
  if (root == nullptr) {
    report(origin, "No root element found in XML Files %s for Library %s", m_sLibFile.c_str(),
           getLibXMLFile(libraryName).c_str());
    m_nErrorCode = codes::noXmlFile;
  }
  return root;
}

xercesc::DOMElement* TqLibEmulator::singleLibraryOrReport(const char* origin) {
  xercesc::DOMElement* library = singleLibrary(m_pLibDoc);
  if (library == nullptr) {
    reportNoSingleLibrary(origin);
  }
  return library;
}

// A file without any library is told as holding more than one: operators know the message.
void TqLibEmulator::reportNoSingleLibrary(const char* origin) {
  report(origin, "More than one library node in XML Files %s", m_sLibFile.c_str());
}

bool TqLibEmulator::ensureLoaded() {
  m_bLibLoaded = m_bLibLoaded || loadDocument();
  return m_bLibLoaded;
}

// The parser is dropped with the next load; its pool goes now, for the whole catalogue may follow.
void TqLibEmulator::dropLibrary() {
  m_pLibDoc = nullptr;
  if (m_pLibParser != nullptr) {
    m_pLibParser->resetDocumentPool();
  }
  m_bLibLoaded = false;
}

// True also when the file could not be written: the result has always said only whether there is a
// serialiser. What is on disk is then still the old file, and saveError() says why.
bool TqLibEmulator::saveDocument(xercesc::DOMNode* node, const std::string& path) {
  return SavedDocument{node, path}.save(m_saveError);
}

bool TqLibEmulator::saveDocument(xercesc::DOMNode* node) {
  if (!saveDocument(node, m_sLibFile)) {
    return false;
  }
  m_bLibModified = false;
  return true;
}

// If the two cannot be saved as one, the order matters. Should the machine stop in between, a new
// library that comes first is merely not listed yet, where an entry without a file would fail every
// query over all libraries; and a library that leaves the list first can be removed again.
void TqLibEmulator::saveWithList(const std::string& listPath, FirstSaved first) {
  if (m_pLibDoc == nullptr || m_pListDoc == nullptr) {
    return;
  }
  const auto existing = [](const OwnedDocument& created) {
    return created == nullptr ? Existing::Replaced : Existing::Kept;
  };
  const SavedDocument library{m_pLibDoc, m_sLibFile, existing(m_newLibDoc)};
  const SavedDocument list{m_pListDoc, listPath, existing(m_newListDoc)};
  std::string error;
  if (first == FirstSaved::Library) {
    SavedDocument::savePair(library, list, error);
  } else {
    SavedDocument::savePair(list, library, error);
  }
  if (error.empty()) {
    m_bLibModified = false;
  } else {
    m_saveError = error;
  }
}

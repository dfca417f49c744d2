// The files of the catalogue: their names, loading and saving.

#include <climits>
#include <string_view>

#include "TqLibEmulator.h"
#include "catalogue/CatalogueLock.h"
#include "catalogue/Documents.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/Names.h"
#include "catalogue/PairedSave.h"
#include "catalogue/ParsedFile.h"
#include "catalogue/ReplacedFile.h"
#include "catalogue/Serialise.h"

namespace {

/// Whether the library's file can have this name, one component of a path.
bool isUsableKey(const std::string& key, const std::string& fileName) {
  return key != "." && key != ".." && key.find('/') == std::string::npos &&
         key.find('\0') == std::string::npos && fileName.size() <= NAME_MAX;
}

std::string_view bytesOf(const xercesc::MemBufFormatTarget& target) {
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}

/// Callers are not told of a failed save, so the log has to.
void logFailedSave(const ReplacedFile& file, const std::string& reason) {
  EvDebug::Error(debugHandler, "TqLibEmulator::saveDocument",
                 "Failed to save document %s, error: %s", file.path().c_str(), reason.c_str());
}

}  // namespace

bool TqLibEmulator::GetLibListFile(std::string& path) {
  if (!GetMeridianInstallDir(path)) {
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
  std::string directory = path;
  if (!isUsableKey(name, fileName) || !GetMeridianInstallDir(directory)) {
    return false;
  }
  path = directory + fileName;
  return true;
}

std::string TqLibEmulator::getLibXMLFile(const std::string& name) {
  return names::libraryPrefix + name + names::fileSuffix;
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

// True also when the file could not be written: callers have always been told only whether there
// is a serialiser. What is on disk is then still the old file.
bool TqLibEmulator::saveDocument(xercesc::DOMNode* node, const std::string& path) {
  if (node == nullptr) {
    return false;
  }
  const auto content = serialise(*node);
  if (content == nullptr) {
    return false;
  }
  removeLeftOvers();
  ReplacedFile file(path);
  if (!file.prepare(bytesOf(*content)) || !file.commit()) {
    logFailedSave(file, file.error());
  }
  return true;
}

bool TqLibEmulator::saveDocument(xercesc::DOMNode* node) {
  if (!saveDocument(node, m_sLibFile)) {
    return false;
  }
  m_bLibModified = false;
  return true;
}

// Where the two cannot be saved as one, the order counts. Should the machine stop in between, a new
// library that comes first is merely not listed yet, where an entry without a file would fail every
// query over all libraries; and a library that leaves the list first can be removed again.
void TqLibEmulator::saveWithList(const std::string& listPath, FirstSaved first) {
  if (m_pLibDoc == nullptr || m_pListDoc == nullptr) {
    return;
  }
  const auto library = serialise(*m_pLibDoc);
  const auto list = serialise(*m_pListDoc);
  if (library == nullptr || list == nullptr) {
    return;
  }
  removeLeftOvers();
  ReplacedFile libraryFile(m_sLibFile);
  ReplacedFile listFile(listPath);
  if (!libraryFile.prepare(bytesOf(*library))) {
    logFailedSave(libraryFile, libraryFile.error());
    return;
  }
  if (!listFile.prepare(bytesOf(*list))) {
    logFailedSave(listFile, listFile.error());
    return;
  }
  PairedSave both = first == FirstSaved::Library ? PairedSave(libraryFile, listFile)
                                                 : PairedSave(listFile, libraryFile);
  if (!both.commit()) {
    logFailedSave(libraryFile.error().empty() ? listFile : libraryFile, both.error());
    return;
  }
  m_bLibModified = false;
}

void TqLibEmulator::removeLeftOvers() {
  if (m_pCatalogueLock != nullptr) {
    m_pCatalogueLock->removeLeftOvers();
  }
}

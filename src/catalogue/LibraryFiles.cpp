// The files of the catalogue: finds their paths, loads a library, saves a document.

#include <climits>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "common/Log.h"
#include "files/CatalogueLock.h"
#include "files/Names.h"
#include "files/ParsedFile.h"
#include "files/SavedDocument.h"

namespace {

constexpr char kObstacleOrigin[] = "PairedSave::complete";

/// Whether the key and the file name are usable as one path component.
bool isUsableKey(const std::string& key, const std::string& fileName) {
  return key != "." && key != ".." && key.find('/') == std::string::npos &&
         key.find('\0') == std::string::npos && fileName.size() <= NAME_MAX;
}

/// Why the running operation must not change a file; empty when it may, and in a query.
std::string obstacleTo(const std::string& directory, const std::string& fileName) {
  const CatalogueLock* const lock = CatalogueLock::current();
  return lock == nullptr ? "" : lock->obstacleTo(directory, fileName);
}

}  // namespace

bool TqLibEmulator::GetLibListFile(std::string& path) {
  if (!GetMeridianInstallDir(path)) {
    const CatalogueLock* const lock = CatalogueLock::current();
    if (lock == nullptr || !lock->isRefused()) {
      ErrorRecord(m_nErrorCode, m_szErrorText).setText("No catalogue directory %s", path.c_str());
    }
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  const std::string obstacle = obstacleTo(path, names::listFile);
  if (!obstacle.empty()) {
    ErrorRecord(m_nErrorCode, m_szErrorText).report(kObstacleOrigin, "%s", obstacle.c_str());
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  path += names::listFile;
  return true;
}

// If nothing is configured, the present path becomes a part of the directory. Therefore `path` is
// unchanged after a failure; else it would grow with each failed call.
bool TqLibEmulator::GetLibFileName(const std::string& name, std::string& path) {
  const std::string fileName = getLibXMLFile(name);
  if (!isUsableKey(name, fileName)) {
    ErrorRecord(m_nErrorCode, m_szErrorText)
        .report("TqLibEmulator::GetLibFileName", "Library name %s cannot be part of a file name",
                name.c_str());
    return false;
  }
  std::string directory = path;
  if (!GetMeridianInstallDir(directory)) {
    return false;
  }
  const std::string obstacle = obstacleTo(directory, fileName);
  if (!obstacle.empty()) {
    ErrorRecord(m_nErrorCode, m_szErrorText).report(kObstacleOrigin, "%s", obstacle.c_str());
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
      ErrorRecord(m_nErrorCode, m_szErrorText)
          .report(kOrigin, "An error occurred during parsing document %s. Error Message: %s",
                  m_sLibFile.c_str(), file.error.c_str());
      return false;
    }
    m_pLibDoc = file.document();
    m_pLibParser = file.parser.release();
    return m_pLibDoc != nullptr;
  } catch (...) {
    logError(kOrigin, "An error occurred during parsing.");
    return false;
  }
}

// True also when the file could not be written: the result has always meant only that there is a
// serialiser. The old file is then unchanged, and saveError() says why.
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

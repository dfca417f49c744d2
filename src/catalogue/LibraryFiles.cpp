// The files of the catalogue: their names, loading and saving.

#include "catalogue/LibraryFiles.h"

#include <climits>
#include <string_view>

#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "TqLibEmulator.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/Names.h"
#include "catalogue/ParsedFile.h"
#include "catalogue/ReplacedFile.h"
#include "catalogue/XmlMemory.h"

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
void logFailedSave(const std::string& path, const std::string& reason) {
  EvDebug::Error(debugHandler, "TqLibEmulator::saveDocument",
                 "Failed to save document %s, error: %s", path.c_str(), reason.c_str());
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

bool TqLibEmulator::GetLibFileName(const std::string& name, std::string& path) {
  const std::string fileName = getLibXMLFile(name);
  if (!isUsableKey(name, fileName) || !GetMeridianInstallDir(path)) {
    return false;
  }
  path += fileName;
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
  xercesc::DOMElement* root = m_pLibDoc->getDocumentElement();
  if (root == nullptr) {
    report(origin, "No root element found in XML Files %s for Library %s", m_sLibFile.c_str(),
           getLibXMLFile(libraryName).c_str());
    m_nErrorCode = codes::noXmlFile;
  }
  return root;
}

// The parser is dropped with the next load; its pool goes now, for the whole catalogue may follow.
void TqLibEmulator::dropLibrary() {
  m_pLibDoc = nullptr;
  if (m_pLibParser != nullptr) {
    m_pLibParser->resetDocumentPool();
  }
  m_bLibLoaded = false;
}

namespace {

/// Leaves out the indentation of an earlier save: written again, that of removed elements would
/// pile up. White space that is the whole text of an element is a value and stays.
class WithoutIndentation : public xercesc::DOMLSSerializerFilter {
public:
  FilterAction acceptNode(const xercesc::DOMNode* text) const override {
    const XMLCh* value = text->getNodeValue();
    const bool isIndentation =
        xercesc::XMLChar1_0::isAllSpaces(value, xercesc::XMLString::stringLen(value)) &&
        (text->getNextSibling() != nullptr || text->getPreviousSibling() != nullptr);
    return isIndentation ? FILTER_REJECT : FILTER_ACCEPT;
  }
  ShowType getWhatToShow() const override { return xercesc::DOMNodeFilter::SHOW_TEXT; }
};

}  // namespace

std::unique_ptr<xercesc::MemBufFormatTarget> serialise(const xercesc::DOMNode& node) {
  auto* implementation = dynamic_cast<xercesc::DOMImplementationLS*>(
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
  if (implementation == nullptr) {
    return nullptr;
  }
  const XmlOwner<xercesc::DOMLSSerializer> writer(implementation->createLSSerializer());
  const XmlOwner<xercesc::DOMLSOutput> output(implementation->createLSOutput());
  auto target = std::make_unique<xercesc::MemBufFormatTarget>();
  WithoutIndentation filter;
  writer->setFilter(&filter);
  writer->setNewLine(u"\n");
  xercesc::DOMConfiguration* settings = writer->getDomConfig();
  if (settings->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
    settings->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  }
  output->setEncoding(xercesc::XMLUni::fgUTF8EncodingString);
  output->setByteStream(target.get());
  if (!writer->write(&node, output.get())) {
    throw std::runtime_error("The document cannot be written as XML");
  }
  return target;
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
  ReplacedFile file(path);
  if (!file.prepare(bytesOf(*content)) || !file.commit()) {
    logFailedSave(path, file.error());
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

// Both files are on the disk before either takes its place. Should the machine stop in between, a
// new library that comes first is merely not listed yet, where an entry without a file would fail
// every query over all libraries; and a library that leaves the list first can be removed again.
void TqLibEmulator::saveWithList(const std::string& listPath, FirstSaved first) {
  if (m_pLibDoc == nullptr || m_pListDoc == nullptr) {
    return;
  }
  const auto library = serialise(*m_pLibDoc);
  const auto list = serialise(*m_pListDoc);
  if (library == nullptr || list == nullptr) {
    return;
  }
  ReplacedFile libraryFile(m_sLibFile);
  ReplacedFile listFile(listPath);
  const bool isLibraryFirst = first == FirstSaved::Library;
  ReplacedFile& earlier = isLibraryFirst ? libraryFile : listFile;
  ReplacedFile& later = isLibraryFirst ? listFile : libraryFile;
  if (!libraryFile.prepare(bytesOf(*library)) || !listFile.prepare(bytesOf(*list)) ||
      !earlier.commit()) {
    const bool isLibrary = !libraryFile.error().empty();
    logFailedSave(isLibrary ? m_sLibFile : listPath,
                  isLibrary ? libraryFile.error() : listFile.error());
    return;
  }
  if (!later.commit()) {
    if (isLibraryFirst) {
      // Without its entry the library could not be made again: its file would be in the way.
      libraryFile.remove();
    }
    logFailedSave(isLibraryFirst ? listPath : m_sLibFile, later.error());
    return;
  }
  m_bLibModified = false;
}

// The catalogue object: its life, its runtime and its error record.

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"
#include "catalogue/CatalogueLock.h"
#include "catalogue/PairedSave.h"
#include "common/XercesObject.h"

namespace {
// What m_sLibFile holds before the first library is named. Never opened: it is only the text that
// the directory look-up falls back to when nothing at all is configured.
constexpr char kSamplePath[] = "E:\\XMLSamples\\TempFile.xml";

constexpr int kEventVersion = 1;
constexpr unsigned kEventComponent = 0x710D70D1;
}  // namespace

TqLibEmulator::TqLibEmulator()
    : m_pLibParser(nullptr),
      m_pListParser(nullptr),
      m_pLibDoc(nullptr),
      m_pListDoc(nullptr),
      m_pCatalogueLock(nullptr),
      m_bInitialized(false),
      m_bLibLoaded(false),
      m_bListLoaded(false),
      m_bLibModified(false),
      m_bListModified(false),
      m_sLibFile(kSamplePath) {}

TqLibEmulator::~TqLibEmulator() {
  deInit();
  releaseDocuments();
}

void TqLibEmulator::init() {
  EvEvent::initialize(kEventVersion, kEventComponent, 0, nullptr, "");
}

bool TqLibEmulator::initXerces() {
  try {
    XercesObject::instance().Init();
    return true;
  } catch (const xercesc::XMLException& problem) {
    EvDebug::Error(debugHandler, "TqLibEmulator::initXerces",
                   "Error during Xerces-c Initialization. Error Message %s",
                   MyTranscode(problem.getMessage()).c_str());
    return false;
  }
}

// An earlier operation may have left the modified flags raised; they would have this one save a
// document that it did not change, or that it changed in part and gave up.
void TqLibEmulator::start() {
  if (m_bInitialized) {
    return;
  }
  init();
  initXerces();
  m_bInitialized = true;
  m_bLibModified = false;
  m_bListModified = false;
}

// The modified flags keep their values until the next start, and the path until the next library.
// The documents die with their parsers, so their pointers go too.
void TqLibEmulator::deInit() {
  if (!m_bInitialized) {
    return;
  }
  releaseDocuments();
  m_bInitialized = false;
  m_bLibLoaded = false;
  m_bListLoaded = false;
}

void TqLibEmulator::releaseDocuments() {
  m_pLibDoc = nullptr;
  m_pListDoc = nullptr;
  m_newLibDoc.reset();
  m_newListDoc.reset();
  delete m_pLibParser;
  delete m_pListParser;
  m_pLibParser = nullptr;
  m_pListParser = nullptr;
}

// Names and paths in a message come from files and callers, and may be of any length.
void TqLibEmulator::setErrorText(const char* format, ...) {
  va_list values;
  va_start(values, format);
  std::vsnprintf(m_szErrorText, sizeof m_szErrorText, format, values);
  va_end(values);
}

void TqLibEmulator::report(const char* origin, const char* format, ...) {
  va_list values;
  va_start(values, format);
  std::vsnprintf(m_szErrorText, sizeof m_szErrorText, format, values);
  va_end(values);
  EvDebug::Error(debugHandler, origin, "%s", m_szErrorText);
}

// Despite its name it yields the catalogue directory, not that of an installation; callers rely
// on it. Every path of the catalogue comes from here, so here an operation that changes something
// waits until it has the catalogue for itself, before it looks at any file.
bool TqLibEmulator::GetMeridianInstallDir(std::string& dir) {
  return TqLibEmlFile::GetTQLibEMLXMLDir(dir) != 0 && holdCatalogue(dir);
}

// What a process that died left half done is completed first. An operation that only reads does so
// as well, but waits for nobody: it reads what there is.
bool TqLibEmulator::holdCatalogue(const std::string& dir) {
  static constexpr char kOrigin[] = "TqLibEmulator::holdCatalogue";
  std::string problem;
  if (m_pCatalogueLock == nullptr) {
    CatalogueLock lock(std::chrono::milliseconds(0));
    if (PairedSave::isPending(dir) && lock.take(dir) && lock.holds(dir) &&
        !PairedSave::complete(dir, problem)) {
      EvDebug::Error(debugHandler, kOrigin, "%s", problem.c_str());
    }
    return true;
  }
  if (m_pCatalogueLock->has(dir) ||
      (m_pCatalogueLock->take(dir) && PairedSave::complete(dir, problem))) {
    return true;
  }
  report(kOrigin, "%s", problem.empty() ? m_pCatalogueLock->error().c_str() : problem.c_str());
  return false;
}

// A file that cannot be asked for counts as there: taken for absent, it would be made anew, and
// what is in it would be lost.
bool TqLibEmulator::isFilePresent(const std::string& path) {
  const CNuError error = CNuUTFOSAPI::access(path.c_str(), 0);
  const int code = error.GetErrorCode();
  if (code != 0 && code != ENOENT && code != ENOTDIR) {
    EvDebug::Error(debugHandler, "TqLibEmulator::isFilePresent", "Failed to look for %s, error: %s",
                   path.c_str(), error.AsString().c_str());
  }
  return code != ENOENT && code != ENOTDIR;
}

// The catalogue object: its life, its runtime and its error record.

#include <cstdarg>
#include <cstdio>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "files/CatalogueLock.h"
#include "catalogue/OperationCycle.h"
#include "common/NoCancel.h"
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
bool TqLibEmulator::start() {
  if (m_bInitialized) {
    return true;
  }
  init();
  if (!initXerces()) {
    return false;
  }
  m_bInitialized = true;
  m_bLibModified = false;
  m_bListModified = false;
  return true;
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
// on it. Every path of the catalogue comes from here, so here a changing operation takes the lock,
// before it looks at any file.
bool TqLibEmulator::GetMeridianInstallDir(std::string& dir) {
  CatalogueLock* const lock = CatalogueLock::current();
  return TqLibEmlFile::GetTQLibEMLXMLDir(dir) != 0 && (lock == nullptr || lock->take(dir));
}

bool TqLibEmulator::isFilePresent(const std::string& path) {
  return TqLibEmlFile::IsFilePresent(path);
}

std::string TqLibEmulator::saveError() const {
  const NoCancel untilTheCallReturns;
  const TqCriticalSectionLock threads(&gCriticalSection);
  return m_saveError;
}

bool TqLibEmulator::ChangeCatalogue(const std::function<bool()>& steps) {
  const NoCancel untilTheCallReturns;
  const CycleTerms terms{"TqLibEmulator::ChangeCatalogue", Access::Changes, Exceptions::PassedOn};
  return OperationCycle(*this, terms).locked([&] {
    std::string directory = m_sLibFile;  // as for a library, which needs a configured directory
    if (!GetMeridianInstallDir(directory)) {
      return false;
    }
    CatalogueLock::current()->makeFinal();  // the steps must not run again
    return steps();
  });
}

// The catalogue object: its life, its runtime and its error record.

#include <utility>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "catalogue/OperationCycle.h"
#include "common/NoCancel.h"
#include "common/XercesObject.h"
#include "files/CatalogueLock.h"
#include "files/XmlMemory.h"

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
      m_sLibFile(kSamplePath),
      m_pNewLibDoc(nullptr),
      m_pNewListDoc(nullptr) {}

TqLibEmulator::~TqLibEmulator() {
  m_bInitialized = true;  // documents may have been loaded without a start
  deInit();
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

// The modified flags keep their values until the next start, and the path until the next library.
// The documents die with their parsers, so their pointers go too.
void TqLibEmulator::deInit() {
  if (!m_bInitialized) {
    return;
  }
  m_pLibDoc = nullptr;
  m_pListDoc = nullptr;
  XmlOwner<xercesc::DOMDocument>(std::exchange(m_pNewLibDoc, nullptr)).reset();
  XmlOwner<xercesc::DOMDocument>(std::exchange(m_pNewListDoc, nullptr)).reset();
  delete std::exchange(m_pLibParser, nullptr);
  delete std::exchange(m_pListParser, nullptr);
  m_bInitialized = false;
  m_bLibLoaded = false;
  m_bListLoaded = false;
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

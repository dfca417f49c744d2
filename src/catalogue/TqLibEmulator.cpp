// The catalogue object: construction, XML runtime, release of its documents, and ChangeCatalogue().

#include <utility>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "catalogue/OperationCycle.h"
#include "common/NoCancel.h"
#include "common/XercesObject.h"
#include "files/CatalogueLock.h"
#include "files/Documents.h"

namespace {
// The initial value of m_sLibFile. It is never opened. The directory look-up only uses it as a
// default when nothing is configured.
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
  m_bInitialized = true;  // deInit() must also free documents that were loaded without a start
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

// The modified flags keep their values until the next start, the path until the next library.
// Parsed documents are freed with their parsers, so the pointers to them are cleared.
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

// Despite its name, this returns the catalogue directory, not an installation directory. All paths
// of the catalogue come from here, so a changing operation takes its lock here, before it accesses
// any file.
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
    std::string directory = m_sLibFile;  // the same default as for a library file
    if (!GetMeridianInstallDir(directory)) {
      return false;
    }
    CatalogueLock::current()->makeFinal();  // the steps must not run again
    return steps();
  });
}

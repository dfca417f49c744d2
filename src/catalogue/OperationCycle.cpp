#include "catalogue/OperationCycle.h"

#include "TqLibEmulator.h"
#include "catalogue/XmlText.h"

namespace {
constexpr char kAnyLogged[] = "An error occurred during parsing.";
constexpr char kAnyReported[] = "An Exception error occurred during parsing.";
}  // namespace

bool OperationCycle::inFrame(const Work& work) {
  const TqCriticalSectionLock lock(&gCriticalSection);
  if (!m_emulator.m_bInitialized) {
    m_emulator.init();
    m_emulator.initXerces();
    m_emulator.m_bInitialized = true;
    // An earlier operation may have left them raised; they would have this one save a document
    // that it did not change, or that it changed in part and gave up.
    m_emulator.m_bLibModified = false;
    m_emulator.m_bListModified = false;
  }
  struct Release {
    TqLibEmulator& emulator;
    ~Release() { emulator.deInit(); }
  } const release{m_emulator};
  return m_terms.exceptions == Exceptions::PassedOn ? work() : caught(work);
}

bool OperationCycle::onLibrary(const std::string& libraryName, const Work& work) {
  return inFrame([&] {
    if (!m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile) || !load(libraryName) ||
        !work()) {
      return false;
    }
    if (m_emulator.m_bLibModified) {
      m_emulator.saveDocument(m_emulator.m_pLibDoc);
    }
    return true;
  });
}

bool OperationCycle::load(const std::string& libraryName) {
  if (!m_emulator.m_bLibLoaded) {
    m_emulator.m_bLibLoaded = m_emulator.loadDocument();
  }
  if (!m_emulator.m_bLibLoaded && m_terms.reportsFailedLoad) {
    m_emulator.report(m_terms.origin, "Failed to Load XML Document %s for Library %s",
                      m_emulator.m_sLibFile.c_str(), libraryName.c_str());
  }
  return m_emulator.m_bLibLoaded;
}

bool OperationCycle::caught(const Work& work) {
  const bool reported = m_terms.exceptions == Exceptions::Reported;
  try {
    return work();
  } catch (const xercesc::XMLException& problem) {
    tell(reported ? "An XMLException error occurred during parsing. Error Message: " +
                        MyTranscode(problem.getMessage())
                  : std::string(kAnyLogged));
  } catch (const xercesc::DOMException& problem) {
    tell("A DOMException error occurred during parsing. Error Code: " +
         std::to_string(problem.code));
  } catch (const InvalidText& problem) {
    // The caller's text is at fault, which the general words below would not tell.
    tell(problem.what());
    tell(reported ? kAnyReported : kAnyLogged);
  } catch (...) {
    tell(reported ? kAnyReported : kAnyLogged);
  }
  return false;
}

void OperationCycle::tell(const std::string& message) {
  if (m_terms.exceptions == Exceptions::Reported) {
    m_emulator.report(m_terms.origin, "%s", message.c_str());
  } else {
    EvDebug::Error(debugHandler, m_terms.origin, "%s", message.c_str());
  }
}

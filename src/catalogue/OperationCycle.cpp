#include "catalogue/OperationCycle.h"

#include <new>
#include <stdexcept>

#include <xercesc/util/OutOfMemoryException.hpp>

#include "TqLibEmulator.h"
#include "catalogue/CatalogueLock.h"
#include "catalogue/XmlText.h"

namespace {
const std::string kXmlException = "An XMLException error occurred during parsing. Error Message: ";
const std::string kDomException = "A DOMException error occurred during parsing. Error Code: ";
constexpr char kAnyLogged[] = "An error occurred during parsing.";
constexpr char kAnyReported[] = "An Exception error occurred during parsing.";
}  // namespace

/// The catalogue's lock of an operation. One inside another works under the outer one's.
class OperationCycle::Hold {
public:
  Hold(TqLibEmulator& emulator, Access access)
      : m_emulator(emulator),
        m_isOwner(access == Access::Changes && emulator.m_pCatalogueLock == nullptr) {
    if (m_isOwner) {
      m_emulator.m_pCatalogueLock = &m_lock;
    }
  }
  ~Hold() {
    if (m_isOwner) {
      m_emulator.m_pCatalogueLock = nullptr;
    }
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

private:
  TqLibEmulator& m_emulator;
  const bool m_isOwner;
  CatalogueLock m_lock;
};

bool OperationCycle::inFrame(const Work& work) {
  const TqCriticalSectionLock lock(&gCriticalSection);
  const Hold hold(m_emulator, m_terms.access);
  m_emulator.start();
  struct Release {
    TqLibEmulator& emulator;
    ~Release() { emulator.deInit(); }
  } const release{m_emulator};
  return guarded(work);
}

bool OperationCycle::onLibrary(const std::string& libraryName, const Work& work) {
  return inFrame([&] {
    if (!withLibrary(libraryName, work)) {
      return false;
    }
    if (m_emulator.m_bLibModified) {
      m_emulator.saveDocument(m_emulator.m_pLibDoc);
    }
    return true;
  });
}

bool OperationCycle::withLibrary(const std::string& libraryName, const Work& work) {
  return guarded([&] {
    m_emulator.start();
    return m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile) && load(libraryName) &&
           work();
  });
}

bool OperationCycle::withFile(const std::string& path, const Work& work) {
  return guarded([&] {
    m_emulator.start();
    m_emulator.m_sLibFile = path;
    return m_emulator.holdCatalogue(".") && load(path) && work();
  });
}

bool OperationCycle::load(const std::string& libraryName) {
  if (m_terms.missingFile == MissingFile::Fails &&
      !m_emulator.isFilePresent(m_emulator.m_sLibFile)) {
    return false;
  }
  const bool isLoaded = m_emulator.ensureLoaded();
  if (!isLoaded && m_terms.missingFile == MissingFile::IsReported) {
    m_emulator.report(m_terms.origin, "Failed to Load XML Document %s for Library %s",
                      m_emulator.m_sLibFile.c_str(), libraryName.c_str());
  }
  return isLoaded;
}

bool OperationCycle::guarded(const Work& work) {
  if (m_terms.exceptions == Exceptions::PassedOn) {
    return passingOn(work);
  }
  const bool reported = m_terms.exceptions == Exceptions::Reported;
  try {
    return work();
  } catch (const xercesc::XMLException& problem) {
    tell(reported ? kXmlException + MyTranscode(problem.getMessage()) : kAnyLogged);
  } catch (const xercesc::DOMException& problem) {
    tell(kDomException + std::to_string(problem.code));
  } catch (const InvalidText& problem) {
    // The caller's text is at fault, which the general words below would not tell.
    tell(problem.what());
    tell(reported ? kAnyReported : kAnyLogged);
  } catch (...) {
    tell(reported ? kAnyReported : kAnyLogged);
  }
  return false;
}

/// Callers do not know the XML library's exceptions, which are no std::exception.
bool OperationCycle::passingOn(const Work& work) {
  try {
    return work();
  } catch (const xercesc::OutOfMemoryException&) {
    throw std::bad_alloc();
  } catch (const xercesc::DOMException& problem) {
    throw std::runtime_error(kDomException + std::to_string(problem.code));
  } catch (const xercesc::XMLException& problem) {
    throw std::runtime_error(kXmlException + MyTranscode(problem.getMessage()));
  }
}

void OperationCycle::tell(const std::string& message) {
  if (m_terms.exceptions == Exceptions::Reported) {
    m_emulator.report(m_terms.origin, "%s", message.c_str());
  } else {
    EvDebug::Error(debugHandler, m_terms.origin, "%s", message.c_str());
  }
}

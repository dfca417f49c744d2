#include "catalogue/OperationCycle.h"

#include <new>
#include <stdexcept>

#include <xercesc/util/OutOfMemoryException.hpp>

#include "TqLibEmulator.h"
#include "files/CatalogueLock.h"
#include "files/XmlText.h"
#include "common/NoCancel.h"

namespace {
const std::string kXmlException = "An XMLException error occurred during parsing. Error Message: ";
const std::string kDomException = "A DOMException error occurred during parsing. Error Code: ";
constexpr char kLockOrigin[] = "CatalogueLock::take";
constexpr char kAnyLogged[] = "An error occurred during parsing.";
constexpr char kAnyReported[] = "An Exception error occurred during parsing.";
}  // namespace

bool OperationCycle::inFrame(const Work& work) {
  const NoCancel untilTheCallReturns;
  const auto framed = [&] { return this->framed(work); };
  if (m_terms.access == Access::Changes) {
    return locked(framed);
  }
  const TqCriticalSectionLock threads(&gCriticalSection);
  return framed();
}

// Only an attempt that has all its locks saves anything, so one that was refused a lock can be made
// again from the start. Its error code is that of a missing directory, which is not true.
bool OperationCycle::locked(const Work& work) {
  CatalogueLock catalogue;
  do {
    const TqCriticalSectionLock threads(&gCriticalSection);
    m_emulator.m_saveError.clear();
    if (CatalogueLock::current() != nullptr) {
      return nested(*CatalogueLock::current(), work);
    }
    const CatalogueLock::Attempt attempt(catalogue);
    if (catalogue.takeAgain()) {
      const int code = m_emulator.m_nErrorCode;
      const bool isDone = work();
      if (isDone || !catalogue.isRefused()) {
        return isDone;
      }
      m_emulator.m_nErrorCode = code;
    }
  } while (catalogue.wait());
  const TqCriticalSectionLock threads(&gCriticalSection);
  m_emulator.report(kLockOrigin, "%s", catalogue.error().c_str());
  return false;
}

// Inside another operation, under its lock. If that one can start again, it does.
bool OperationCycle::nested(CatalogueLock& outer, const Work& work) {
  const bool isDone = work();
  if (outer.isFinal() && outer.isRefused()) {
    m_emulator.report(kLockOrigin, "%s", outer.acceptRefusal().c_str());
  }
  return isDone;
}

bool OperationCycle::framed(const Work& work) {
  struct Release {
    TqLibEmulator& emulator;
    ~Release() { emulator.deInit(); }
  } const release{m_emulator};
  return guarded([&] { return m_emulator.start() && work(); });
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
    return m_emulator.start() && m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile) &&
           load(libraryName) && work();
  });
}

bool OperationCycle::withFile(const std::string& path, const Work& work) {
  return guarded([&] {
    if (!m_emulator.start()) {
      return false;
    }
    m_emulator.m_sLibFile = path;
    CatalogueLock* const lock = CatalogueLock::current();
    return (lock == nullptr || lock->take(".")) && load(path) && work();
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

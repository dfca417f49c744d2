// Runs an operation inside its locks and its exception handler. If a lock between processes is
// refused, the operation returns without saving, waits, and starts again.

#include "catalogue/OperationCycle.h"

#include <new>
#include <stdexcept>

#include <xercesc/util/OutOfMemoryException.hpp>

#include "catalogue/LibraryList.h"
#include "common/Log.h"
#include "common/NoCancel.h"
#include "files/CatalogueLock.h"
#include "files/Documents.h"
#include "files/Names.h"
#include "files/SavedDocument.h"
#include "files/XmlText.h"

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

// Only an attempt that has all its locks saves anything. Therefore an attempt that was refused a
// lock can start again. Its error code is restored: the attempt reports a missing directory, which
// is wrong.
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
  errors().report(kLockOrigin, "%s", catalogue.error().c_str());
  return false;
}

// The operation runs inside another one and uses its lock. If a lock is refused and the outer
// operation can start again, the outer one handles it.
bool OperationCycle::nested(CatalogueLock& outer, const Work& work) {
  outer.completeSaves();
  const bool isDone = work();
  if (outer.isFinal() && outer.isRefused()) {
    errors().report(kLockOrigin, "%s", outer.acceptRefusal().c_str());
  }
  return isDone;
}

bool OperationCycle::framed(const Work& work) {
  struct Release {
    TqLibEmulator& emulator;
    ~Release() { emulator.deInit(); }
  } const release{m_emulator};
  return guarded([&] { return start() && work(); });
}

bool OperationCycle::onLibrary(const std::string& libraryName, const Work& work) {
  return inFrame([&] {
    if (!withLibrary(libraryName, work)) {
      return false;
    }
    if (m_emulator.m_bLibModified) {
      save();
    }
    return true;
  });
}

bool OperationCycle::withLibrary(const std::string& libraryName, const Work& work) {
  return guarded([&] {
    return start() && m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile) &&
           load(libraryName) && work();
  });
}

bool OperationCycle::withFile(const std::string& path, const Work& work) {
  return guarded([&] {
    if (!start()) {
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
  const bool isLoaded = ensureLoaded();
  if (!isLoaded && m_terms.missingFile == MissingFile::IsReported) {
    errors().report(m_terms.origin, "Failed to Load XML Document %s for Library %s",
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
    logOrReport(reported ? kXmlException + MyTranscode(problem.getMessage()) : kAnyLogged);
  } catch (const xercesc::DOMException& problem) {
    logOrReport(kDomException + std::to_string(problem.code));
  } catch (const InvalidText& problem) {
    // Log the reason as well: the general message below does not say that the caller's text is
    // invalid.
    logOrReport(problem.what());
    logOrReport(reported ? kAnyReported : kAnyLogged);
  } catch (...) {
    logOrReport(reported ? kAnyReported : kAnyLogged);
  }
  return false;
}

/// Converts exceptions of Xerces-C++, which callers do not know, to exceptions derived from
/// std::exception.
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

void OperationCycle::logOrReport(const std::string& message) {
  if (m_terms.exceptions == Exceptions::Reported) {
    errors().report(m_terms.origin, "%s", message.c_str());
  } else {
    logError(m_terms.origin, message);
  }
}

// The modified flags are cleared: an earlier operation may have left them set, and then this one
// would save a document that it did not change or changed only in part.
bool OperationCycle::start() {
  if (m_emulator.m_bInitialized) {
    return true;
  }
  m_emulator.init();
  if (!m_emulator.initXerces()) {
    return false;
  }
  m_emulator.m_bInitialized = true;
  m_emulator.m_bLibModified = false;
  m_emulator.m_bListModified = false;
  return true;
}

bool OperationCycle::ensureLoaded() {
  m_emulator.m_bLibLoaded = m_emulator.m_bLibLoaded || m_emulator.loadDocument();
  return m_emulator.m_bLibLoaded;
}

// The parser is deleted by the next load. Its document is freed now, because the operation may load
// all libraries of the catalogue.
void OperationCycle::dropLibrary() {
  m_emulator.m_pLibDoc = nullptr;
  if (m_emulator.m_pLibParser != nullptr) {
    m_emulator.m_pLibParser->resetDocumentPool();
  }
  m_emulator.m_bLibLoaded = false;
}

void OperationCycle::setNewDocument(XmlOwner<xercesc::DOMDocument> document) {
  XmlOwner<xercesc::DOMDocument>(m_emulator.m_pNewLibDoc).reset();
  m_emulator.m_pNewLibDoc = document.release();
  m_emulator.m_pLibDoc = m_emulator.m_pNewLibDoc;
}

bool OperationCycle::hasDocumentOrReport(const std::string& libraryName) {
  if (document() != nullptr) {
    return true;
  }
  errors().report(m_terms.origin, "No XML Files %s for Library %s", path().c_str(),
                  names::fileOf(libraryName).c_str());
  errors().setCode(codes::noXmlFile);
  return false;
}

xercesc::DOMElement* OperationCycle::rootOrReport(const std::string& libraryName) {
  if (!hasDocumentOrReport(libraryName)) {
    return nullptr;
  }
  xercesc::DOMElement* root = rootOf(document());
  if (root == nullptr) {
    errors().report(m_terms.origin, "No root element found in XML Files %s for Library %s",
                    path().c_str(), names::fileOf(libraryName).c_str());
    errors().setCode(codes::noXmlFile);
  }
  return root;
}

xercesc::DOMElement* OperationCycle::singleLibraryOrReport() {
  xercesc::DOMElement* library = singleLibrary(document());
  if (library == nullptr) {
    reportNoSingleLibrary();
  }
  return library;
}

// A file without any library is reported with the same message as a file with several: operators
// know this message.
void OperationCycle::reportNoSingleLibrary() {
  errors().report(m_terms.origin, "More than one library node in XML Files %s", path().c_str());
}

// The order matters when the two files cannot be saved as one step and a crash comes between them.
// A new library is saved before the list: a library that is not listed is harmless, but an entry
// without a file makes every query for all libraries fail. A removal saves the list first: the
// removal can then be repeated.
void OperationCycle::saveWithList(const std::string& listPath, First first) {
  if (document() == nullptr || m_emulator.m_pListDoc == nullptr) {
    return;
  }
  const auto existing = [](const xercesc::DOMDocument* created) {
    return created == nullptr ? Existing::Replaced : Existing::Kept;
  };
  const SavedDocument library{document(), path(), existing(m_emulator.m_pNewLibDoc)};
  const SavedDocument list{m_emulator.m_pListDoc, listPath, existing(m_emulator.m_pNewListDoc)};
  std::string error;
  if (first == First::Library) {
    SavedDocument::savePair(library, list, error);
  } else {
    SavedDocument::savePair(list, library, error);
  }
  if (error.empty()) {
    m_emulator.m_bLibModified = false;
  } else {
    setSaveError(error);
  }
}

bool OperationCycle::saveRemoval() {
  const bool isLibraryChanged = isModified() && document() != nullptr;
  if (!m_emulator.m_bListModified || m_emulator.m_pListDoc == nullptr) {
    if (isLibraryChanged) {
      save();
    }
    return true;
  }
  std::string listPath;
  if (!m_emulator.GetLibListFile(listPath)) {
    return false;
  }
  if (isLibraryChanged) {
    saveWithList(listPath, First::List);
  } else {
    m_emulator.saveDocument(m_emulator.m_pListDoc, listPath);
  }
  m_emulator.m_bListLoaded = false;
  return true;
}

// The reason why a list cannot be parsed is only logged: callers compare the last-error text.
bool OperationCycle::withListedLibraries(
    const std::function<bool(const std::vector<std::string>&)>& work) {
  std::string listPath;
  if (!m_emulator.GetLibListFile(listPath)) {
    return false;
  }
  if (!m_emulator.isFilePresent(listPath)) {
    return true;
  }
  const ListedLibraries listed = readListedLibraries(listPath);
  if (listed.code == 0) {
    return work(listed.ids);
  }
  if (!listed.reason.empty()) {
    logError(m_terms.origin, listPath + ": " + listed.reason);
  }
  errors().report(m_terms.origin, "%s", listed.problem.c_str());
  errors().setCode(listed.code);
  return false;
}

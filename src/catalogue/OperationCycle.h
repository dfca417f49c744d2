// The cycle of every public operation: lock, start, find the file, load, work, save, release. It
// handles the exceptions of all operations, and gives an operation access to the object's state.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "files/Documents.h"

class CatalogueLock;

/// How an operation handles an exception.
enum class Exceptions {
  Logged,    ///< log it; the operation fails
  Reported,  ///< log it and set the last-error text; the operation fails
  PassedOn   ///< throw it to the caller, derived from std::exception
};

/// How to handle a missing library file.
enum class MissingFile {
  FailsToLoad,  ///< the load fails without a message
  Fails,        ///< the operation fails before the load
  IsReported    ///< a failed load is reported, whatever its reason
};

/// Whether the operation may save. If so, it holds the lock between processes until it returns.
/// Reading needs no lock, since files are replaced as a whole.
enum class Access { Reads, Changes };

/// How an operation differs from others.
struct CycleTerms {
  const char* origin;  ///< the operation's name in the log
  Access access;
  Exceptions exceptions;
  MissingFile missingFile = MissingFile::FailsToLoad;
};

/// One run of an operation on an object.
class OperationCycle {
public:
  using Work = std::function<bool()>;

  OperationCycle(TqLibEmulator& emulator, const CycleTerms& terms)
      : m_emulator(emulator), m_terms(terms) {}

  /// Runs the whole cycle on the file of one library. `work` is called with the document loaded; if
  /// it returns true, its changes are saved. False when `work` or a step before it fails.
  bool onLibrary(const std::string& libraryName, const Work& work);

  /// Runs lock, start, `work` and release, for an operation that finds, loads and saves its files
  /// in its own order.
  ///
  /// While another process has the lock, `work` may run several times. Its look-up of the directory
  /// then fails, and it must return false before it saves anything.
  bool inFrame(const Work& work);

  /// Runs `work` with the locks only. `work` follows the same rule.
  bool locked(const Work& work);

  /// Inside a frame: finds the file of one library, loads it and calls `work`. Nothing is saved,
  /// and the document stays loaded.
  bool withLibrary(const std::string& libraryName, const Work& work);

  /// Does the same with the file at `path`, in the working directory.
  bool withFile(const std::string& path, const Work& work);

  // The state of the operation. All of it belongs to the object.

  ErrorRecord errors() const { return {m_emulator.m_nErrorCode, m_emulator.m_szErrorText}; }
  const char* origin() const { return m_terms.origin; }

  /// The document of the current library (may be null), and the path of its file.
  xercesc::DOMDocument* document() const { return m_emulator.m_pLibDoc; }
  const std::string& path() const { return m_emulator.m_sLibFile; }

  /// Makes the file of a library the current one. False, with text, for an unusable name or for an
  /// interrupted save that cannot be completed; false without text if there is no catalogue
  /// directory.
  bool findFile(const std::string& libraryName) {
    return m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile);
  }
  bool isFilePresent() const { return m_emulator.isFilePresent(m_emulator.m_sLibFile); }

  /// Loads the current file unless it is loaded.
  bool ensureLoaded();
  /// Frees the document before another library is loaded.
  void dropLibrary();
  /// Makes a new document, which may be null, the document of the current library.
  void setNewDocument(XmlOwner<xercesc::DOMDocument> document);

  /// The root of the document; null, with code and text, when there is none.
  xercesc::DOMElement* rootOrReport(const std::string& libraryName);
  /// The single library of the document; null, with text, when there is none or more than one.
  xercesc::DOMElement* singleLibraryOrReport();
  void reportNoSingleLibrary();
  bool hasDocumentOrReport(const std::string& libraryName);

  bool isModified() const { return m_emulator.m_bLibModified; }
  void markModified() { m_emulator.m_bLibModified = true; }

  /// Saves the document in the current file.
  void save() { m_emulator.saveDocument(document()); }
  /// Saves the document and the list. `first` is the order if they cannot be saved as one step.
  enum class First { Library, List };
  void saveWithList(const std::string& listPath, First first);
  /// Saves the changes of a removal: in the document, the list, or both. False when the list must
  /// be saved and there is no catalogue directory.
  bool saveRemoval();
  /// Sets the result of saveError().
  void setSaveError(const std::string& reason) { m_emulator.m_saveError = reason; }

  /// Calls `work` with the keys in the library list and returns its result. True, without a call,
  /// when there is no list. False, with code and text, when the list cannot be read.
  bool withListedLibraries(const std::function<bool(const std::vector<std::string>&)>& work);

private:
  bool nested(CatalogueLock& outer, const Work& work);
  bool framed(const Work& work);
  bool start();
  bool load(const std::string& libraryName);
  bool guarded(const Work& work);
  bool passingOn(const Work& work);
  void logOrReport(const std::string& message);

  TqLibEmulator& m_emulator;
  CycleTerms m_terms;
};

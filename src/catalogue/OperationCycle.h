// The cycle of every public operation: lock, start, find the file, load, work, save, release, with
// one place that handles exceptions; and what an operation uses of the object meanwhile.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "TqLibEmulator.h"
#include "catalogue/ErrorRecord.h"
#include "files/XmlMemory.h"

class CatalogueLock;

/// How an operation handles an exception.
enum class Exceptions {
  Logged,    ///< a line in the log; the operation fails
  Reported,  ///< the same, and the last-error text; the operation fails
  PassedOn   ///< left to the caller, as one derived from std::exception
};

/// How to handle a missing library file.
enum class MissingFile {
  FailsToLoad,  ///< the load fails without a message
  Fails,        ///< looked for before the load
  IsReported    ///< the failed load, whatever its reason, is reported
};

/// Whether the operation may save. If so, it holds the lock between processes until it returns.
/// Reading needs no lock, since files are replaced as a whole.
enum class Access { Reads, Changes };

/// Where the operations differ.
struct CycleTerms {
  const char* origin;  ///< the operation's name in the log
  Access access;
  Exceptions exceptions;
  MissingFile missingFile = MissingFile::FailsToLoad;
};

class OperationCycle {
public:
  using Work = std::function<bool()>;

  OperationCycle(TqLibEmulator& emulator, const CycleTerms& terms)
      : m_emulator(emulator), m_terms(terms) {}

  /// The whole cycle on the file of one library: `work` finds the document loaded, and what it
  /// modified is saved when it returns true. False when any step fails.
  bool onLibrary(const std::string& libraryName, const Work& work);

  /// The frame alone, for an operation that finds, loads and saves its files in its own order.
  /// While another process has the lock, `work` may run several times: its look-up of the directory
  /// then fails, and it returns false before it has saved anything.
  bool inFrame(const Work& work);

  /// The locks alone, with the same rule.
  bool locked(const Work& work);

  /// One library inside a frame: its file, load, work. Nothing is saved, and the document stays.
  bool withLibrary(const std::string& libraryName, const Work& work);

  /// The same with a file that is named by its path.
  bool withFile(const std::string& path, const Work& work);

  // What the operation works on. All of it belongs to the object.

  ErrorRecord errors() const { return {m_emulator.m_nErrorCode, m_emulator.m_szErrorText}; }
  const char* origin() const { return m_terms.origin; }

  /// The document of the current library, or null, and the path of its file.
  xercesc::DOMDocument* document() const { return m_emulator.m_pLibDoc; }
  const std::string& path() const { return m_emulator.m_sLibFile; }

  /// Makes the file of a library the current one. False, with text, for an unusable name and where
  /// there is no catalogue directory.
  bool findFile(const std::string& libraryName) {
    return m_emulator.GetLibFileName(libraryName, m_emulator.m_sLibFile);
  }
  bool isFilePresent() const { return m_emulator.isFilePresent(m_emulator.m_sLibFile); }

  /// Loads the current file unless it is loaded.
  bool ensureLoaded();
  /// Frees the document before another library is loaded.
  void dropLibrary();
  /// Makes a new document, or none, that of the current library.
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
  /// Saves it together with the list, in the order given where the two cannot be saved as one.
  enum class First { Library, List };
  void saveWithList(const std::string& listPath, First first);
  /// Saves what a removal changed: the document, the list, or both. False when there is no
  /// directory for the list.
  bool saveRemoval();
  /// What saveError() returns from now on.
  void setSaveError(const std::string& reason) { m_emulator.m_saveError = reason; }

  /// Calls `work` with the keys in the library list; true, without a call, when there is no list.
  /// False, with code and text, when the list cannot be read.
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

// The cycle of every public operation: lock, start, find the file, load, work, save, release, with
// one place that handles exceptions.
#pragma once

#include <functional>
#include <string>

class CatalogueLock;
class TqLibEmulator;

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

private:
  bool nested(CatalogueLock& outer, const Work& work);
  bool framed(const Work& work);
  bool load(const std::string& libraryName);
  bool guarded(const Work& work);
  bool passingOn(const Work& work);
  void tell(const std::string& message);

  TqLibEmulator& m_emulator;
  CycleTerms m_terms;
};

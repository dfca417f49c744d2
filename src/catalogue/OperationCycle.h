// The cycle that every public operation runs through: lock, start, find the file, load, work, save,
// let go; and what becomes of exceptions on the way.
#pragma once

#include <functional>
#include <string>

class TqLibEmulator;

/// What an operation does with an exception.
enum class Exceptions {
  Logged,    ///< a line in the log; the operation fails
  Reported,  ///< the same, and the last-error text; the operation fails
  PassedOn   ///< left to the caller, as one derived from std::exception
};

/// What becomes of a library file that is not there.
enum class MissingFile {
  FailsToLoad,  ///< found out by the load, which then fails without a word
  Fails,        ///< looked for before the load
  IsReported    ///< the failed load, whatever its reason, is told with a message
};

/// Whether an operation may save what it loaded: then other processes wait for its end. One that
/// only reads needs no lock, since a saved file is always whole.
enum class Access { Reads, Changes };

/// Where the operations differ.
struct CycleTerms {
  const char* origin;  ///< the operation's name in the log
  Access access;
  Exceptions exceptions;  ///< what becomes of them
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
  bool inFrame(const Work& work);

  /// One library inside a frame: its file, load, work. Nothing is saved, and the document stays.
  bool withLibrary(const std::string& libraryName, const Work& work);

  /// The same with a file that is named by its path.
  bool withFile(const std::string& path, const Work& work);

private:
  class Hold;

  bool load(const std::string& libraryName);
  bool guarded(const Work& work);
  bool passingOn(const Work& work);
  void tell(const std::string& message);

  TqLibEmulator& m_emulator;
  CycleTerms m_terms;
};

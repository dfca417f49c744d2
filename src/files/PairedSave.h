// Saving two files of the catalogue as one step: after a crash, both are new or both are old.
#pragma once

#include <string>
#include <vector>

#include "files/ReplacedFile.h"

/// An interrupted save of two files that cannot be completed.
struct UnfinishedSave {
  std::string reason;              ///< why it cannot be completed; empty: there is no such save
  std::vector<std::string> files;  ///< names of its files; empty with a reason: not known

  /// Whether the file of this name must stay as it is.
  bool concerns(const std::string& name) const;
};

/// The journal of a save of two files, as found in a folder.
struct SaveJournal {
  enum class State { Absent, Sound, Damaged, Unreadable };
  State state = State::Absent;
  int error = 0;                   ///< errno value, when it is unreadable
  std::vector<std::string> names;  ///< when it is sound: temporary file, target, and so on

  /// Whether the temporary file may be needed to complete the save.
  bool mayNeed(const std::string& temporaryFile) const;
};

/// A save of two files. It takes two renames, and a crash may come between them. Therefore a small
/// journal in the catalogue directory first records which temporary file replaces which file. After
/// a crash, the next operation that changes the catalogue completes the save.
class PairedSave {
public:
  /// Both files must be prepared. They are committed in this order. Both are borrowed.
  PairedSave(ReplacedFile& first, ReplacedFile& second) : m_first(first), m_second(second) {}

  /// Replaces both files. On false, error() says why, and whether the next operation that changes
  /// the catalogue will try again.
  ///
  /// A crash may leave one new and one old file if a file is overwritten in place or is a symbolic
  /// link into another directory: then there is no journal.
  bool commit();

  const std::string& error() const { return m_error; }

  /// Whether `folder` has a journal: a save is running or was interrupted.
  static bool isPending(const std::string& folder);

  /// Reads the journal in `folder`. Changes nothing.
  static SaveJournal readJournal(const std::string& folder);

  /// Completes an interrupted save in `folder`. The result is the save that could not be completed,
  /// without a reason if there is none. Hold the catalogue's lock.
  static UnfinishedSave complete(const std::string& folder);

private:
  bool commitJoined();
  bool commitOneByOne();
  void removeNewFirst();
  const std::string& reason() const;

  ReplacedFile& m_first;
  ReplacedFile& m_second;
  std::string m_error;
};

// Saving two files of the catalogue so that both are new or none.
#pragma once

#include <string>
#include <vector>

#include "files/ReplacedFile.h"

/// A save of two files that a process left half done and that cannot be completed.
struct UnfinishedSave {
  std::string reason;              ///< empty: there is none
  std::vector<std::string> files;  ///< their names; empty while there is one: not known which

  /// Whether the file of this name must stay as it is.
  bool concerns(const std::string& name) const;
};

/// The journal of a save of two files, as it is found in a folder.
struct SaveJournal {
  enum class State { Absent, Sound, Damaged, Unreadable };
  State state = State::Absent;
  int error = 0;                   ///< errno value, when it is unreadable
  std::vector<std::string> names;  ///< of a sound one: temporary file and target, in turn

  /// Whether the temporary file may be needed to complete the save.
  bool mayNeed(const std::string& temporaryFile) const;
};

/// Two renames are two steps, and a crash may come in between. So, before the first, a small
/// journal in the catalogue directory says which prepared file is to take which place. The next
/// operation that changes the catalogue completes it.
class PairedSave {
public:
  /// Both are prepared, and committed in this order.
  PairedSave(ReplacedFile& first, ReplacedFile& second) : m_first(first), m_second(second) {}

  /// Puts both in their places. On false, error() says why; where it says so, the next operation
  /// that changes the catalogue tries again.
  ///
  /// Where a file is overwritten in place, or is a symbolic link into another directory, the two
  /// are put there one after the other, and a crash may come in between.
  bool commit();

  const std::string& error() const { return m_error; }

  /// Whether a save in `folder` waits to be completed.
  static bool isPending(const std::string& folder);

  static SaveJournal readJournal(const std::string& folder);

  /// Completes what a process began in `folder` that died or failed; the result is what could not
  /// be completed. Hold the catalogue's lock.
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

// Saving two files of the catalogue so that both are new or none.
#pragma once

#include <string>

#include "catalogue/ReplacedFile.h"

/// Two renames are two steps, and a crash may come in between. So, before the first, a small file
/// in the catalogue directory tells which prepared file is to take which place; whoever locks the
/// catalogue next completes what it tells.
class PairedSave {
public:
  /// Both are prepared, and taken over in this order.
  PairedSave(ReplacedFile& first, ReplacedFile& second) : m_first(first), m_second(second) {}

  /// Puts both in their places. On false, error() tells why; where it says so, the next operation
  /// on the catalogue tries again.
  ///
  /// Where a file is overwritten in place, or lies in another directory than the other (a symbolic
  /// link), the two are put there one after the other, and a crash may come in between.
  bool commit();

  const std::string& error() const { return m_error; }

  /// Whether something in `folder` waits to be completed.
  static bool isPending(const std::string& folder);

  /// Completes what a process began in `folder` that died or failed. True also when there was
  /// nothing to do. Hold the catalogue's lock.
  static bool complete(const std::string& folder, std::string& error);

private:
  bool commitJoined();
  bool commitOneByOne();
  const std::string& reason() const;

  ReplacedFile& m_first;
  ReplacedFile& m_second;
  std::string m_error;
};

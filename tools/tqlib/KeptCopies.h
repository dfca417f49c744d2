// Copies of the files that are mended, as they were before.
#pragma once

#include <map>
#include <string>

class KeptCopies {
public:
  KeptCopies() = default;
  /// Settles.
  ~KeptCopies();
  KeptCopies(const KeptCopies&) = delete;
  KeptCopies& operator=(const KeptCopies&) = delete;

  /// Copies `file` beside itself, once, before it is changed. Throws Failure when that cannot be
  /// done: the file must then stay as it is. A file that does not exist needs no copy.
  void keep(const std::string& file);

  /// Deletes the copies of files that did not change after all.
  void settle();

  /// The copy of a file; empty without one.
  std::string copyOf(const std::string& file) const;

private:
  std::map<std::string, std::string> m_copies;  // by the file
};

// Copies of the files that are mended, as they were before.
#pragma once

#include <map>
#include <string>
#include <vector>

class KeptCopies {
public:
  KeptCopies() = default;
  /// Settles.
  ~KeptCopies();
  KeptCopies(const KeptCopies&) = delete;
  KeptCopies& operator=(const KeptCopies&) = delete;

  /// Copies `file` beside itself, once, before it is changed. Throws Failure when that cannot be
  /// done: the file must then stay as it is. A file that does not exist needs no copy. The lock of
  /// the catalogue has to be held.
  void keep(const std::string& file);

  /// Deletes the copies of files that did not change after all.
  void settle();

  /// The copy of a file; empty without one.
  std::string copyOf(const std::string& file) const;

  /// All copies.
  std::vector<std::string> all() const;

private:
  std::map<std::string, std::string> m_copies;  // by the file
};

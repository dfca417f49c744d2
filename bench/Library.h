// The library that catalogue benchmarks work on.
#pragma once

#include <string>
#include <vector>

#include "Place.h"
#include "TqLibEmulator.h"
#include "tests/LibraryBuilder.h"

namespace bench {

/// A library of so many elements: two drives, of which the first is loaded, and slots, each with a
/// medium. It is made once for each size; restore() puts what was made in its place again, so that
/// every call finds the same file and has work to do.
class Library {
public:
  /// `use` tells apart libraries of the same size.
  Library(const Place& place, int elements, const std::string& use = "");

  /// Puts library, list and the copies for the bare work back as they were made: hard links to
  /// files that nobody writes, since all who change them replace them.
  void restore() const;

  /// Fails unless the library's file is another one than what restore() puts there.
  void requireChange() const;

  TqLibEmulator& catalogue() { return m_catalogue; }
  const std::string& key() const { return m_key; }
  const std::string& copy() const { return m_file.copy; }
  const std::string& listCopy() const { return m_list.copy; }

  int elements() const { return static_cast<int>(m_slots.size()) + kDrives; }
  const std::vector<LibElement>& slots() const { return m_slots; }
  SCSIUnit record() const { return m_builder.library(); }
  SCSIUnit drive(int number) const { return m_builder.drive(number); }
  static int address(int drive) { return kFirstDrive + drive - 1; }

  static constexpr int kDrives = 2;

private:
  /// A file of the catalogue, the content that it was made with, and a copy for the bare work.
  struct File {
    File(const Place& place, const std::string& name, const std::string& firstName);
    void keep() const;
    void restore() const;

    std::string path;
    std::string first;
    std::string copy;
  };

  void make();

  static constexpr int kFirstDrive = 500;

  TqLibEmulator m_catalogue;
  std::string m_key;
  tests::LibraryBuilder m_builder;
  File m_file;
  File m_list;
  std::vector<LibElement> m_slots;
};

}  // namespace bench

// The library that the catalogue benchmarks use.
#pragma once

#include <string>
#include <vector>

#include "Place.h"
#include "TqLibEmulator.h"
#include "tests/LibraryBuilder.h"

namespace bench {

/// A library with two drives and, for the other elements, slots. The first drive and all slots hold
/// a medium. The files are created once for each size; restore() puts them back, so each call finds
/// the same file and has work to do.
class Library {
public:
  /// `use` distinguishes libraries of the same size.
  Library(const Place& place, int elements, const std::string& use = "");

  /// Puts back library, list and the copies for the bare work. They are hard links to the original
  /// files; this is safe because changes replace files and never write into them.
  void restore() const;

  /// Fails unless the library's file was replaced after restore().
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
  /// A file of the catalogue, its original content, and a copy for the bare work.
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

// Calls of the catalogue at four sizes of library, each beside the bare work on the same file.

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BareWork.h"
#include "Pairs.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

constexpr int kFirstSlot = 1000;
constexpr int kDrive = 500;

/// A library with a medium in each slot, and one drive.
class Library {
public:
  Library(const std::string& key, int slots) : m_key(key) {
    SCSIUnit library;
    library.ScsiDeviceType = 8;
    library.SerialNumber = m_key;
    library.MAName = "host";
    library.SlotBaseAddress = kFirstSlot;
    library.SlotCount = slots;
    library.DriveBaseAddress = kDrive;
    library.DriveCount = 1;
    library.DriveIdentifierMap[1] = "DRIVE1";
    SCSIUnit drive;
    drive.ScsiDeviceType = 1;
    drive.SerialNumber = "DRIVE1";
    drive.MAName = "host";
    for (int i = 0; i < slots; ++i) {
      std::string barCode = std::to_string(1000000 + i);
      barCode.front() = 'A';
      m_slots.push_back({LIB_ELEM_SLOT, kFirstSlot + i, true, true, barCode});
    }
    const std::vector<SCSIUnitNoMap> devices{library, drive};
    if (!m_catalogue.UpdateVirtualDevice(devices, m_key) || !set()) {
      throw std::runtime_error("cannot make " + m_key);
    }
    std::string folder;
    TqLibEmlFile::GetTQLibEMLXMLDir(folder);
    m_file = folder + "Lib_" + m_key + ".xml";
    m_copy = m_file + ".copy";
    std::filesystem::copy_file(m_file, m_copy);
  }

  bool query() {
    std::vector<LibElement> elements;
    return m_catalogue.GetVirtualLibraryElements(m_key, elements) &&
           elements.size() == m_slots.size() + 1;
  }

  /// Moves the first slot's medium to the drive, or back.
  bool move() {
    const bool back = m_inDrive;
    m_inDrive = !m_inDrive;
    return back ? m_catalogue.MoveVirtualLibraryElement(m_key, LIB_ELEM_DRIVE, kDrive,
                                                        LIB_ELEM_SLOT, kFirstSlot)
                : m_catalogue.MoveVirtualLibraryElement(m_key, LIB_ELEM_SLOT, kFirstSlot,
                                                        LIB_ELEM_DRIVE, kDrive);
  }

  bool set() { return m_catalogue.SetVirtualLibraryElement(m_key, m_slots, false); }

  bool bareQuery() {
    bench::parse(m_file);
    return true;
  }

  bool bareChange() {
    bench::parseAndReplace(m_copy);
    return true;
  }

private:
  TqLibEmulator m_catalogue;
  std::string m_key;
  std::string m_file;
  std::string m_copy;
  std::vector<LibElement> m_slots;
  bool m_inDrive = false;
};

/// Made once for each use and size: a move would find its slot filled by a change of all slots.
Library& library(const std::string& use, int slots) {
  static std::map<std::string, std::unique_ptr<Library>> made;
  const std::string key = use + std::to_string(slots);
  auto& one = made[key];
  if (!one) {
    one = std::make_unique<Library>(key, slots);
  }
  return *one;
}

void run(benchmark::State& state, Library& subject, bool (Library::*work)()) {
  for (auto _ : state) {
    if (!(subject.*work)()) {
      state.SkipWithError("the call failed");
    }
  }
}

void measure(const std::string& name, bool (Library::*call)(), bool (Library::*bare)()) {
  for (const int slots : {100, 1000, 10000, 50000}) {
    const std::string subject = name + "/" + std::to_string(slots);
    bench::pair(
        subject, [=](auto& state) { run(state, library(name, slots), call); },
        [=](auto& state) { run(state, library(name, slots), bare); });
  }
}

}  // namespace

void bench::registerCatalogue() {
  measure("GetVirtualLibraryElements", &Library::query, &Library::bareQuery);
  measure("MoveVirtualLibraryElement", &Library::move, &Library::bareChange);
  measure("SetVirtualLibraryElement", &Library::set, &Library::bareChange);
}

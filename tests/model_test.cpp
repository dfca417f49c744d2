// Random sequences of operations on the catalogue and on a model of it, which must give the same
// answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"

namespace tests {
namespace {

using Texts = std::vector<std::string>;
using Values = std::array<int, 3>;
using Units = std::map<std::string, std::string>;  // access paths by host

struct Place : LibElement {
  std::string serial = "";  // of a drive
  Units units = {};
};

struct Library {
  Units units;
  std::vector<Place> places;  // drives, slots, shelves
  Values status{};
  int count = 0;
  bool isExpired = false;

  Place* find(const auto& is) {
    const auto found = std::find_if(places.begin(), places.end(), is);
    return found == places.end() ? nullptr : &*found;
  }
  Place* at(int type, int address) {
    return find([=](auto& p) { return p.elementType == type && p.elementAddress == address; });
  }
  Place* drive(const std::string& serial) {
    return find([&](auto& p) { return p.serial == serial; });
  }
  Place* add(const Place& place) {
    const auto rank = [](const Place& p) {
      return p.elementType == LIB_ELEM_DRIVE ? 0 : p.elementType == LIB_ELEM_SHELF ? 2 : 1;
    };
    const auto before = [&](auto& a, auto& b) { return rank(a) < rank(b); };
    return &*places.insert(std::upper_bound(places.begin(), places.end(), place, before), place);
  }
  void remove(Place* place) { places.erase(places.begin() + (place - places.data())); }
};

class Model : public testing::TestWithParam<unsigned> {
protected:
  int pick(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
  std::string key() { return Texts{"A", "A", "A", "B", "B", "B", "none"}.at(m_random() % 7); }
  std::string host() { return "host" + std::to_string(pick(3)); }
  std::string text() { return "text" + std::to_string(pick(1000)); }
  LibElement place() {
    static const std::array<int, 3> kKinds[] = {{4, 500, 3}, {2, 1000, 5}, {3, 10, 3}, {5, 1, 3}};
    const auto [type, first, count] = kKinds[pick(4)];
    return element(type, first + pick(count), pick(2) == 0 ? "" : text());
  }

  Library* find(const std::string& name) {
    const auto found = m_libraries.find(name);
    return found == m_libraries.end() ? nullptr : &found->second;
  }

  // Devices

  void updateLibrary(const std::string& name, const std::string& host, const std::string& path) {
    const bool isNew = m_libraries.count(name) == 0;
    Library& library = m_libraries[name];
    library.units[host] = path;
    if (isNew) {
      m_listed.push_back(name);
      for (int i = 0; i < 2; ++i) library.add({element(LIB_ELEM_MAIL_SLOT, 10 + i)});
      for (int i = 0; i < 3; ++i) library.add({element(LIB_ELEM_SLOT, 1000 + i)});
    }
    for (Place& p : library.places)
      if (!p.serial.empty()) p.elementAddress = 499 + (p.serial.back() - '0');
  }

  bool updateDrive(const std::string& name, const std::string& serial, const std::string& host,
                   const std::string& path) {
    Library* library = find(name);
    if (library == nullptr) return false;
    Place* drive = library->drive(serial);
    if (drive == nullptr) drive = library->add({element(LIB_ELEM_DRIVE, -999999), serial});
    drive->units[host] = path;
    return true;
  }

  void update() {
    const std::string name = key();
    const std::string host = this->host();
    const std::string path = text();
    const auto builder =
        LibraryBuilder(name).host(host).mailSlots(10, 2).slots(1000, 3).drives(500, 3);
    auto batch = builder.batch();
    for (SCSIUnitNoMap& record : batch) record.AccessPath = path;
    const std::size_t which = m_random() % 5;  // the library, one of its drives, or all
    bool isDone = true;
    if (which == 0 || which == 4) updateLibrary(name, host, path);
    for (std::size_t i = 1; i < batch.size(); ++i)
      if (which == i || which == 4) isDone = updateDrive(name, batch[i].SerialNumber, host, path);
    if (which == 4) {
      updateLibrary(name, host, path);
      EXPECT_TRUE(m_emulator.UpdateVirtualDevice(batch, name));
    } else {
      EXPECT_EQ(m_emulator.UpdateVirtualDevice(batch[which], name), isDone);
    }
  }

  bool removeFrom(const std::string& name, const std::string& serial, const std::string& host) {
    Library* library = find(name);
    if (library == nullptr) return false;
    Place* drive = library->drive(serial);
    if (serial != name && drive == nullptr) return false;
    Units& units = serial == name ? library->units : drive->units;
    const bool isLast = host.empty() || (units.count(host) == 1 && units.size() == 1);
    if (!isLast)
      units.erase(host);
    else if (serial != name)
      library->remove(drive);
    else
      m_libraries.erase(name);  // the caller handles its entry and its file
    return true;
  }

  void remove() {
    const std::string name = key();
    const std::string host = pick(3) == 0 ? "" : this->host();
    const std::string serial = pick(5) == 0 ? name : "DRV000" + std::to_string(1 + pick(4));
    const auto before = m_libraries;
    const auto files = m_catalogue.files();
    const bool isNamed = pick(2) == 0;
    bool isDone = isNamed && removeFrom(name, serial, host);
    for (std::size_t i = 0; !isNamed && !isDone && i < m_listed.size(); ++i)
      isDone = removeFrom(m_listed[i], serial, host);
    EXPECT_EQ(isNamed ? m_emulator.RemoveVirtualDevice(host, serial, name)
                      : m_emulator.RemoveVirtualDevice(host, serial),
              isDone);
    if (before.count(serial) == m_libraries.count(serial)) return;
    EXPECT_EQ(elements(serial), Texts{"refused"});
    if (host.empty()) {  // its file must go before it can be created again
      m_listed.erase(std::find(m_listed.begin(), m_listed.end(), serial));
      fs::remove(m_catalogue.libraryFile(serial));
    } else {  // the entry stays without a library, which comes back from a copy
      m_libraries = before;
      writeFile(m_catalogue.libraryFile(serial), files.at("Lib_" + serial + ".xml"));
    }
  }

  // Elements

  /// One record of a change. A batch skips drives that a single record refuses.
  bool change(Library& library, const LibElement& record, bool isRemoval, bool isOne) {
    Place* known = library.at(record.elementType, record.elementAddress);
    if (record.elementType == LIB_ELEM_DRIVE && (isRemoval || known == nullptr)) return !isOne;
    if (isRemoval) {
      if (known != nullptr) library.remove(known);
      return true;
    }
    if (known == nullptr) known = library.add({record});
    known->barCode = record.barCode;
    known->isOccupied = record.isOccupied;
    return true;
  }

  void set() {
    const std::string name = key();
    std::vector<LibElement> records;
    for (int i = pick(4); i >= 0; --i) {
      const LibElement next = place();
      const auto isSame = [&](auto& e) { return e.elementAddress == next.elementAddress; };
      if (std::none_of(records.begin(), records.end(), isSame)) records.push_back(next);
    }
    const bool isRemoval = pick(4) == 0;
    const bool isOne = records.size() == 1;
    Library* library = find(name);
    Library changed = library == nullptr ? Library() : *library;
    bool isDone = library != nullptr;
    for (const LibElement& e : records) isDone = isDone && change(changed, e, isRemoval, isOne);
    EXPECT_EQ(isOne ? m_emulator.SetVirtualLibraryElement(name, records[0], isRemoval)
                    : m_emulator.SetVirtualLibraryElement(name, records, isRemoval),
              isDone);
    if (isDone) *library = changed;
  }

  void move() {
    const std::string name = key();
    const LibElement from = place();
    const LibElement to = place();
    Library absent;
    Library* library = find(name) == nullptr ? &absent : find(name);
    Place* source = library->at(from.elementType, from.elementAddress);
    Place* target = library->at(to.elementType, to.elementAddress);
    const bool isDone =
        source != nullptr && target != nullptr && source->isOccupied && !target->isOccupied;
    EXPECT_EQ(m_emulator.MoveVirtualLibraryElement(name, from.elementType, from.elementAddress,
                                                   to.elementType, to.elementAddress),
              isDone);
    if (!isDone) return;
    std::swap(source->barCode, target->barCode);
    std::swap(source->isOccupied, target->isOccupied);
  }

  // Status

  void status() {
    const std::string name = key();
    Library* library = find(name);
    const bool isPeek = pick(3) == 0;
    if (pick(3) == 0) {
      const Values values{1 + pick(9), pick(9), pick(9)};
      const int count = pick(6) - 1;
      const bool isExpired = pick(4) == 0;
      EXPECT_EQ(m_emulator.SetVirtualDeviceStatus(name, values[0], values[1], values[2],
                                                  isExpired ? -pick(2) : 900, count),
                library != nullptr);
      if (library == nullptr) return;
      library->status = values;
      library->count = count;
      library->isExpired = isExpired;
      return;
    }
    Values found{7, 7, 7};
    EXPECT_EQ(m_emulator.GetVirtualDeviceStatus(name, found[0], found[1], found[2], isPeek),
              library != nullptr);
    EXPECT_EQ(found, library == nullptr ? (Values{7, 7, 7}) : library->status);
    if (library == nullptr || isPeek) return;
    if (library->count == 1 || library->isExpired) library->status = {};
    if (library->count > 1) --library->count;
  }

  // Answers

  static void addSeen(Texts& seen, const Units& units, const std::string& host,
                      const std::string& serial, const SCSIUnitNoMap& map) {
    const auto unit = units.find(host);
    if (unit != units.end()) seen.push_back(serial + ":" + unit->second + map.DriveIdentifierMap);
  }

  /// What the host sees of these libraries, up to the first that does not exist.
  bool seen(const Texts& names, const std::string& host, Texts& all) {
    for (const std::string& name : names) {
      Library* library = find(name);
      if (library == nullptr) return false;
      SCSIUnit unit;
      for (const Place& p : library->places) {
        if (p.serial.empty()) continue;
        addSeen(all, p.units, host, p.serial, SCSIUnit());
        unit.DriveIdentifierMap.emplace(p.elementAddress - 499, p.serial);
      }
      addSeen(all, library->units, host, name, unit);
    }
    return true;
  }

  void query(TqLibEmulator& emulator, const std::string& name) {
    const std::string host = this->host();
    const std::string serial = "DRV000" + std::to_string(1 + pick(4));
    for (const bool isNamed : {true, false}) {
      std::vector<SCSIUnitNoMap> devices;
      Texts expected;
      Texts found;
      const bool isDone = isNamed ? emulator.GetVirtualDeviceInfo(host, devices, name)
                                  : emulator.GetVirtualDeviceInfo(host, devices);
      EXPECT_EQ(isDone, seen(isNamed ? Texts{name} : m_listed, host, expected));
      for (const SCSIUnitNoMap& d : devices)
        found.push_back(d.SerialNumber + ":" + d.AccessPath + d.DriveIdentifierMap);
      EXPECT_EQ(found, expected);
    }
    Texts expected;
    Texts found;
    Library* library = find(name);
    if (library != nullptr)
      for (const Place& p : library->places) expected.push_back(describe(p));
    std::vector<LibElement> all;
    EXPECT_EQ(emulator.GetVirtualLibraryElements(name, all), library != nullptr);
    for (const LibElement& e : all) found.push_back(describe(e));
    EXPECT_EQ(found, expected);
    const auto drive = [&](auto& l) {
      return find(l) == nullptr ? nullptr : find(l)->drive(serial);
    };
    const auto holder = std::find_if(m_listed.begin(), m_listed.end(), drive);
    std::string barCode = "old";
    EXPECT_EQ(emulator.GetCurrentVolume(serial, barCode),
              m_listed.empty() ? !fs::exists(m_catalogue.listFile()) : holder != m_listed.end());
    EXPECT_EQ(barCode, holder == m_listed.end() ? "" : drive(*holder)->barCode);
  }

  void queryOne() { query(m_emulator, key()); }

  std::mt19937 m_random{GetParam()};
  TempCatalogue m_catalogue;
  TqLibEmulator m_emulator;
  std::map<std::string, Library> m_libraries;
  Texts m_listed;
};

TEST_P(Model, AgreesWithTheCatalogueAfterEveryStep) {
  std::vector<void (Model::*)()> steps(5, &Model::update);
  steps.insert(steps.end(), 4, &Model::set);
  steps.insert(steps.end(), 3, &Model::move);
  steps.insert(steps.end(), 3, &Model::status);
  steps.insert(steps.end(), 2, &Model::remove);
  steps.insert(steps.end(), 2, &Model::queryOne);
  for (int step = 0; step < 300 && !HasFailure(); ++step) {
    SCOPED_TRACE("seed " + std::to_string(GetParam()) + ", step " + std::to_string(step));
    (this->*steps[m_random() % steps.size()])();
    TqLibEmulator other;
    if (step % 20 == 19)
      for (const char* name : {"A", "B"}) query(other, name);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Model, testing::Range(1U, 9U));

}  // namespace
}  // namespace tests

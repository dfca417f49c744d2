// The operations on the catalogue and on volumes, for tests of what a fault in them leaves behind.
#pragma once

#include <gtest/gtest.h>

#include "LibraryBuilder.h"
#include "SystemCalls.h"
#include "TempCatalogue.h"
#include "TqLibEmlFile.h"

namespace tests {

/// As treeOf() gives it.
using State = std::map<std::string, std::string>;

/// `begun` is the old state, or a crashed one that the next change completes to the old state.
struct States {
  State begun;
  State old;
  State renewed;
};

/// Keeps temporary files in memory if possible: thousands of states are written and read.
struct InMemory {
  InMemory() {
    if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  }
};

/// A catalogue whose states are saved, restored and compared.
class FaultyCatalogue : private InMemory, public TempCatalogue {
public:
  FaultyCatalogue() { fs::create_directory(path() / "work"); }

  State state() const { return treeOf(path()); }

  /// Also empties the log. The configuration is written again, so each run reads it.
  void become(const State& state) const {
    for (const auto& entry : fs::directory_iterator(path())) fs::remove_all(entry);
    for (const auto& [path, bytes] : state) {
      fs::create_directories(fs::path(path).parent_path());
      if (!path.ends_with('/')) writeFile(path, bytes);
    }
    writeFile(processLog(), "");
  }

  /// The state after the next change: "old", "new", or what is wrong with it.
  std::string look(const States& states) const {
    completeHalfDone();
    std::vector<SCSIUnitNoMap> devices;
    if (!TqLibEmulator().GetVirtualDeviceInfo("", devices)) return "unreadable";
    const State now = visible(state());
    if (now == visible(states.renewed)) return "new";
    if (now == visible(states.old)) return "old";
    std::string odd = "neither:";
    for (const auto& [path, bytes] : now) odd += " " + fs::path(path).filename().string();
    return odd;
  }

  /// The first step of each operation that changes something.
  static void completeHalfDone() {
    EXPECT_TRUE(TqLibEmulator().ChangeCatalogue([] { return true; }));
  }

  /// What is wrong with one more save and the files that it leaves.
  std::string nextSave() const {
    TqLibEmulator().UpdateVirtualDevice(LibraryBuilder("Z").slots(1000, 1).library(), "");
    std::string wrong = fs::exists(libraryFile("Z")) ? "" : "not saved";
    for (const auto& [name, bytes] : files())
      if (name.starts_with(".tqlib-") && name != ".tqlib-lock") wrong += " " + name;
    return wrong;
  }

  /// Makes two volumes and returns the path of their folder.
  std::string makeTapes() {
    const std::string tapes = path().string() + "/tapes/";
    config("MediaManager", "sVirtualTapeDirectory", tapes);
    for (const char* const name : {"V1/", "V2/"}) {
      fs::create_directories(tapes + name);
      writeFile(tapes + name + "00000000", "old0");
    }
    writeFile(tapes + "V1/00000001", "old1");
    return tapes;
  }

private:
  /// The files that are not temporary, without times.
  static State visible(const State& state) {
    State files;
    for (auto [path, bytes] : state) {
      if (path.ends_with('/') || path.find("/.tqlib-") != std::string::npos) continue;
      for (size_t at = 0; (at = bytes.find("ExpireTime=\"", at)) != std::string::npos; ++at)
        bytes.erase(at, bytes.find(' ', at) - at);
      files[path] = bytes;
    }
    return files;
  }
};

inline LibraryBuilder newLibrary() {
  return LibraryBuilder("N").slots(1000, 2).drives(500, 2);
}

/// Leaves the journal of a library that was saved with the list, and the temporary files of both.
inline void leaveJournal(const TempCatalogue& catalogue, const std::string& file,
                         const std::map<std::string, std::string>& saved) {
  using namespace std::string_literals;
  const std::string path = catalogue.catalogue() + ".tqlib-";
  writeFile(path + "1.new", saved.at(file));
  writeFile(path + "2.new", saved.at("LibraryList.xml"));
  writeFile(path + "pending", ".tqlib-1.new\0"s + file + "\0.tqlib-2.new\0LibraryList.xml\0"s);
}

struct ChangingOperation {
  enum Beginning { NoFolder, NoLibrary, TwoLibraries, HalfSavedLibrary };
  const char* name;
  bool (*run)(TqLibEmulator&);
  Beginning beginning = TwoLibraries;

  Outcome operator()() const {
    TqLibEmulator emulator;
    Outcome outcome{run(emulator), 0, emulator.getErrorCode(), {}};
    emulator.saveError().copy(outcome.data, sizeof outcome.data - 1);
    return outcome;
  }

  States states(const FaultyCatalogue& catalogue) const {
    if (beginning == NoFolder) fs::remove(catalogue.catalogue());
    TqLibEmulator emulator;
    for (const char* const key : {"A", "B"}) {
      if (beginning < TwoLibraries) break;
      LibraryBuilder(key).slots(1000, 3).drives(500, *key == 'A' ? 2 : 3).build();
      emulator.SetVirtualLibraryElement(key, described("2@1000:T1 5@1:T2"), false);
      emulator.SetVirtualDeviceStatus(key, 2, 4, 1, 3600, 2);
    }
    if (beginning == HalfSavedLibrary) saveHalf(catalogue);
    States both{catalogue.state(), {}, {}};
    if (beginning == HalfSavedLibrary) catalogue.completeHalfDone();
    both.old = catalogue.state();
    EXPECT_TRUE(run(emulator));
    both.renewed = catalogue.state();
    EXPECT_EQ(catalogue.look(both), "new");
    return both;
  }

private:
  /// Leaves the journal of a new library whose files are not in place yet.
  static void saveHalf(const FaultyCatalogue& catalogue) {
    const State whole = catalogue.state();
    newLibrary().build();
    const auto saved = catalogue.files();
    catalogue.become(whole);
    leaveJournal(catalogue, "Lib_N.xml", saved);
  }
};

inline LibraryBuilder otherHost() {
  return LibraryBuilder("B").slots(1000, 3).drives(500, 3).host("hostb");
}

inline const std::vector<ChangingOperation>& changingOperations() {
  using E = TqLibEmulator;
  using enum ChangingOperation::Beginning;
  static constexpr auto addNew = [](E& e) {
    return e.UpdateVirtualDevice(newLibrary().library(), "");
  };
  static constexpr auto move = [](E& e) {
    return e.MoveVirtualLibraryElement("B", 2, 1000, 4, 501);
  };
  static const std::vector<ChangingOperation> all = {
      {"FirstLibraryAndFolder", addNew, NoFolder},
      {"FirstLibrary", addNew, NoLibrary},
      {"NewLibrary", addNew},
      {"NewBatch", [](E& e) { return e.UpdateVirtualDevice(newLibrary().batch(), "N"); }},
      {"Library", [](E& e) { return e.UpdateVirtualDevice(otherHost().library(), ""); }},
      {"Drive", [](E& e) { return e.UpdateVirtualDevice(otherHost().drive(1), "B"); }},
      {"Batch", [](E& e) { return e.UpdateVirtualDevice(otherHost().batch(), "B"); }},
      {"Element",
       [](E& e) { return e.SetVirtualLibraryElement("B", element(4, 500, "T"), false); }},
      {"RemovedElement",
       [](E& e) { return e.SetVirtualLibraryElement("B", element(2, 1001), true); }},
      {"Elements",
       [](E& e) { return e.SetVirtualLibraryElement("B", described("2@1000 5@3:T4"), false); }},
      {"Move", move},
      {"MoveAfterACrash", move, HalfSavedLibrary},
      {"Status", [](E& e) { return e.SetVirtualDeviceStatus("B", 8, 0, 0, 3600, 1); }},
      {"StatusRead",
       [](E& e) {
         int status = 0;
         return e.GetVirtualDeviceStatus("B", status, status, status, false);
       }},
      {"RemovedHost", [](E& e) { return e.RemoveVirtualDevice("hosta", "DRV0001", "B"); }},
      {"RemovedDrive", [](E& e) { return e.RemoveVirtualDevice("", "DRV0002", "B"); }},
      {"RemovedLibrary", [](E& e) { return e.RemoveVirtualDevice("", "B", "B"); }},
      {"SoughtLibrary", [](E& e) { return e.RemoveVirtualDevice("", "B"); }}};
  return all;
}

struct VolumeOperation {
  /// What a successful call leaves.
  struct Good {
    std::string path;  // under the folder of the tapes; begins with the volume's name
    std::string content = "";
    unsigned long count = 99;   // as the call found it
    bool mayFallShort = false;  // only the count shows a failure
  };
  const char* name;
  Good good;
  bool (*call)(TqLibEmlFile&, Outcome&);

  Outcome operator()() const {
    TqLibEmlFile object(good.path.substr(0, 2));
    Outcome o{.count = 99};
    o.result = call(object, o);
    if (o.code == 0) o.code = object.getErrorCode();
    return o;
  }
};

inline const std::vector<VolumeOperation>& volumeOperations() {
  using V = TqLibEmlFile;
  using O = Outcome;
  static constexpr auto bytes = [](O& o) { return reinterpret_cast<unsigned char*>(o.data); };
  static unsigned char data[] = {'d', 'a', 't', 'a'};
  static std::string folder;
  static const std::vector<VolumeOperation> all = {
      {"NewFolder", {.path = "V3/"}, [](V& v, O&) { return v.GetVolumeFolder(folder); }},
      {"Erasure", {.path = "V1/"}, [](V& v, O&) { return v.EraseVolume(); }},
      {"FirstBlock",
       {.path = "V1/00000000", .content = "data", .count = 4, .mayFallShort = true},
       [](V& v, O& o) { return v.WriteDataForDrive(0, 0, data, 4, o.count); }},
      {"LaterBlock",
       {.path = "V1/00000001", .content = "old1data", .count = 4, .mayFallShort = true},
       [](V& v, O& o) { return v.WriteDataForDrive(1, 4, data, 4, o.count); }},
      {"Size",
       {.path = "V1/", .count = 8, .mayFallShort = true},
       [](V& v, O& o) {
         unsigned long long size = 0;
         const bool isDone = v.GetVolumeSize(size);
         o.count = size;
         return isDone;
       }},
      {"Read",
       {.path = "V1/00000001", .content = "old1", .count = 4},
       [](V& v, O& o) { return v.ReadDataForDrive(1, 0, bytes(o), 8, o.count); }},
      {"ReadOfNothing",
       {.path = "V1/00000007", .count = 0},
       [](V& v, O& o) { return v.ReadDataForDrive(7, 0, bytes(o), 8, o.count); }},
      {"DirectRead", {.path = "V1/00000001", .content = "old1", .count = 4}, [](V&, O& o) {
         return DirectReadDataForDrive("V1", 1, 0, bytes(o), 8, &o.count, &o.code, nullptr, 0) == 1;
       }}};
  return all;
}

}  // namespace tests

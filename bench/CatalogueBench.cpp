// The operations of the catalogue on libraries of five sizes. The bare work of a query is to parse
// the library's file. The bare work of a change is to parse, serialise and replace it. If an
// operation also reads or writes the library list, its bare work does the same.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "BareWork.h"
#include "Comparison.h"
#include "Library.h"
#include "TqLibEmulator.h"

namespace {

using bench::Library;

struct Operation {
  const char* name;
  bool (*call)(Library&);
  void (*bare)(const Library&);
};

// Bare work

void parse(const Library& library) {
  bench::parse(library.copy());
}

void parseWithList(const Library& library) {
  bench::parse(library.listCopy());
  bench::parse(library.copy());
}

void change(const Library& library) {
  bench::parseAndReplace(library.copy());
}

void changeAllSlots(const Library& library) {
  bench::parseAndReplace(library.copy(),
                         [](auto& document) { bench::setSlots(document, u"N00001"); });
}

void changeByList(const Library& library) {
  bench::parse(library.listCopy());
  bench::parseAndReplace(library.copy());
}

/// The file of a removed library is nearly empty.
void removeWithList(const Library& library) {
  const std::string left = "<Devices/>\n";
  bench::parse(library.copy());
  const bench::Content list = bench::parseAndSerialise(library.listCopy());
  bench::replaceTogether(bench::replacement(library.listCopy(), list),
                         {library.copy(), left.data(), left.size()});
}

// Calls

/// A new slot behind all others. Calls look for the last slot: the longest search.
LibElement newSlot(const Library& library) {
  return {LIB_ELEM_SLOT, library.slots().back().elementAddress + 1, true, true, "N00001"};
}

LibElement otherMedium(LibElement slot) {
  slot.barCode = "N00001";
  return slot;
}

SCSIUnit revised(SCSIUnit unit) {
  unit.FirmwareRevision = "2.2";
  return unit;
}

bool setAll(Library& library) {
  std::vector<LibElement> all = library.slots();
  std::transform(all.begin(), all.end(), all.begin(), otherMedium);
  return library.catalogue().SetVirtualLibraryElement(library.key(), all, false);
}

bool removeHundredth(Library& library) {
  const auto& slots = library.slots();
  const auto count = static_cast<std::ptrdiff_t>(std::max<std::size_t>(1, slots.size() / 100));
  const std::vector<LibElement> last(slots.end() - count, slots.end());
  return library.catalogue().SetVirtualLibraryElement(library.key(), last, true);
}

bool queryElements(Library& library) {
  std::vector<LibElement> found;
  return library.catalogue().GetVirtualLibraryElements(library.key(), found) &&
         static_cast<int>(found.size()) == library.elements();
}

bool queryDevices(Library& library) {
  std::vector<SCSIUnitNoMap> found;
  return library.catalogue().GetVirtualDeviceInfo("hosta", found, library.key()) &&
         found.size() == Library::kDrives + 1;
}

bool queryAllDevices(Library& library) {
  std::vector<SCSIUnitNoMap> found;
  return library.catalogue().GetVirtualDeviceInfo("hosta", found) &&
         found.size() == Library::kDrives + 1;
}

bool getStatus(Library& library, bool peek) {
  int status = 0;
  int asc = 0;
  int ascq = 0;
  return library.catalogue().GetVirtualDeviceStatus(library.key(), status, asc, ascq, peek) &&
         status == 2 && asc == 4 && ascq == 1;
}

bool currentVolume(Library& library) {
  std::string barCode;
  return library.catalogue().GetCurrentVolume(library.drive(1).SerialNumber, barCode) &&
         !barCode.empty();
}

bool move(Library& library) {
  return library.catalogue().MoveVirtualLibraryElement(library.key(), LIB_ELEM_SLOT,
                                                       library.slots().back().elementAddress,
                                                       LIB_ELEM_DRIVE, Library::address(2));
}

bool updateBatch(Library& library) {
  const std::vector<SCSIUnitNoMap> batch{revised(library.record()), revised(library.drive(1)),
                                         revised(library.drive(2))};
  return library.catalogue().UpdateVirtualDevice(batch, library.key());
}

const Operation kQueries[] = {
    {"GetVirtualLibraryElements", queryElements, parse},
    {"GetVirtualDeviceInfo,one-library", queryDevices, parse},
    {"GetVirtualDeviceInfo,all", queryAllDevices, parseWithList},
    {"GetVirtualDeviceStatus,peek", [](Library& library) { return getStatus(library, true); },
     parse},
    {"GetCurrentVolume", currentVolume, parseWithList},
};

const Operation kChanges[] = {
    {"SetVirtualLibraryElement,one",
     [](Library& library) {
       return library.catalogue().SetVirtualLibraryElement(
           library.key(), otherMedium(library.slots().back()), false);
     },
     change},
    {"SetVirtualLibraryElement,new",
     [](Library& library) {
       return library.catalogue().SetVirtualLibraryElement(library.key(), newSlot(library), false);
     },
     change},
    {"SetVirtualLibraryElement,remove",
     [](Library& library) {
       return library.catalogue().SetVirtualLibraryElement(library.key(), library.slots().back(),
                                                           true);
     },
     change},
    {"SetVirtualLibraryElement,all-slots", setAll, changeAllSlots},
    {"SetVirtualLibraryElement,remove-1%", removeHundredth, change},
    {"MoveVirtualLibraryElement", move, change},
    {"UpdateVirtualDevice,drive",
     [](Library& library) {
       return library.catalogue().UpdateVirtualDevice(revised(library.drive(2)), library.key());
     },
     change},
    {"UpdateVirtualDevice,library",
     [](Library& library) {
       return library.catalogue().UpdateVirtualDevice(revised(library.record()), library.key());
     },
     change},
    {"UpdateVirtualDevice,batch", updateBatch, change},
    {"SetVirtualDeviceStatus",
     [](Library& library) {
       return library.catalogue().SetVirtualDeviceStatus(library.key(), 2, 4, 2, 60, 1);
     },
     change},
    {"GetVirtualDeviceStatus,counted", [](Library& library) { return getStatus(library, false); },
     change},
    {"RemoveVirtualDevice,drive",
     [](Library& library) {
       return library.catalogue().RemoveVirtualDevice("", library.drive(2).SerialNumber,
                                                      library.key());
     },
     change},
    {"RemoveVirtualDevice,searched-drive",
     [](Library& library) {
       return library.catalogue().RemoveVirtualDevice("", library.drive(2).SerialNumber);
     },
     changeByList},
    {"RemoveVirtualDevice,unit",
     [](Library& library) {
       return library.catalogue().RemoveVirtualDevice("hosta", library.drive(2).SerialNumber,
                                                      library.key());
     },
     change},
    {"RemoveVirtualDevice,library",
     [](Library& library) {
       return library.catalogue().RemoveVirtualDevice("", library.key(), library.key());
     },
     removeWithList},
};

using Made = std::shared_ptr<Library>;

/// Restores the files for a query, too: a benchmark of another size may have replaced the list.
bench::Round queryRound(const Operation& operation, const Made& library) {
  return bench::timed({[=] { bench::require(operation.call(*library), operation.name); },
                       [=] { operation.bare(*library); }, [=] { library->restore(); }});
}

bench::Round changeRound(const Operation& operation, const Made& library) {
  return bench::timed({[=] { bench::require(operation.call(*library), operation.name); },
                       [=] { operation.bare(*library); }, [=] { library->restore(); },
                       [=] { library->requireChange(); }});
}

/// Adds a second library to the list. The bare work parses the file of that library instead of
/// building its document.
bench::Round creationRound(const Made& listed, const std::string& folder) {
  SCSIUnit record = listed->record();
  record.SerialNumber += "new";
  const std::string file = folder + "/LibEmulator/Lib_" + record.SerialNumber + ".xml";
  const std::string copy = folder + "/bare/" + record.SerialNumber + ".xml";
  const auto prepare = [=] {
    std::filesystem::remove(file);
    listed->restore();
  };
  const auto create = [=] {
    bench::require(listed->catalogue().UpdateVirtualDevice(record, ""), "creating a library");
  };
  const auto check = [=] { bench::require(std::filesystem::exists(file), "saving " + file); };
  const auto bare = [=] {
    const bench::Content library = bench::parseAndSerialise(copy);
    const bench::Content list = bench::parseAndSerialise(listed->listCopy());
    bench::replaceTogether(bench::replacement(copy, library),
                           bench::replacement(listed->listCopy(), list));
  };
  prepare();
  create();
  std::filesystem::copy_file(file, copy, std::filesystem::copy_options::overwrite_existing);
  return bench::timed({create, bare, prepare, check});
}

using MakeRound = std::function<bench::Round(const Made&)>;

constexpr int kSmall = 1000;
constexpr int kLarge = 50000;
constexpr int kSmallRounds = 9;  // for each round with the large library

/// How much more an element costs in the large library than in the small one. Both are measured in
/// turns, because the load of the machine may change between two benchmarks.
bench::Round growthRound(const bench::Round& large, const bench::Round& small) {
  return [=](bool isCallFirst) {
    std::vector<double> call;
    std::vector<double> bare;
    for (int i = 0; i < kSmallRounds; ++i) {
      const bench::Figures each = small(isCallFirst);
      call.push_back(each.call);
      bare.push_back(each.bare);
    }
    constexpr double sizes = double{kLarge} / kSmall;
    const bench::Figures all = large(isCallFirst);
    return bench::Figures{all.call / bench::median(call) / sizes,
                          all.bare / bench::median(bare) / sizes};
  };
}

void measure(const std::string& name, const Place& place, const MakeRound& makeRound) {
  const auto roundOf = [=, &place](int elements) {
    return makeRound(std::make_shared<Library>(place, elements));
  };
  for (const int elements : {10, 100, kSmall, 10000, kLarge}) {
    auto* const benchmark = bench::compare("catalogue/" + name + "/" + std::to_string(elements),
                                           [=] { return roundOf(elements); });
    if (elements == kLarge) {
      benchmark->Repetitions(bench::kSlowRepetitions);
    }
  }
  bench::compare("growth/" + name, [=] { return growthRound(roundOf(kLarge), roundOf(kSmall)); });
}

}  // namespace

void bench::registerCatalogue(const Place& place) {
  for (const Operation& operation : kQueries) {
    measure(std::string("query/") + operation.name, place,
            [&](const Made& library) { return queryRound(operation, library); });
  }
  for (const Operation& operation : kChanges) {
    measure(std::string("change/") + operation.name, place,
            [&](const Made& library) { return changeRound(operation, library); });
  }
  measure("change/UpdateVirtualDevice,new-library", place,
          [&](const Made& library) { return creationRound(library, place.folder()); });
}

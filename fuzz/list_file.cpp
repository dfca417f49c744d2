// Fuzz target: every operation that reads or changes a hostile library list.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <vector>

#include "Catalogue.h"

namespace {

using fuzz::Operation;
using enum Operation::Start;
using enum Operation::Kind;
using Emulator = TqLibEmulator;

constexpr char kList[] = "LibraryList.xml";

bool devices(Emulator& emulator, const std::string& host) {
  std::vector<SCSIUnitNoMap> found;
  return emulator.GetVirtualDeviceInfo(host, found);
}

const Operation kOperations[] = {
    {"query devices", AsLeft, Reads, [](Emulator& e) { return devices(e, "a"); }},
    {"current volume", AsLeft, Reads,
     [](Emulator& e) {
       std::string barCode;
       return e.GetCurrentVolume("D2", barCode);
     }},
    {"current volume of no drive", AsLeft, Reads,
     [](Emulator& e) {
       std::string barCode;
       return e.GetCurrentVolume("none", barCode);
     }},
    {"remove nothing", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("a", "none"); }},
    {"add a library", AsLeft, Changes,
     [](Emulator& e) { return e.UpdateVirtualDevice(fuzz::libraryRecord("L3"), ""); }},
    {"add a library with its drive", AsLeft, Changes,
     [](Emulator& e) {
       try {
         const std::vector<SCSIUnitNoMap> both{fuzz::libraryRecord("L4"), fuzz::driveRecord()};
         return e.UpdateVirtualDevice(both, "L4");
       } catch (const std::exception&) {
         return false;
       }
     }},
    {"query what was added", AsLeft, Reads, [](Emulator& e) { return devices(e, ""); }},
    {"remove a host's library", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("a", "L2"); }},
    {"remove a library", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", "L2"); }},
    {"remove a library by its key", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", "L1", "L1"); }},
    {"remove a library that is in the working directory", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", "L0"); }},
    {"query what is left", AsLeft, Reads, [](Emulator& e) { return devices(e, ""); }},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string first = fuzz::validLibrary("L1", "D1");
  static const std::string second = fuzz::validLibrary("L2", "D2");
  static const std::string unnamed = fuzz::validLibrary("L0", "D0");
  fuzz::runAll({{kList, {reinterpret_cast<const char*>(data), size}},
                {"Lib_L1.xml", first},
                {"Lib_L2.xml", second},
                {"Library1.xml", unnamed}},
               kList, kOperations);
  return 0;
}

// Fuzz target: every operation on a hostile library file.

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

constexpr char kKey[] = "L1";
constexpr char kDrive[] = "D1";
constexpr char kFile[] = "Lib_L1.xml";

constexpr bool kRemove = true;
constexpr bool kPeek = true;

LibElement empty(int type, int address) {
  return {type, address, false, false, ""};
}

LibElement with(const char* barCode, int type, int address) {
  return {type, address, false, true, barCode};
}

bool devices(Emulator& emulator, const std::string& host) {
  std::vector<SCSIUnitNoMap> found;
  return emulator.GetVirtualDeviceInfo(host, found, kKey);
}

bool status(Emulator& emulator, bool peek) {
  int status = 0, asc = 0, ascq = 0;
  return emulator.GetVirtualDeviceStatus(kKey, status, asc, ascq, peek);
}

bool set(Emulator& emulator, const LibElement& element) {
  return emulator.SetVirtualLibraryElement(kKey, element, !kRemove);
}

bool move(Emulator& emulator, const LibElement& from, const LibElement& to) {
  return emulator.MoveVirtualLibraryElement(kKey, from.elementType, from.elementAddress,
                                            to.elementType, to.elementAddress);
}

const LibElement kSlot = empty(LIB_ELEM_SLOT, 1000);
const LibElement kOtherSlot = empty(LIB_ELEM_SLOT, 1001);
const LibElement kMailSlot = empty(LIB_ELEM_MAIL_SLOT, 10);
const LibElement kDriveElement = empty(LIB_ELEM_DRIVE, 500);
const LibElement kShelf = empty(LIB_ELEM_SHELF, 1);

const Operation kOperations[] = {
    {"query elements", AsLeft, Reads,
     [](Emulator& e) {
       std::vector<LibElement> found;
       return e.GetVirtualLibraryElements(kKey, found);
     }},
    {"query devices of a host", AsLeft, Reads, [](Emulator& e) { return devices(e, "b"); }},
    {"query devices of any host", AsLeft, Reads, [](Emulator& e) { return devices(e, ""); }},
    {"query devices of all libraries", AsLeft, Reads,
     [](Emulator& e) {
       std::vector<SCSIUnitNoMap> found;
       return e.GetVirtualDeviceInfo("a", found);
     }},
    {"current volume", AsLeft, Reads,
     [](Emulator& e) {
       std::string barCode;
       return e.GetCurrentVolume(kDrive, barCode);
     }},
    {"peek status", AsLeft, Reads, [](Emulator& e) { return status(e, kPeek); }},
    {"get status", AsLeft, Changes, [](Emulator& e) { return status(e, !kPeek); }},
    {"set status", AsLeft, Changes,
     [](Emulator& e) { return e.SetVirtualDeviceStatus(kKey, 2, 4, 1, 60, 2); }},
    {"get the status set", AsLeft, Changes, [](Emulator& e) { return status(e, !kPeek); }},
    {"move slot to slot", AsLeft, Changes, [](Emulator& e) { return move(e, kSlot, kOtherSlot); }},
    {"move drive to slot", AsLeft, Changes,
     [](Emulator& e) { return move(e, kDriveElement, kSlot); }},
    {"move slot to drive", AsLeft, Changes,
     [](Emulator& e) { return move(e, kOtherSlot, kDriveElement); }},
    {"move shelf to mail slot", AsLeft, Changes,
     [](Emulator& e) { return move(e, kShelf, kMailSlot); }},
    {"set slot", AsLeft, Changes,
     [](Emulator& e) { return set(e, with("N1", LIB_ELEM_SLOT, 1000)); }},
    {"empty drive", AsLeft, Changes, [](Emulator& e) { return set(e, kDriveElement); }},
    {"set shelf", AsLeft, Changes,
     [](Emulator& e) { return set(e, with("N2", LIB_ELEM_SHELF, 2)); }},
    {"set elements", AsLeft, Changes,
     [](Emulator& e) {
       const std::vector<LibElement> all{
           with("N3", LIB_ELEM_SLOT, 1001),    with("N4", LIB_ELEM_SLOT, 1002),
           with("N5", LIB_ELEM_MAIL_SLOT, 11), with("N6", LIB_ELEM_DRIVE, 500),
           with("N7", LIB_ELEM_SHELF, 1),      kShelf};
       return e.SetVirtualLibraryElement(kKey, all, !kRemove);
     }},
    {"remove slot", AsLeft, Changes,
     [](Emulator& e) { return e.SetVirtualLibraryElement(kKey, kSlot, kRemove); }},
    {"remove elements", AsLeft, Changes,
     [](Emulator& e) {
       const std::vector<LibElement> all{kOtherSlot, kMailSlot, kDriveElement, kShelf, kShelf};
       return e.SetVirtualLibraryElement(kKey, all, kRemove);
     }},
    {"update library", Restored, Changes,
     [](Emulator& e) { return e.UpdateVirtualDevice(fuzz::libraryRecord(), ""); }},
    {"update drive", AsLeft, Changes,
     [](Emulator& e) { return e.UpdateVirtualDevice(fuzz::driveRecord(), kKey); }},
    {"update both", Restored, Changes,
     [](Emulator& e) {
       try {
         const std::vector<SCSIUnitNoMap> both{fuzz::libraryRecord(), fuzz::driveRecord()};
         return e.UpdateVirtualDevice(both, kKey);
       } catch (const std::exception&) {
         return false;
       }
     }},
    {"query what was updated", AsLeft, Reads, [](Emulator& e) { return devices(e, "a"); }},
    {"remove a host's drive", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("a", kDrive, kKey); }},
    {"remove a host's library", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("a", kKey, kKey); }},
    {"remove drive", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", kDrive, kKey); }},
    {"remove drive from any library", Restored, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", kDrive); }},
    {"remove library", AsLeft, Changes,
     [](Emulator& e) { return e.RemoveVirtualDevice("", kKey, kKey); }},
    {"query what was removed", AsLeft, Reads, [](Emulator& e) { return devices(e, "a"); }},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::runAll({{kFile, {reinterpret_cast<const char*>(data), size}},
                {"LibraryList.xml", "<LibraryList><Library Id=\"L1\"/></LibraryList>"}},
               kFile, kOperations);
  return 0;
}

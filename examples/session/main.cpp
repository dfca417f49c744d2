// Runs a session: reads a command a line from standard input, and writes it with its answer. What
// is behind " = " in a line is left out, so that a session can be compared with what it prints.
#include <iostream>

#include "Session.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

// Registers the library unless it exists. A call may return true although nothing was saved, so
// look at the elements at the end.
bool setUp() {
  std::string folder;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(folder) != 1) return false;
  if (TqLibEmlFile::IsFilePresent(folder + "Lib_LIB1.xml")) return true;
  SCSIUnit library;
  library.MAName = "host-a";
  library.Manufacturer = "ACME";
  library.Model = "VL-4";
  library.FirmwareRevision = "1.0";
  library.ScsiDeviceType = 8;
  library.SerialNumber = "LIB1";
  library.SlotBaseAddress = 1000;
  library.SlotCount = 3;
  library.IEPortBaseAddress = 10;
  library.IEPortCount = 1;
  library.DriveBaseAddress = 500;
  library.DriveCount = 2;
  library.DriveIdentifierMap = {{1, "DRIVE1"}, {2, "DRIVE2"}};
  SCSIUnit drive;
  drive.MAName = "host-a";
  drive.Manufacturer = "ACME";
  drive.Model = "VT-1";
  drive.FirmwareRevision = "1.0";
  drive.ScsiDeviceType = 1;
  drive.SerialNumber = "DRIVE1";
  SCSIUnit second = drive;
  second.SerialNumber = "DRIVE2";
  const std::vector<SCSIUnitNoMap> devices{library, drive, second};
  const std::vector<LibElement> media{{LIB_ELEM_DRIVE, 500, true, true, "A00001"},
                                      {LIB_ELEM_SLOT, 1001, true, true, "A00002"}};
  std::vector<LibElement> elements;
  TqLibEmulator catalogue;
  return catalogue.UpdateVirtualDevice(devices, "LIB1") &&
         catalogue.SetVirtualLibraryElement("LIB1", media, false) &&
         catalogue.GetVirtualLibraryElements("LIB1", elements) && elements.size() == 6;
}

}  // namespace

int main() {
  if (!setUp()) {
    std::cerr << "The library cannot be made; see the log\n";
    return 1;
  }
  Session session("LIB1");
  for (std::string line; std::getline(std::cin, line);) {
    const std::string command = line.substr(0, line.find(" = "));
    const bool isCommand = !command.empty() && command[0] != '#';
    std::cout << command << (isCommand ? " = " + session.answer(command) : "") << std::endl;
  }
}

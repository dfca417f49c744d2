// A medium changer with a drive, as an emulator puts it before a host: one command a line on
// standard input, one answer a line on standard output, reasons of failures on standard error.
// It needs a configuration (TQ_PLATFORM_CONFIG) that says where the catalogue lies.
//
//   ready                        GOOD, or the status attached to the library
//   fail STATUS ASC ASCQ         attaches one, to be reported once within a minute
//   inquiry HOST                 the devices that the host sees: type, serial number
//   move TYPE FROM TYPE TO       2: slot, 3: import/export slot, 4: drive, 5: shelf
//   write DRIVE MARK AT TEXT     a block to the volume in the drive of that serial number
//   read DRIVE MARK AT           a block from it
#include <iostream>
#include <sstream>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

using Text = std::string;
constexpr std::size_t kLongestRead = 64 << 10;
const Text good = "GOOD";
const Text check = "CHECK ";  // what follows: sense key, additional sense code, qualifier

// An object keeps the code of its last failure, so each command has an object of its own.
Text refuse(const MMS2BaseError& object) {
  char reason[512];
  object.getLastError(reason, sizeof reason);
  std::cerr << "code " << object.getErrorCode() << ": " << reason << '\n';
  static const std::map<int, Text> senses = {
      {40018, "05/3B/0E"},  // medium source element empty
      {40006, "05/3B/0D"},  // medium destination element full
      {50009, "05/21/01"},  // invalid element address
      {785, "0D/00/02"},    // volume overflow
      {767, "03/0C/00"},    // write error
      {979, "03/11/00"}};   // unrecovered read error
  const auto known = senses.find(object.getErrorCode());
  return check + (known == senses.end() ? "04/44/00" : known->second);  // internal target failure
}

// A call may return true with nothing saved, so the catalogue itself is asked in the end.
bool setUp() {
  Text folder;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(folder) != 1) return false;
  if (TqLibEmlFile::IsFilePresent(folder + "Lib_LIB1.xml")) return true;
  SCSIUnit library, drive;
  library.MAName = drive.MAName = "host-a";
  library.ScsiDeviceType = 8, library.SerialNumber = "LIB1", drive.ScsiDeviceType = 1;
  library.SlotBaseAddress = 1000, library.SlotCount = 3;
  library.DriveBaseAddress = 500, library.DriveCount = 1;
  library.DriveIdentifierMap[1] = drive.SerialNumber = "DRIVE1";
  const LibElement tape{LIB_ELEM_SLOT, 1000, true, true, "A00001"};
  const std::vector<SCSIUnitNoMap> devices{library, drive};
  std::vector<LibElement> elements;
  TqLibEmulator catalogue;
  return catalogue.UpdateVirtualDevice(devices, "LIB1") &&
         catalogue.SetVirtualLibraryElement("LIB1", tape, false) &&
         catalogue.GetVirtualLibraryElements("LIB1", elements) && elements.size() == 4;
}

Text ready(TqLibEmulator& catalogue) {
  int status = 0, asc = 0, ascq = 0;
  if (!catalogue.GetVirtualDeviceStatus("LIB1", status, asc, ascq, false)) return refuse(catalogue);
  const auto text = [](int value) { return ' ' + std::to_string(value); };
  return status == 0 ? good : "STATUS" + text(status) + text(asc) + text(ascq);
}

Text inquiry(TqLibEmulator& catalogue, const Text& host) {
  std::vector<SCSIUnitNoMap> devices;
  if (!catalogue.GetVirtualDeviceInfo(host, devices, "LIB1")) return refuse(catalogue);
  Text seen = good + ' ' + std::to_string(devices.size()) + " devices";
  for (const auto& d : devices)
    seen += ", " + std::to_string(d.ScsiDeviceType) + ' ' + d.SerialNumber;
  return seen;
}

Text transfer(bool isWrite, const Text& drive, int mark, int at, Text block) {
  TqLibEmulator catalogue;
  Text barCode;
  if (!catalogue.GetCurrentVolume(drive, barCode)) return check + "05/25/00";  // no such unit
  if (barCode.empty()) return check + "02/3A/00";                              // no medium
  TqLibEmlFile volume(barCode);
  const auto offset = static_cast<unsigned long long>(at);
  auto* bytes = reinterpret_cast<unsigned char*>(block.data());
  unsigned long count = 0;
  if (isWrite) {  // true alone says no more than that the volume could be measured
    const bool isMeasured = volume.WriteDataForDrive(mark, offset, bytes, block.size(), count);
    return isMeasured && count == block.size() ? good : refuse(volume);
  }
  if (!volume.ReadDataForDrive(mark, offset, bytes, block.size(), count)) return refuse(volume);
  return count == 0 ? check + "08/00/05" : good + ' ' + block.substr(0, count);  // end of data
}

Text answer(const Text& line) {
  std::istringstream words(line);
  TqLibEmulator catalogue;
  Text command, name;
  int a = 0, b = 0, c = 0, d = 0;
  words >> command;
  if (command == "ready") return ready(catalogue);
  if (command == "inquiry" && words >> name) return inquiry(catalogue, name);
  if (command == "fail" && words >> a >> b >> c) {
    return catalogue.SetVirtualDeviceStatus("LIB1", a, b, c, 60, 1) ? good : refuse(catalogue);
  }
  if (command == "move" && words >> a >> b >> c >> d) {
    return catalogue.MoveVirtualLibraryElement("LIB1", a, b, c, d) ? good : refuse(catalogue);
  }
  const bool isWrite = command == "write";
  if ((isWrite || command == "read") && words >> name >> a >> b && a >= 0 && b >= 0) {
    Text block(isWrite ? 0 : kLongestRead, ' ');
    if (!isWrite || words >> block) return transfer(isWrite, name, a, b, block);
  }
  return check + "05/24/00";  // invalid field in the command
}

}  // namespace

int main() {
  if (!setUp()) {
    std::cerr << "The library cannot be made; see the log\n";
    return 1;
  }
  for (Text line; std::getline(std::cin, line);) std::cout << answer(line) << std::endl;
}

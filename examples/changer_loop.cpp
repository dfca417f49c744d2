// A medium changer with a drive, as an emulator shows it to a host. It reads one command a line
// from standard input and writes one answer a line to standard output and reasons of failures to
// standard error. It needs a configuration (TQ_PLATFORM_CONFIG) with the catalogue directory.
//
//   ready                        GOOD, or the status injected into the library
//   fail STATUS ASC ASCQ         injects a status, to be reported once within a minute
//   inquiry HOST                 the devices that the host sees: type, serial number
//   move TYPE FROM TYPE TO       2: slot, 3: import/export slot, 4: drive, 5: shelf
//   write DRIVE MARK AT TEXT     writes a block to the volume in the drive of that serial number
//   read DRIVE MARK AT           reads a block from it
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

constexpr std::size_t kLongestRead = 64 << 10;
constexpr int kVolumeFull = 785;

// Sense key, additional sense code, qualifier
constexpr char kGood[] = "GOOD";
constexpr char kEarlyWarning[] = "CHECK 00/00/02 EOM";  // no sense, end of medium: block accepted
constexpr char kNoMedium[] = "CHECK 02/3A/00";
constexpr char kTargetFailure[] = "CHECK 04/44/00";
constexpr char kInvalidField[] = "CHECK 05/24/00";
constexpr char kNoSuchUnit[] = "CHECK 05/25/00";
constexpr char kEndOfData[] = "CHECK 08/00/05";

// The answer for a failed command. Each command uses a new object, because an object keeps the code
// of its last failure.
std::string refuse(const MMS2BaseError& object) {
  static const std::map<int, std::string> answers = {
      {40006, "CHECK 05/3B/0D"},        // medium destination element full
      {40018, "CHECK 05/3B/0E"},        // medium source element empty
      {50009, "CHECK 05/21/01"},        // invalid element address
      {767, "CHECK 03/0C/00"},          // write error
      {979, "CHECK 03/11/00"},          // unrecovered read error
      {kVolumeFull, "CHECK 0D/00/02"},  // volume overflow: the block is incomplete
  };
  char reason[512];
  object.getLastError(reason, sizeof reason);
  std::cerr << "code " << object.getErrorCode() << ": " << reason << '\n';
  const auto known = answers.find(object.getErrorCode());
  return known == answers.end() ? kTargetFailure : known->second;
}

// Creates the library unless it exists. A call may return true although nothing was saved, so the
// file is checked at the end.
bool setUp() {
  std::string folder;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(folder) != 1) {
    return false;
  }
  if (TqLibEmlFile::IsFilePresent(folder + "Lib_LIB1.xml")) {
    return true;
  }
  SCSIUnit library;
  library.MAName = "host-a";
  library.ScsiDeviceType = 8;
  library.SerialNumber = "LIB1";
  library.SlotBaseAddress = 1000;
  library.SlotCount = 3;
  library.DriveBaseAddress = 500;
  library.DriveCount = 1;
  library.DriveIdentifierMap[1] = "DRIVE1";
  SCSIUnit drive;
  drive.MAName = "host-a";
  drive.ScsiDeviceType = 1;
  drive.SerialNumber = "DRIVE1";
  const std::vector<SCSIUnitNoMap> devices{library, drive};
  const LibElement tape{LIB_ELEM_SLOT, 1000, true, true, "A00001"};
  std::vector<LibElement> elements;
  TqLibEmulator catalogue;
  return catalogue.UpdateVirtualDevice(devices, "LIB1") &&
         catalogue.SetVirtualLibraryElement("LIB1", tape, false) &&
         catalogue.GetVirtualLibraryElements("LIB1", elements) && elements.size() == 4;
}

std::string reportStatus() {
  TqLibEmulator catalogue;
  int status = 0;
  int asc = 0;
  int ascq = 0;
  if (!catalogue.GetVirtualDeviceStatus("LIB1", status, asc, ascq, false)) {
    return refuse(catalogue);
  }
  if (status == 0) {
    return kGood;
  }
  std::ostringstream text;
  text << "STATUS " << status << ' ' << asc << ' ' << ascq;
  return text.str();
}

std::string attachStatus(std::istream& words) {
  int status = 0;
  int asc = 0;
  int ascq = 0;
  if (!(words >> status >> asc >> ascq)) {
    return kInvalidField;
  }
  TqLibEmulator catalogue;
  const bool isSet = catalogue.SetVirtualDeviceStatus("LIB1", status, asc, ascq, 60, 1);
  return isSet ? kGood : refuse(catalogue);
}

std::string listDevices(std::istream& words) {
  std::string host;
  if (!(words >> host)) {
    return kInvalidField;
  }
  TqLibEmulator catalogue;
  std::vector<SCSIUnitNoMap> devices;
  if (!catalogue.GetVirtualDeviceInfo(host, devices, "LIB1")) {
    return refuse(catalogue);
  }
  std::ostringstream text;
  text << kGood << ' ' << devices.size() << " devices";
  for (const SCSIUnitNoMap& device : devices) {
    text << ", " << device.ScsiDeviceType << ' ' << device.SerialNumber;
  }
  return text.str();
}

std::string moveMedium(std::istream& words) {
  int fromType = 0;
  int from = 0;
  int toType = 0;
  int to = 0;
  if (!(words >> fromType >> from >> toType >> to)) {
    return kInvalidField;
  }
  TqLibEmulator catalogue;
  if (!catalogue.MoveVirtualLibraryElement("LIB1", fromType, from, toType, to)) {
    return refuse(catalogue);
  }
  const std::string unsaved = catalogue.saveError();
  if (!unsaved.empty()) {  // after a restart, the medium would be in its old element
    std::cerr << unsaved << '\n';
    return kTargetFailure;
  }
  return kGood;
}

std::string writeBlock(TqLibEmlFile& volume, int mark, unsigned long long at,
                       const std::string& block) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(block.data());
  unsigned long count = 0;
  const bool isMeasured = volume.WriteDataForDrive(mark, at, bytes, block.size(), count);
  if (count != block.size()) {  // `true` only means that the volume could be measured
    return refuse(volume);
  }
  if (isMeasured) {
    return kGood;
  }
  // The block is on the volume, so the host must not write it to another volume again.
  return volume.getErrorCode() == kVolumeFull ? kEarlyWarning : refuse(volume);
}

std::string readBlock(TqLibEmlFile& volume, int mark, unsigned long long at) {
  std::string block(kLongestRead, ' ');
  auto* const bytes = reinterpret_cast<unsigned char*>(block.data());
  unsigned long count = 0;
  if (!volume.ReadDataForDrive(mark, at, bytes, block.size(), count)) {
    return refuse(volume);
  }
  return count == 0 ? kEndOfData : kGood + (' ' + block.substr(0, count));
}

std::string transferBlock(std::istream& words, bool isWrite) {
  std::string drive;
  int mark = 0;
  long long at = 0;
  std::string block;
  if (!(words >> drive >> mark >> at) || mark < 0 || at < 0 || (isWrite && !(words >> block))) {
    return kInvalidField;
  }
  TqLibEmulator catalogue;
  std::string barCode;
  if (!catalogue.GetCurrentVolume(drive, barCode)) {
    return kNoSuchUnit;
  }
  if (barCode.empty()) {
    return kNoMedium;
  }
  TqLibEmlFile volume(barCode);
  const auto offset = static_cast<unsigned long long>(at);
  return isWrite ? writeBlock(volume, mark, offset, block) : readBlock(volume, mark, offset);
}

std::string answer(const std::string& line) {
  std::istringstream words(line);
  std::string command;
  words >> command;
  if (command == "ready") {
    return reportStatus();
  }
  if (command == "fail") {
    return attachStatus(words);
  }
  if (command == "inquiry") {
    return listDevices(words);
  }
  if (command == "move") {
    return moveMedium(words);
  }
  if (command == "write" || command == "read") {
    return transferBlock(words, command == "write");
  }
  return kInvalidField;
}

}  // namespace

int main() {
  if (!setUp()) {
    std::cerr << "The library cannot be made; see the log\n";
    return 1;
  }
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << answer(line) << std::endl;
  }
}

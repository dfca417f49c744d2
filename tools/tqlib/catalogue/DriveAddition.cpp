// tqlib drive add: a drive joins a library that exists, or another host sees one of its drives.
#include <algorithm>
#include <limits>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/ElementName.h"

namespace {

struct Options {
  std::string library;
  SCSIUnitFields drive;
  int number = 0;  // 0: the next free one
};

void checkSerial(const Options& options) {
  const std::string& serial = options.drive.SerialNumber;
  if (serial.find('|') != std::string::npos) {
    throw UsageError("a drive's serial number cannot hold \"|\": " + serial);
  }
  // Such a drive could never be removed without its library.
  if (serial == options.library) {
    throw UsageError("a drive cannot have the serial number of its library: " + serial);
  }
}

/// The drive in the library, when it is there already; null when it is not.
const SCSIUnitNoMap* knownDrive(const Options& options, const std::vector<SCSIUnitNoMap>& devices) {
  const SCSIUnitNoMap* known = nullptr;
  for (const SCSIUnitNoMap& device : devices) {
    if (isLibrary(device)) continue;
    // The map goes to the library as text, in which this sign stands between two entries.
    if (device.SerialNumber.find('|') != std::string::npos) {
      throw Failure("library " + options.library +
                    " has a drive with \"|\" in its serial number: " + device.SerialNumber +
                    "; remove it first");
    }
    if (folded(device.SerialNumber) == folded(options.drive.SerialNumber)) known = &device;
  }
  return known;
}

void checkKnownDrive(const Options& options, const SCSIUnitNoMap& known) {
  const std::string& serial = options.drive.SerialNumber;
  if (known.SerialNumber != serial) {
    throw Failure("library " + options.library + " has a drive " + known.SerialNumber +
                  ", and serial numbers that differ in case alone are one");
  }
  if (findDrive(devicesOf(options.library, options.drive.MAName), serial) != nullptr) {
    throw Failure("host " + options.drive.MAName + " sees drive " + serial + " already");
  }
}

int freeNumber(const std::map<int, std::string>& map) {
  int number = 1;
  while (map.contains(number)) ++number;
  return number;
}

/// The drive's number in `map`, which is entered there when it is a new one.
int place(const Options& options, std::map<int, std::string>& map) {
  const std::string& serial = options.drive.SerialNumber;
  const auto placed = std::find_if(map.begin(), map.end(),
                                   [&](const auto& entry) { return entry.second == serial; });
  if (placed != map.end()) {
    if (options.number != 0 && options.number != placed->first) {
      throw Failure("drive " + serial + " has the number " + std::to_string(placed->first));
    }
    return placed->first;
  }
  const int number = options.number != 0 ? options.number : freeNumber(map);
  if (const auto taken = map.find(number); taken != map.end()) {
    throw Failure("the number " + std::to_string(number) + " is that of drive " + taken->second);
  }
  map[number] = serial;
  return number;
}

int addressOf(const SCSIUnit& library, int number) {
  const long long address = static_cast<long long>(library.DriveBaseAddress) + number - 1;
  if (library.DriveBaseAddress < 0 || address > std::numeric_limits<int>::max()) {
    throw Failure("there is no address for drive number " + std::to_string(number) +
                  ": the drives of library " + library.SerialNumber + " begin at " +
                  std::to_string(library.DriveBaseAddress));
  }
  return static_cast<int>(address);
}

void refuseOverlap(const std::string& library, int address) {
  for (const LibElement& element : inventory(library)) {
    if (isSlot(element) && element.elementAddress == address) {
      throw Failure("the drive's address would be that of " + elementName(element));
    }
  }
}

// An update writes all of a drive's identity, so what is not given stays as it is known.
SCSIUnitNoMap driveRecord(const Options& options, const SCSIUnitNoMap* known, int address) {
  SCSIUnit record;
  static_cast<SCSIUnitFields&>(record) = options.drive;
  record.ScsiDeviceType = kSequentialAccess;
  record.DriveBaseAddress = address;
  if (known != nullptr) {
    if (record.Manufacturer.empty()) record.Manufacturer = known->Manufacturer;
    if (record.Model.empty()) record.Model = known->Model;
    if (record.FirmwareRevision.empty()) record.FirmwareRevision = known->FirmwareRevision;
  }
  return SCSIUnitNoMap(record);
}

SCSIUnit libraryRecord(const std::string& library, const std::vector<SCSIUnitNoMap>& devices) {
  const SCSIUnitNoMap* found = findLibrary(devices);
  if (found == nullptr) throw Failure("no host sees library " + library);
  SCSIUnit record = *found;
  // A drive without a place appears under a number below the first.
  std::erase_if(record.DriveIdentifierMap, [](const auto& entry) { return entry.first < 1; });
  return record;
}

// The update is a success for the library also when it changed nothing, so the catalogue is asked.
void verify(const Options& options, int address) {
  const auto seen = devicesOf(options.library, options.drive.MAName);
  const SCSIUnitNoMap* drive = findDrive(seen, options.drive.SerialNumber);
  if (drive == nullptr || drive->DriveBaseAddress != address) {
    throw notSaved("drive " + options.drive.SerialNumber);
  }
}

struct Place {
  int number = 0;
  int address = 0;
};

Place addToLibrary(const Options& options) {
  requireWholeLibrary(options.library);
  const std::string& serial = options.drive.SerialNumber;
  const std::vector<SCSIUnitNoMap> devices = devicesOf(options.library, "");
  const SCSIUnitNoMap* known = knownDrive(options, devices);
  if (known != nullptr) {
    checkKnownDrive(options, *known);
  } else {
    refuseDrivesElsewhere({serial}, options.library);
  }

  SCSIUnit library = libraryRecord(options.library, devices);
  const int number = place(options, library.DriveIdentifierMap);
  const int address = addressOf(library, number);
  refuseOverlap(options.library, address);
  // The library announces its drives as a count from the first address on.
  library.DriveCount = std::max(library.DriveCount, number);
  updateDevices({SCSIUnitNoMap(library), driveRecord(options, known, address)}, options.library,
                "drive " + serial + " cannot be added");
  verify(options, address);
  return {number, address};
}

void addDrive(const Options& options, const Session& session) {
  checkSerial(options);
  useConfiguration(session.config);
  Place place;
  asOneStep([&] { place = addToLibrary(options); });
  const std::string& serial = options.drive.SerialNumber;
  printResult(session.json,
              {{"library", options.library},
               {"drive", serial},
               {"host", options.drive.MAName},
               {"number", place.number},
               {"address", place.address}},
              "host " + options.drive.MAName + " sees drive " + serial + ", number " +
                  std::to_string(place.number) + " at address " + std::to_string(place.address));
}

}  // namespace

void addDriveAddition(CLI::App& group, Session& session) {
  const auto [command, options] =
      addCommand(group, session,
                 {"add", "Add a drive to a library, or show one to another host",
                  "tqlib drive add LIB001 LIB001D2 --host host-b"},
                 addDrive);
  SCSIUnitFields& drive = options.drive;
  addLibraryOperand(command, options.library);
  addDriveOperand(command, drive.SerialNumber);
  addText(command, "--host", drive.MAName, "The host that sees the drive")->required();
  command.add_option("--number", options.number, "Drive number, from 1 (else the next free one)")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
  addText(command, "--vendor", drive.Manufacturer, "The drive's manufacturer");
  addText(command, "--model", drive.Model, "The drive's model");
  addText(command, "--firmware", drive.FirmwareRevision, "The drive's firmware revision");
  addText(command, "--path", drive.AccessPath, "The drive's device path on the host");
  addText(command, "--port", drive.ScsiPort, "The drive's SCSI port");
  command.add_option("--bus", drive.Bus, "The drive's SCSI bus");
  command.add_option("--target", drive.Target, "The drive's SCSI target");
  command.add_option("--lun", drive.Lun, "The drive's logical unit");
}

// tqlib drive, device and host: drives are added to a library, and removed from it, and
// reports show what a drive holds, which hosts there are, and which devices a host sees.
#include <algorithm>
#include <climits>
#include <iostream>
#include <utility>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Devices.h"
#include "catalogue/Elements.h"

namespace {

struct Options {
  std::string library;
  SCSIUnitFields drive;  // and the host that sees it
  int number = 0;        // 0: the next free one
  bool force = false;
};

/// The drive if the library has it already; else null. Throws Failure when it cannot be added.
const Device* knownDrive(const Options& wanted, const LibraryDevices& devices) {
  const std::string& serial = wanted.drive.SerialNumber;
  const std::string& host = wanted.drive.MAName;
  const Device* known = nullptr;
  for (const Device& drive : devices.drives) {
    const std::string& other = drive.record.SerialNumber;
    // Such a serial number would damage the text that holds the map of all drives.
    if (const std::string problem = driveSerialProblem(other, wanted.library); !problem.empty()) {
      throw Failure(problem, "\"tqlib drive remove\" removes that drive");
    }
    if (folded(other) != folded(serial)) continue;
    known = &drive;
    if (other != serial) {
      throw Failure(fmt::format("library {} has a drive {}, which differs in case only",
                                wanted.library, other));
    }
  }
  if (known == nullptr) {
    refuseDrivesElsewhere({serial}, wanted.library);
  } else if (findHost(*known, host) != nullptr) {
    throw Failure(fmt::format("host {} sees drive {} already", host, serial));
  }
  return known;
}

/// The drive's number in `map`; a new drive is entered there.
int numberIn(std::map<int, std::string>& map, const Options& wanted) {
  const std::string& serial = wanted.drive.SerialNumber;
  int number = wanted.number;
  for (const auto& [placed, other] : map) {
    if (other != serial) continue;
    if (number == 0 || number == placed) return placed;
    throw Failure(fmt::format("drive {} has the number {}", serial, placed));
  }
  if (number == 0) {
    while (map.contains(++number)) {
    }
  }
  const auto [entry, isNew] = map.emplace(number, serial);
  if (!isNew) throw Failure(fmt::format("number {} belongs to drive {}", number, entry->second));
  return number;
}

/// The address of that drive number. Throws Failure when the drive cannot have it.
int addressOf(const SCSIUnit& library, int number) {
  const int base = library.DriveBaseAddress;
  if (base < 0 || number - 1 > INT_MAX - base) {
    throw Failure(fmt::format("drive number {} has no address: drives begin at {}", number, base));
  }
  const int address = base + number - 1;
  for (const LibElement& element : inventory(library.SerialNumber)) {
    if (isSlot(element) && element.elementAddress == address) {
      throw Failure(fmt::format("cannot add the drive: address {} belongs to {}", address,
                                elementName(element)));
    }
  }
  return address;
}

// An update writes the whole identity, so missing values are taken from the known drive.
SCSIUnit driveRecord(const SCSIUnitFields& drive, const Device* known, int address) {
  SCSIUnit record;
  static_cast<SCSIUnitFields&>(record) = drive;
  record.ScsiDeviceType = kSequentialAccess;
  record.DriveBaseAddress = address;
  if (known == nullptr) return record;
  for (const DeviceField& each : kIdentity) {
    const auto field = std::get<std::string SCSIUnitFields::*>(each.field);
    if ((record.*field).empty()) record.*field = known->record.*field;
  }
  return record;
}

/// Returns its number and its address.
std::pair<int, int> addToLibrary(const Options& wanted) {
  const LibraryDevices devices = devicesIn(wanted.library);
  const Device* known = knownDrive(wanted, devices);
  const auto& hosts = devices.library.hosts;
  if (hosts.empty()) throw Failure("no host sees library " + wanted.library);
  SCSIUnit library = libraryUnit(devices.library.record, devices.drives, hosts.front());
  const int number = numberIn(library.DriveIdentifierMap, wanted);
  const int address = addressOf(library, number);
  // The library announces its drives as a count from the first address on.
  library.DriveCount = std::max(library.DriveCount, number);
  change("cannot add drive " + wanted.drive.SerialNumber, [&](TqLibEmulator& emulator) {
    return emulator.UpdateVirtualDevice({library, driveRecord(wanted.drive, known, address)},
                                        wanted.library);
  });
  return {number, address};
}

void addDrive(const Options& wanted, const Session& session) {
  const std::string& serial = wanted.drive.SerialNumber;
  const std::string& host = wanted.drive.MAName;
  if (const std::string problem = driveSerialProblem(serial, wanted.library); !problem.empty()) {
    throw UsageError(problem);
  }
  std::pair<int, int> place;
  asOneStep([&] { place = addToLibrary(wanted); });
  const auto [number, address] = place;
  printResult(
      session.json,
      {{"library", wanted.library},
       {"drive", serial},
       {"host", host},
       {"number", number},
       {"address", address}},
      fmt::format("host {} sees drive {}, number {} at address {}", host, serial, number, address));
}

void removeDrive(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const std::string& serial = options.drive.SerialNumber;
  const std::string& host = options.drive.MAName;
  // With the library's own serial number, the API would remove the library.
  if (serial == library) {
    throw UsageError(serial + " is the library itself; see \"tqlib library remove\"");
  }
  bool isGone = false;  // the drive itself, not only the unit of one of several hosts
  asOneStep([&] {
    const LibraryDevices devices = devicesIn(library);
    const Device& drive = driveIn(devices, serial);
    if (!host.empty()) unitFor(drive, host);
    isGone = host.empty() || drive.hosts.size() == 1;
    if (isGone && (drive.element.isOccupied || !drive.element.barCode.empty()) && !options.force) {
      throw Failure(
          fmt::format("cannot remove drive {}: {}", serial, contentText(drive.element)),
          fmt::format("\"tqlib unload {} drive:{}\" unloads it; --force removes it with its medium",
                      library, serial));
    }
    change("cannot remove drive " + serial, [&](TqLibEmulator& emulator) {
      return emulator.RemoveVirtualDevice(host, serial, library);
    });
  });
  printResult(session.json,
              {{"library", library}, {"drive", serial}, {"host", host}, {"removed", isGone}},
              isGone ? fmt::format("drive {} removed", serial)
                     : fmt::format("host {} no longer sees drive {}", host, serial));
}

void listDrives(const Options& options, const Session& session) {
  Json list = Json::array();
  const auto failure = forEachLibrary(options.library, [&](const std::string& library) {
    for (const Device& drive : devicesIn(library).drives) {
      const LibElement& element = drive.element;
      Json& values =
          list.emplace_back(Json{{"library", library}, {"serial", drive.record.SerialNumber}});
      values["element"] = element.elementAddress < 0 ? "" : elementName(element);
      values.update({{"occupied", element.isOccupied}, {"barcode", element.barCode}});
      for (const SCSIUnitFields& host : drive.hosts) values["hosts"].push_back(host.MAName);
    }
  });
  if (failure && list.empty()) throw Failure(*failure);
  printList(session.json, {}, "drives", list,
            {"library", "serial", "element", "occupied", "barcode", "hosts"});
  if (failure) throw Failure(*failure);
}

void listHosts(const NoOptions&, const Session& session) {
  std::map<std::string, Json> hosts;
  const auto failure = forEachLibrary("", [&](const std::string& library) {
    for (const auto& [key, units] : unitsByHost(devicesIn(library))) {
      Json& host = hosts.emplace(key, Json{{"host", units.front().MAName}}).first->second;
      host["libraries"].push_back(library);
      host["devices"] = host.value("devices", std::size_t{0}) + units.size();
    }
  });
  Json list = Json::array();
  for (const auto& [key, host] : hosts) list.push_back(host);
  printList(session.json, {}, "hosts", list, {"host", "libraries", "devices"});
  if (failure) throw Failure(*failure);
}

// The API succeeds without a list, and, with a text, when the drive's barcode cannot be read.
std::string currentVolume(const std::string& serial) {
  TqLibEmulator emulator;
  std::string barcode;
  if (listedLibraries().empty() || !emulator.GetCurrentVolume(serial, barcode)) {
    throw Failure("no listed library has a drive " + serial,
                  "\"tqlib drive list\" lists the drives");
  }
  char text[64] = "";
  emulator.getLastError(text, sizeof text);
  if (barcode.empty() && std::string(text).starts_with("Failed to read value")) {
    throw Failure(fmt::format("the barcode in drive {} cannot be read", serial));
  }
  return barcode;
}

void showVolume(const Options& options, const Session& session) {
  const std::string& serial = options.drive.SerialNumber;
  const std::string barcode = currentVolume(serial);
  // A script reads the volume's name from standard output, so no other text goes there.
  if (barcode.empty() && !session.json) {
    std::cerr << "drive " << serial << " holds no medium" << std::endl;
  }
  printResult(session.json, {{"drive", serial}, {"barcode", barcode}}, barcode);
}

void listDevices(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const std::string& host = options.drive.MAName;
  const std::string where = library.empty() ? "" : " of library " + library;
  if (!library.empty()) requireLibrary(library);
  TqLibEmulator emulator;
  std::vector<SCSIUnitNoMap> devices;
  const bool isRead = library.empty() ? emulator.GetVirtualDeviceInfo(host, devices)
                                      : emulator.GetVirtualDeviceInfo(host, devices, library);
  if (!isRead) throw libraryFailure(fmt::format("cannot read the devices{}", where), emulator);
  if (devices.empty()) {
    if (!library.empty()) readLibraryFile(library);  // the call succeeds without a library, too
    throw Failure(fmt::format("host {} sees no device{}", host, where),
                  "\"tqlib host list\" lists the hosts");
  }
  Json list = Json::array();
  for (const SCSIUnitNoMap& device : devices) list.push_back(deviceJson(device));
  printList(session.json, {{"host", host}}, "devices", list,
            {"type", "serial", "vendor", "model", "port", "bus", "target", "lun", "path"});
}

void addDeviceList(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const auto [command, options] = addCommand(parent, session, listDevices, texts);
  addText(command, "HOST", options.drive.MAName, "Name of the host")->required();
  addLibraryOperand(command, options.library)
      ->required(false)
      ->description("Only this library's devices");
}

void addDriveAddition(CLI::App& group, Session& session) {
  const auto [command, options] =
      addCommand(group, session, addDrive,
                 {"add", "Add a drive to a library, or show one to another host",
                  "tqlib drive add LIB001 LIB001D2 --host host-b"});
  addLibraryOperand(command, options.library);
  addDriveOperand(command, options.drive.SerialNumber);
  addText(command, "--host", options.drive.MAName, "The host that sees the drive")->required();
  command.add_option("--number", options.number, "Drive number, from 1 (else the next free one)")
      ->check(CLI::Range(1, INT_MAX));
  addDeviceOptions(command, options.drive, "The drive's ");
}

}  // namespace

void addFields(Json& values, const SCSIUnitFields& record, std::span<const DeviceField> fields) {
  for (const DeviceField& field : fields) {
    field.visit(record, [&](const auto& value) { values[field.key] = value; });
  }
}

Json deviceJson(const SCSIUnitFields& device) {
  Json values{{"type", isLibrary(device) ? "library" : "drive"},
              {"serial", device.SerialNumber},
              {"host", device.MAName}};
  addFields(values, device, kIdentity);
  addFields(values, device, kAddressing);
  return values;
}

void addDeviceOptions(CLI::App& command, SCSIUnitFields& device, const std::string& whose) {
  const auto add = [&](const DeviceField& field) {
    field.visit(device, [&](auto& value) {
      CLI::Option* option =
          command.add_option(fmt::format("--{}", field.key), value, whose + field.help);
      if constexpr (std::is_same_v<decltype(value), std::string&>) option->check(catalogueText());
    });
  };
  std::ranges::for_each(kIdentity, add);
  std::ranges::for_each(kAddressing, add);
}

// A removal of a drive that has the library's serial number would remove the library.
std::string driveSerialProblem(const std::string& serial, const std::string& library) {
  if (serial == library) {
    return "a drive cannot have the serial number of its library: " + serial;
  }
  const bool hasSeparator = serial.find('|') != std::string::npos;
  return hasSeparator ? "a drive's serial number cannot hold \"|\": " + serial : "";
}

void addDriveCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "drive", "Drives");
  addDriveAddition(group, session);

  const auto [list, listing] =
      addCommand(group, session, listDrives,
                 {"list", "List the drives with their media and hosts", "tqlib drive list LIB001"});
  addLibraryOperand(list, listing.library)->required(false)->description("Only its drives");

  const auto [remove, removal] =
      addCommand(group, session, removeDrive,
                 {"remove", "Remove an empty drive", "tqlib drive remove LIB001 LIB001D2"});
  addLibraryOperand(remove, removal.library);
  addDriveOperand(remove, removal.drive.SerialNumber);
  addText(remove, "--host", removal.drive.MAName,
          "Only this host loses the drive; the last host's removal removes the drive");
  remove.add_flag("--force", removal.force,
                  "Remove a loaded drive; the catalogue loses its medium");

  const auto [volume, query] = addCommand(
      group, session, showVolume,
      {"volume", "Print the barcode of the medium in a drive", "tqlib drive volume LIB001D1"});
  addDriveOperand(volume, query.drive.SerialNumber);
}

void addDeviceCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "device", "Devices as hosts see them");
  addDeviceList(group, session,
                {"list", "List the devices that a host sees", "tqlib device list host-a"});
  addDeviceList(app, session,
                {"devices", "Short for \"device list\"", "tqlib devices host-a LIB001"});
  CLI::App& hosts = addGroup(app, "host", "Hosts that see libraries and drives");
  addCommand(hosts, session, listHosts,
             {"list", "List the hosts and what they see", "tqlib host list"});
}

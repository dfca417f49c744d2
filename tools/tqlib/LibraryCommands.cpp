// tqlib library: libraries come into being with their drives and slots.
#include <cstdint>
#include <limits>
#include <set>

#include "Catalogue.h"
#include "CommandSetup.h"
#include "Configuration.h"
#include "ElementName.h"
#include "Errors.h"
#include "Output.h"

namespace {

struct Range {
  const char* name;
  int type;
  int count = 0;
  int base = 0;
};

struct Options {
  SCSIUnitFields library;
  std::string driveVendor;
  std::string driveModel;
  std::vector<std::string> driveSerials;
  Range drives{"drives", LIB_ELEM_DRIVE, 0, 500};
  Range slots{"slots", LIB_ELEM_SLOT, 0, 1000};
  Range mailSlots{"mail slots", LIB_ELEM_MAIL_SLOT, 0, 10};
};

std::int64_t endOf(const Range& range) {
  return std::int64_t{range.base} + range.count;
}

void checkRanges(const Options& options) {
  const Range* ranges[] = {&options.drives, &options.slots, &options.mailSlots};
  for (const Range* one : ranges) {
    if (endOf(*one) > std::numeric_limits<int>::max()) {
      throw UsageError(std::string("the addresses of the ") + one->name + " are too large");
    }
    for (const Range* other : ranges) {
      if (one == other || one->count == 0 || other->count == 0) continue;
      if (one->base <= other->base && other->base < endOf(*one)) {
        throw UsageError(std::string("the addresses of the ") + one->name + " and the " +
                         other->name + " overlap");
      }
    }
  }
}

Options withDriveSerials(Options options) {
  auto& serials = options.driveSerials;
  if (serials.empty()) {
    for (int number = 1; number <= options.drives.count; ++number) {
      serials.push_back(options.library.SerialNumber + "D" + std::to_string(number));
    }
  }
  if (options.drives.count == 0) options.drives.count = static_cast<int>(serials.size());
  if (serials.size() != static_cast<std::size_t>(options.drives.count)) {
    throw UsageError("give --drive-serial once for each drive, or not at all");
  }
  std::set<std::string> seen;
  for (const std::string& serial : serials) {
    if (serial.find('|') != std::string::npos) {
      throw UsageError("a drive's serial number cannot hold \"|\": " + serial);
    }
    // Drives are found without regard to case, so two that differ in case are one.
    if (!seen.insert(folded(serial)).second) {
      throw UsageError("two drives have one serial number: " + serial);
    }
  }
  return options;
}

SCSIUnitNoMap libraryRecord(const Options& options) {
  SCSIUnit record;
  static_cast<SCSIUnitFields&>(record) = options.library;
  record.ScsiDeviceType = kMediumChanger;
  record.DriveCount = options.drives.count;
  record.DriveBaseAddress = options.drives.base;
  record.SlotCount = options.slots.count;
  record.SlotBaseAddress = options.slots.base;
  record.IEPortCount = options.mailSlots.count;
  record.IEPortBaseAddress = options.mailSlots.base;
  int number = 0;
  for (const std::string& serial : options.driveSerials) {
    record.DriveIdentifierMap[++number] = serial;
  }
  return SCSIUnitNoMap(record);
}

SCSIUnitNoMap driveRecord(const Options& options, int index) {
  SCSIUnit record;
  record.MAName = options.library.MAName;
  record.Manufacturer = options.driveVendor;
  record.Model = options.driveModel;
  record.SerialNumber = options.driveSerials[static_cast<std::size_t>(index)];
  record.ScsiDeviceType = kSequentialAccess;
  record.ScsiPort = options.library.ScsiPort;
  record.Bus = options.library.Bus;
  record.DriveBaseAddress = options.drives.base + index;
  return SCSIUnitNoMap(record);
}

void addExpected(std::set<std::string>& names, const Range& range) {
  LibElement element;
  element.elementType = range.type;
  for (int index = 0; index < range.count; ++index) {
    element.elementAddress = range.base + index;
    names.insert(elementName(element));
  }
}

// A batch can succeed without anything having come to exist, so the catalogue itself is asked.
void verify(const Options& options) {
  const std::string& serial = options.library.SerialNumber;
  if (!libraryExists(serial) || !isListed(serial)) throw notSaved("library " + serial);
  std::set<std::string> missing;
  for (const Range* range : {&options.drives, &options.slots, &options.mailSlots}) {
    addExpected(missing, *range);
  }
  for (const LibElement& element : inventory(serial)) missing.erase(elementName(element));
  if (!missing.empty()) {
    throw Failure("library " + serial + " lacks " + std::to_string(missing.size()) +
                  " of its elements, the first " + *missing.begin());
  }
}

void registerLibrary(const Options& options) {
  std::vector<SCSIUnitNoMap> batch{libraryRecord(options)};
  for (int index = 0; index < options.drives.count; ++index) {
    batch.push_back(driveRecord(options, index));
  }
  const std::string& serial = options.library.SerialNumber;
  updateDevices(batch, serial, "library " + serial + " cannot be created");
}

void refuseTwin(const std::string& library) {
  if (!libraryExists(library)) {
    // A second entry would make every query tell of the library twice.
    if (isListed(library)) throw listedOnly(library);
    return;
  }
  if (wasRemoved(library)) throw RemovedLibrary(library);
  throw Failure("library " + library + " exists already: " + libraryFile(library));
}

void createLibrary(const Options& given, const Session& session) {
  const Options options = withDriveSerials(given);
  checkRanges(options);
  useConfiguration(session.config);
  const std::string& serial = options.library.SerialNumber;
  refuseTwin(serial);
  registerLibrary(options);
  verify(options);
  printResult(session.json,
              {{"library", serial},
               {"drives", options.drives.count},
               {"slots", options.slots.count},
               {"mailSlots", options.mailSlots.count},
               {"driveSerials", options.driveSerials}},
              "library " + serial + " created: " + std::to_string(options.drives.count) +
                  " drives, " + std::to_string(options.slots.count) + " slots, " +
                  std::to_string(options.mailSlots.count) + " mail slots");
}

void addRange(CLI::App& command, const std::string& option, const std::string& baseOption,
              Range& range) {
  const std::string name = range.name;
  command.add_option(option, range.count, "Number of " + name)
      ->check(CLI::Range(std::numeric_limits<int>::max()));
  command.add_option(baseOption, range.base, "First address of the " + name)
      ->check(CLI::Range(std::numeric_limits<int>::max()))
      ->capture_default_str();
}

void addIdentity(CLI::App& command, Options& options) {
  SCSIUnitFields& library = options.library;
  addLibraryOperand(command, library.SerialNumber)
      ->description("Serial number; names the library from now on");
  addText(command, "--host", library.MAName, "The host that sees the library")->required();
  addText(command, "--vendor", library.Manufacturer, "The library's manufacturer");
  addText(command, "--model", library.Model, "The library's model");
  addText(command, "--firmware", library.FirmwareRevision, "The library's firmware revision");
  addText(command, "--path", library.AccessPath, "The library's device path on the host");
  addText(command, "--port", library.ScsiPort, "SCSI port of library and drives");
  command.add_option("--bus", library.Bus, "SCSI bus of library and drives");
  command.add_option("--target", library.Target, "The library's SCSI target");
  command.add_option("--lun", library.Lun, "The library's logical unit");
  addText(command, "--drive-vendor", options.driveVendor, "The drives' manufacturer");
  addText(command, "--drive-model", options.driveModel, "The drives' model");
  command
      .add_option("--drive-serial", options.driveSerials,
                  "Serial number of the next drive (else LIBRARY with D1, D2, ...)")
      ->check(catalogueText())
      ->allow_extra_args(false);
}

}  // namespace

void addLibraryCommands(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("library", "Libraries")->require_subcommand(1);
  const auto [create, options] =
      addCommand(*group, session,
                 {"create", "Create a library with drives and slots",
                  "tqlib library create LIB002 --host host-a --drives 2 --slots 40 --mail-slots 4"},
                 createLibrary);
  addIdentity(create, options);
  addRange(create, "--drives", "--drive-base", options.drives);
  addRange(create, "--slots", "--slot-base", options.slots);
  addRange(create, "--mail-slots", "--mail-base", options.mailSlots);
  addLibraryReports(*group, session);
  addLibraryRemoval(*group, session);
}

// tqlib library create: libraries come into being with their drives and slots.
#include <limits>

#include "description/LibraryCommands.h"
#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/TargetFile.h"
#include "description/LibraryCreation.h"

namespace {

constexpr std::size_t kLargestDescription = std::size_t{64} << 20;

struct Options {
  const CLI::App* command = nullptr;
  LibraryDescription described;  // library, ranges and, with its addressing, the first host
  SCSIUnitFields host;
  std::string from;
  std::string driveVendor;
  std::string driveModel;
  std::vector<std::string> driveSerials;
};

std::size_t driveCount(const Options& options) {
  const auto count = static_cast<std::size_t>(options.described.library.DriveCount);
  const std::size_t serials = options.driveSerials.size();
  if (count != 0 && serials != 0 && serials != count) {
    throw UsageError("give --drive-serial once for each drive, or not at all");
  }
  return count != 0 ? count : serials;
}

void addDrives(LibraryDescription& description, const Options& options) {
  for (std::size_t i = 0; i < driveCount(options); ++i) {
    DescribedDrive drive = usualDrive(description, i);
    if (!options.driveSerials.empty()) drive.device.SerialNumber = options.driveSerials[i];
    drive.device.Manufacturer = options.driveVendor;
    drive.device.Model = options.driveModel;
    drive.device.DriveBaseAddress = driveAddress(description, static_cast<int>(i) + 1);
    description.drives.push_back(drive);
  }
}

LibraryDescription fromOptions(const Options& options) {
  if (options.described.library.SerialNumber.empty() || options.host.MAName.empty()) {
    throw UsageError("give LIBRARY and --host, or --from");
  }
  LibraryDescription description = options.described;
  description.hosts.push_back(options.host);
  description.library.DriveCount = static_cast<int>(driveCount(options));
  try {
    checkRanges(description);
    addDrives(description, options);
    description.elements = usualElements(description);
    checkDescription(description);
  } catch (const Failure& failure) {
    throw UsageError(failure.what());
  }
  return description;
}

std::string contentOf(const std::string& file) {
  const Descriptor input(openForReading(file));
  std::string text(kLargestDescription + 1, '\0');
  const std::span<char> room(text);
  text.resize(readBlock(input.get(), {reinterpret_cast<unsigned char*>(room.data()), room.size()}));
  if (text.size() > kLargestDescription) {
    throw Failure(file + " has more than " + std::to_string(kLargestDescription >> 20) + " MiB");
  }
  return text;
}

// A description that options amend would be one more thing to say where it comes from.
void refuseAmendments(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options()) {
    if (option->count() > 0 && !option->get_positional() && option->get_name() != "--from") {
      throw UsageError(option->get_name() + " excludes --from");
    }
  }
}

LibraryDescription fromFile(const Options& options) {
  refuseAmendments(*options.command);
  const std::string& serial = options.described.library.SerialNumber;
  const std::string source = isStandardStream(options.from) ? "standard input" : options.from;
  return readDescription(contentOf(options.from), source, serial);
}

Json serialsOf(const LibraryDescription& description) {
  Json serials = Json::array();
  for (const DescribedDrive& drive : description.drives) {
    serials.push_back(drive.device.SerialNumber);
  }
  return serials;
}

void createLibrary(const Options& options, const Session& session) {
  const LibraryDescription description =
      options.from.empty() ? fromOptions(options) : fromFile(options);
  useConfiguration(session.config);
  createDescribed(description);
  const SCSIUnitFields& library = description.library;
  const std::size_t drives = description.drives.size();
  printResult(session.json,
              {{"library", library.SerialNumber},
               {"drives", drives},
               {"slots", library.SlotCount},
               {"mailSlots", library.IEPortCount},
               {"driveSerials", serialsOf(description)}},
              "library " + library.SerialNumber + " created: " + std::to_string(drives) +
                  " drives, " + std::to_string(library.SlotCount) + " slots, " +
                  std::to_string(library.IEPortCount) + " mail slots");
}

void addRange(CLI::App& command, const std::string& option, const std::string& baseOption,
              SCSIUnitFields& library, const DescribedRange& range, const std::string& name) {
  command.add_option(option, library.*range.count, "Number of " + name)
      ->check(CLI::Range(std::numeric_limits<int>::max()));
  command.add_option(baseOption, library.*range.base, "First address of the " + name)
      ->check(CLI::Range(std::numeric_limits<int>::max()))
      ->capture_default_str();
}

void addIdentity(CLI::App& command, Options& options) {
  SCSIUnitFields& library = options.described.library;
  SCSIUnitFields& host = options.host;
  addText(command, "--host", host.MAName, "The host that sees the library");
  addText(command, "--vendor", library.Manufacturer, "The library's manufacturer");
  addText(command, "--model", library.Model, "The library's model");
  addText(command, "--firmware", library.FirmwareRevision, "The library's firmware revision");
  addText(command, "--path", host.AccessPath, "The library's device path on the host");
  addText(command, "--port", host.ScsiPort, "SCSI port of library and drives");
  command.add_option("--bus", host.Bus, "SCSI bus of library and drives");
  command.add_option("--target", host.Target, "The library's SCSI target");
  command.add_option("--lun", host.Lun, "The library's logical unit");
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
  SCSIUnitFields& library = options.described.library;
  options.command = &create;
  addLibraryOperand(create, library.SerialNumber)
      ->required(false)
      ->description("Serial number; names the library from now on");
  addIdentity(create, options);
  const auto& [mail, slots] = kSlotRanges;
  addRange(create, "--drives", "--drive-base", library, kDriveRange, "drives");
  addRange(create, "--slots", "--slot-base", library, slots, "slots");
  addRange(create, "--mail-slots", "--mail-base", library, mail, "mail slots");
  create.add_option(
      "--from", options.from,
      "Create what the JSON in this file describes, which no other option amends; - is "
      "standard input");
  addLibraryReports(*group, session);
  addLibraryRemoval(*group, session);
  addLibraryExport(*group, session);
}

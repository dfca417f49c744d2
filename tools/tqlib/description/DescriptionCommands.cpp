// tqlib library create, from options or from JSON, and tqlib library export, which writes the JSON.
//
// Options and JSON become a description, which is checked whole before the catalogue is touched.
// The API creates library, drives and units in one update; a second one creates and fills elements.
// All is one step for other processes, so that a half-created library can be removed again.
//
// An export takes the library's record and its elements from the API. Drives and hosts are read
// from the file, because no call reports the order of a drive's hosts.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/LibraryList.h"
#include "description/DescriptionCommands.h"
#include "description/LibraryDescription.h"
#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/DomValues.h"
#include "files/ReplacedFile.h"
#include "files/XmlText.h"

namespace {

constexpr std::size_t kLargestDescription = std::size_t{64} << 20;

struct CreateOptions {
  const CLI::App* command = nullptr;
  LibraryDescription described;  // serial number and ranges
  SCSIUnitFields device;         // the library as its first host sees it
  std::string from;
  std::string driveVendor;
  std::string driveModel;
  std::vector<std::string> driveSerials;
};

struct ExportOptions {
  std::string library;
  std::string file;
};

void addDrives(LibraryDescription& description, const CreateOptions& options) {
  const auto count = static_cast<std::size_t>(description.library.DriveCount);
  for (std::size_t i = 0; i < count; ++i) {
    DescribedDrive& drive = description.drives.emplace_back(usualDrive(description, i));
    if (!options.driveSerials.empty()) drive.device.SerialNumber = options.driveSerials[i];
    drive.device.Manufacturer = options.driveVendor;
    drive.device.Model = options.driveModel;
    drive.device.DriveBaseAddress = driveAddress(description, static_cast<std::int64_t>(i) + 1);
  }
}

LibraryDescription fromOptions(const CreateOptions& options) {
  LibraryDescription description = options.described;
  SCSIUnitFields& library = description.library;
  if (library.SerialNumber.empty() || options.device.MAName.empty()) {
    throw UsageError("give LIBRARY and --host, or --from");
  }
  const int serials = static_cast<int>(options.driveSerials.size());
  if (library.DriveCount == 0) library.DriveCount = serials;
  if (serials != 0 && serials != library.DriveCount) {
    throw UsageError("give --drive-serial once for each drive, or not at all");
  }
  copyFields(options.device, library, kIdentity);
  description.hosts.push_back(options.device);
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

std::string contentOf(const std::string& path, bool isStandardInput) {
  std::ifstream file;
  if (!isStandardInput) file.open(path);
  if (!isStandardInput && !file) throw systemFailure("cannot open " + path, errno);
  std::istream& input = isStandardInput ? std::cin : file;
  std::string text(kLargestDescription + 1, '\0');
  input.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(input.gcount()));
  if (input.bad()) throw systemFailure("cannot read " + path, errno);
  if (text.size() > kLargestDescription) {
    throw Failure(fmt::format("{} has more than {} MiB", path, kLargestDescription >> 20));
  }
  return text;
}

LibraryDescription fromFile(const CreateOptions& options) {
  for (const CLI::Option* option : options.command->get_options()) {
    if (option->count() > 0 && !option->get_positional() && option->get_name() != "--from") {
      throw UsageError(option->get_name() + " excludes --from");
    }
  }
  const bool isStandardInput = options.from == "-";
  return readDescription(contentOf(options.from, isStandardInput),
                         isStandardInput ? "standard input" : options.from,
                         options.described.library.SerialNumber);
}

/// Throws Failure when there is a library of that serial number, or something is left of one.
void refuseTwin(const std::string& library) {
  const bool exists = libraryExists(library);
  if (!exists && isListed(library)) throw listedOnly(library);
  if (exists && wasRemoved(library)) throw RemovedLibrary(library);
  if (exists) {
    throw Failure(fmt::format("library {} exists already: {}", library, libraryFile(library)));
  }
}

/// `device` as `host` sees it.
SCSIUnit unitOf(const SCSIUnitFields& device, const SCSIUnitFields& host) {
  SCSIUnit record;
  static_cast<SCSIUnitFields&>(record) = device;
  record.MAName = host.MAName;
  copyFields(host, record, kAddressing);
  return record;
}

// A new library gets all slots of the first record's ranges. When it must not have all of them, the
// first record has none, and a later one the true ranges.
std::vector<SCSIUnitNoMap> batchOf(const LibraryDescription& description, bool hasGaps) {
  std::vector<SCSIUnitNoMap> batch;
  if (hasGaps) {
    SCSIUnit bare = unitOf(description.library, description.hosts.front());
    bare.SlotCount = 0;
    bare.IEPortCount = 0;
    batch.emplace_back(bare);
  }
  std::map<int, std::string> map;
  for (const DescribedDrive& drive : description.drives) {
    if (drive.device.DriveBaseAddress == kUnplaced) continue;
    map[static_cast<int>(numberOf(description, drive))] = drive.device.SerialNumber;
  }
  for (const SCSIUnitFields& host : description.hosts) {
    SCSIUnit library = unitOf(description.library, host);
    library.DriveIdentifierMap = map;
    batch.emplace_back(library);
  }
  for (const DescribedDrive& drive : description.drives) {
    for (const SCSIUnitFields& host : drive.hosts) batch.emplace_back(unitOf(drive.device, host));
  }
  return batch;
}

/// Creates and fills the elements that the batch did not.
void setElements(const LibraryDescription& description, const SlotPlan& plan) {
  const std::string& library = description.library.SerialNumber;
  const std::size_t created = description.drives.size() + (plan.gaps.empty() ? plan.inPlace : 0);
  std::vector<LibElement> elements;
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= created || element.isOccupied) elements.push_back(element);
  }
  if (elements.empty()) return;
  TqLibEmulator emulator;
  if (!emulator.SetVirtualLibraryElement(library, elements, false)) {
    throw libraryFailure("cannot set the elements of library " + library, emulator);
  }
  requireSaved(emulator, "the elements of library " + library);
}

void create(const LibraryDescription& description, const std::vector<std::string>& serials) {
  const std::string& library = description.library.SerialNumber;
  refuseTwin(library);
  refuseDrivesElsewhere(serials, library);
  const SlotPlan plan = planOf(description);
  try {
    updateDevices(batchOf(description, !plan.gaps.empty()), library,
                  "cannot create library " + library);
    setElements(description, plan);
  } catch (...) {
    if (libraryExists(library)) purgeLibrary(library);
    throw;
  }
}

void createLibrary(const CreateOptions& options, const Session& session) {
  const LibraryDescription description =
      options.from.empty() ? fromOptions(options) : fromFile(options);
  std::vector<std::string> serials;
  for (const DescribedDrive& drive : description.drives) {
    serials.push_back(drive.device.SerialNumber);
  }
  useConfiguration(session.config);
  asOneStep([&] { create(description, serials); });
  const SCSIUnitFields& library = description.library;
  printResult(
      session.json,
      {{"library", library.SerialNumber},
       {"drives", serials.size()},
       {"slots", library.SlotCount},
       {"mailSlots", library.IEPortCount},
       {"driveSerials", serials}},
      fmt::format("library {} created: {} drives, {} slots, {} mail slots", library.SerialNumber,
                  serials.size(), library.SlotCount, library.IEPortCount));
}

template <typename Value>
void read(const xercesc::DOMNode* block, const XMLCh* element, Value& value) {
  if (readValue(block, element, value)) return;
  throw Failure(fmt::format("the value of an element {} cannot be read", toUtf8(element)));
}

void readFields(const xercesc::DOMElement* block, SCSIUnitFields& record,
                std::span<const DescribedField> fields) {
  for (const DescribedField& field : fields) {
    field.visit(record, [&](auto& value) { read(block, field.element, value); });
  }
}

std::vector<SCSIUnitFields> hostsIn(const xercesc::DOMElement* device, const XMLCh* unitName) {
  std::vector<SCSIUnitFields> hosts;
  for (const xercesc::DOMElement* unit : Descendants(device, unitName)) {
    SCSIUnitFields& host = hosts.emplace_back();
    host.MAName = toUtf8(unit->getAttribute(names::maName));
    readFields(unit, host, kAddressing);
  }
  return hosts;
}

DescribedDrive driveIn(const xercesc::DOMElement* element) {
  const xercesc::DOMElement* block = Descendants(element, names::driveScsiDevice).first();
  DescribedDrive drive;
  read(block, names::serialNumber, drive.device.SerialNumber);
  readFields(block, drive.device, kIdentity);
  read(block, names::scsiDeviceType, drive.device.ScsiDeviceType);
  read(element, names::baseAddress, drive.device.DriveBaseAddress);
  drive.hosts = hostsIn(element, names::driveScsiUnit);
  return drive;
}

/// The library as the catalogue holds it. Throws Failure when it cannot be described.
LibraryDescription describeLibrary(const std::string& library) {
  requireWholeLibrary(library);
  const std::vector<SCSIUnitNoMap> devices = devicesOf(library, "");
  const SCSIUnitNoMap* record = findLibrary(devices);
  if (record == nullptr) throw Failure("no host sees library " + library);
  LibraryDescription description;
  description.library = *record;
  description.elements = inventory(library);
  const ParsedFile file = readDocument(libraryFile(library));
  const xercesc::DOMElement* found = singleLibrary(file.document());
  description.hosts = hostsIn(found, names::libraryScsiUnit);
  for (const xercesc::DOMElement* drive : Descendants(rootOf(file.document()), names::drive)) {
    const std::size_t next = description.drives.size();
    description.drives.push_back(driveIn(drive));
    // Hosts also see a drive beside the library, but it is not an element of the library.
    if (next >= description.elements.size() ||
        description.elements[next].elementType != LIB_ELEM_DRIVE ||
        description.elements[next].elementAddress !=
            description.drives.back().device.DriveBaseAddress) {
      throw Failure(fmt::format("the file of library {} has drives outside the library", library));
    }
  }
  checkDescription(description);
  return description;
}

void writeText(const std::string& path, const std::string& text) {
  namespace fs = std::filesystem;
  std::string error;
  if (!fs::exists(path) || fs::is_regular_file(path)) {
    ReplacedFile file(path);
    if (!file.prepare(text) || !file.commit()) error = file.error();
  } else if (std::ofstream stream(path); !(stream << text << std::flush)) {
    error = std::generic_category().message(errno);
  }
  if (!error.empty()) throw Failure(fmt::format("cannot write {}: {}", path, error));
}

void exportLibrary(const ExportOptions& options, const Session& session) {
  useConfiguration(session.config);
  const LibraryDescription description = describeLibrary(options.library);
  const std::string text = descriptionJson(description).dump(2);
  const bool isToStream = options.file.empty() || options.file == "-";
  if (isToStream) {
    printResult(false, {}, text);
  } else {
    writeText(options.file, text + "\n");
  }
  const std::size_t drives = description.drives.size();
  const std::size_t elements = description.elements.size();
  const auto print = isToStream ? printResultBesideData : printResult;
  print(session.json,
        {{"library", options.library},
         {"file", isToStream ? Json() : Json(options.file)},
         {"drives", drives},
         {"elements", elements}},
        fmt::format("library {} described: {} drives, {} slots and shelves", options.library,
                    drives, elements - drives));
}

void addRange(CLI::App& command, const std::string& option, const std::string& baseOption,
              SCSIUnitFields& library, const ElementRange& range) {
  const CLI::Range number(std::numeric_limits<int>::max());
  command.add_option(option, library.*range.count, std::string("Number of ") + range.name)
      ->check(number);
  command
      .add_option(baseOption, library.*range.base,
                  std::string("First address of the ") + range.name)
      ->check(number)
      ->capture_default_str();
}

void addExport(CLI::App& group, Session& session) {
  const auto [command, options] =
      addCommand(group, session,
                 {"export", "Write a library as JSON, which \"library create --from\" reads",
                  "tqlib library export LIB001 lib001.json"},
                 exportLibrary);
  addLibraryOperand(command, options.library);
  command.add_option("FILE", options.file, "The file to write (else standard output)");
}

}  // namespace

void addLibraryGroup(CLI::App& app, Session& session) {
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
      ->description("Serial number, which is also the library's name");
  addText(create, "--host", options.device.MAName, "The host that sees the library");
  addDeviceOptions(create, options.device, "The library's ");
  create.get_option("--port")->description("SCSI port of library and drives");
  create.get_option("--bus")->description("SCSI bus of library and drives");
  addText(create, "--drive-vendor", options.driveVendor, "The drives' manufacturer");
  addText(create, "--drive-model", options.driveModel, "The drives' model");
  create
      .add_option("--drive-serial", options.driveSerials,
                  "Serial number of the next drive (else LIBRARY with D1, D2, ...)")
      ->check(catalogueText())
      ->allow_extra_args(false);
  addRange(create, "--drives", "--drive-base", library, kDriveRange);
  addRange(create, "--slots", "--slot-base", library, kSlotRange);
  addRange(create, "--mail-slots", "--mail-base", library, kMailRange);
  create.add_option("--from", options.from,
                    "Create the library that this JSON file describes; - is standard input. "
                    "Excludes all other options");
  addLibraryCommands(*group, session);
  addExport(*group, session);
}

// tqlib library create, from options or from JSON, and tqlib library export, which writes the JSON.
//
// Options and JSON become a description, which is checked whole before the catalogue is touched.
// The API creates library, drives and units in one update; a second one creates and fills elements.
// All is one step for other processes, so that a half-created library can be removed again.
//
// An export takes the elements from the API. Devices and hosts are read from the file, because no
// call reports the order of a drive's hosts.
#include <algorithm>
#include <climits>
#include <set>

#include "base/Streams.h"
#include "catalogue/Elements.h"
#include "description/LibraryDescription.h"

namespace {

constexpr std::size_t kFewHosts = 10;

struct CreateOptions {
  const CLI::App* command = nullptr;
  SCSIUnitFields library = LibraryDescription().library;  // as its host sees it
  std::string from;
  std::string driveVendor;
  std::string driveModel;
  std::vector<std::string> driveSerials;
};

struct ExportOptions {
  std::string library;
  std::string file;
};

/// Converts the options to JSON first, so that they are checked like a file.
LibraryDescription fromOptions(const CreateOptions& options) {
  SCSIUnitFields library = options.library;
  const std::vector<std::string>& serials = options.driveSerials;
  if (library.SerialNumber.empty() || library.MAName.empty()) {
    throw UsageError("give LIBRARY and --host, or --from");
  }
  if (library.DriveCount == 0) library.DriveCount = static_cast<int>(serials.size());
  const auto drives = static_cast<std::size_t>(library.DriveCount);
  if (!serials.empty() && serials.size() != drives) {
    throw UsageError("give --drive-serial once for each drive, or not at all");
  }
  Json values = libraryJson(library, {library});
  values["drives"] =
      std::vector<Json>(drives, {{"vendor", options.driveVendor}, {"model", options.driveModel}});
  for (std::size_t i = 0; i < serials.size(); ++i) values["drives"][i]["serial"] = serials[i];
  try {
    return readDescription(values);
  } catch (const Failure& failure) {
    const std::string text = failure.what();
    if (!text.starts_with("drives[")) throw UsageError(text);
    throw UsageError("--drive-serial" + text.substr(text.find(':')));
  }
}

LibraryDescription fromFile(const CreateOptions& options) {
  for (const CLI::Option* option : options.command->get_options()) {
    if (option->count() > 0 && !option->get_positional() && option->get_name() != "--from") {
      throw UsageError(option->get_name() + " excludes --from");
    }
  }
  Json values = parseStrictly(readText(options.from),
                              isStandardStream(options.from) ? "standard input" : options.from);
  const std::string& serial = options.library.SerialNumber;
  if (!serial.empty() && values.is_object()) values["serial"] = serial;
  return readDescription(values);
}

// A new library gets all slots of the first record's ranges. With `isBare`, the first record has no
// slots, and a later one has the real ranges.
std::vector<SCSIUnitNoMap> batchOf(const LibraryDescription& description, bool isBare) {
  std::vector<SCSIUnitNoMap> batch;
  if (isBare) {
    SCSIUnit bare = unitOf(description.library, description.hosts.front());
    bare.SlotCount = 0;
    bare.IEPortCount = 0;
    batch.emplace_back(bare);
  }
  for (const SCSIUnitFields& host : description.hosts) {
    batch.emplace_back(libraryUnit(description.library, description.drives, host));
  }
  for (const Device& drive : description.drives) {
    for (const SCSIUnitFields& host : drive.hosts) batch.emplace_back(unitOf(drive.record, host));
  }
  return batch;
}

/// Creates and fills the elements that the batch did not.
void setElements(const LibraryDescription& description, bool isBare) {
  const std::string& library = description.library.SerialNumber;
  const std::size_t created =
      isBare ? description.drives.size() : usualElements(description).size();
  std::vector<LibElement> elements;
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= created || element.isOccupied) elements.push_back(element);
  }
  if (elements.empty()) return;
  change("cannot set the elements of library " + library, [&](TqLibEmulator& emulator) {
    return emulator.SetVirtualLibraryElement(library, elements, false);
  });
}

void create(const LibraryDescription& description, const std::vector<std::string>& serials) {
  const std::string& library = description.library.SerialNumber;
  const bool exists = libraryExists(library);
  if (!exists && isListed(library)) throw listedOnly(library);
  if (exists && wasRemoved(library)) throw RemovedLibrary(library);
  if (exists) {
    throw Failure(fmt::format("library {} exists already: {}", library, libraryFile(library)));
  }
  refuseDrivesElsewhere(serials, library);
  std::set<std::string> barcodes;
  for (const LibElement& element : description.elements) barcodes.insert(element.barCode);
  barcodes.erase("");
  if (!barcodes.empty()) refuseMediaElsewhere(barcodes);
  // For each host, the API searches all of the library, so it gets its slots after its hosts.
  const bool isBare = description.hosts.size() > kFewHosts || !gapsOf(description).empty();
  try {
    change("cannot create library " + library, [&](TqLibEmulator& emulator) {
      return emulator.UpdateVirtualDevice(batchOf(description, isBare), library);
    });
    setElements(description, isBare);
  } catch (const std::exception& failure) {
    try {
      if (libraryExists(library)) purgeLibrary(library);
    } catch (const std::exception&) {
      throw Failure(fmt::format("{}; the library is incomplete", failure.what()),
                    purgeCommand(library) + " deletes it");
    }
    throw;
  }
}

void createLibrary(const CreateOptions& options, const Session& session) {
  const LibraryDescription description =
      options.from.empty() ? fromOptions(options) : fromFile(options);
  std::vector<std::string> serials;
  for (const Device& drive : description.drives) serials.push_back(drive.record.SerialNumber);
  asOneStep([&] { create(description, serials); });
  const SCSIUnitFields& library = description.library;
  printResult(session.json,
              {{"library", library.SerialNumber},
               {"drives", serials.size()},
               {"slots", library.SlotCount},
               {"mailSlots", library.IEPortCount},
               {"driveSerials", serials}},
              fmt::format("library {} created: {}, {}", library.SerialNumber,
                          counted(serials.size(), "drive"), sizeText(library)));
}

/// The library as the catalogue holds it. Throws Failure when it cannot be described.
LibraryDescription describeLibrary(const std::string& library) {
  LibraryDevices devices = devicesIn(library);
  LibraryDescription description;
  description.library = std::move(devices.library.record);
  description.hosts = std::move(devices.library.hosts);
  description.drives = std::move(devices.drives);
  description.elements = inventory(library);
  // Hosts also see a drive beside the library, but it is not an element of the library.
  const auto differing = std::ranges::mismatch(description.drives, description.elements,
                                               isSameElement, &Device::element);
  if (differing.in1 != description.drives.end()) {
    throw Failure(fmt::format("the file of library {} has drives outside the library", library));
  }
  checkDescription(description);
  return description;
}

void exportLibrary(const ExportOptions& options, const Session& session) {
  const LibraryDescription description = describeLibrary(options.library);
  const bool isToStream = isStandardStream(options.file);
  writeFile(options.file, descriptionJson(description).dump(2) + "\n");
  const std::size_t drives = description.drives.size();
  const std::size_t elements = description.elements.size();
  printResult(session.json,
              {{"library", options.library},
               {"file", isToStream ? Json() : Json(options.file)},
               {"drives", drives},
               {"elements", elements}},
              fmt::format("library {} described: {}, {} slots and shelves", options.library,
                          counted(drives, "drive"), elements - drives),
              isToStream ? std::cerr : std::cout);
}

void addRanges(CLI::App& command, SCSIUnitFields& library) {
  const CLI::Range address(INT_MAX);
  for (const ElementRange& range : kRanges) {
    command.add_option(range.option, library.*range.count, fmt::format("Number of {}", range.name))
        ->check(CLI::Range(kMostElements));
    command
        .add_option(range.baseOption, library.*range.base,
                    fmt::format("First address of the {}", range.name))
        ->check(address)
        ->capture_default_str();
  }
}

void addExport(CLI::App& group, Session& session) {
  const auto [command, options] =
      addCommand(group, session, exportLibrary,
                 {"export", "Write a library as JSON, which \"library create --from\" reads",
                  "tqlib library export LIB001 lib001.json"});
  addLibraryOperand(command, options.library);
  command.add_option("FILE", options.file, "The file to write (else standard output)");
}

}  // namespace

void addLibraryGroup(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "library", "Libraries");
  const auto [create, options] = addCommand(
      group, session, createLibrary,
      {"create", "Create a library with drives and slots",
       "tqlib library create LIB002 --host host-a --drives 2 --slots 40 --mail-slots 4"});
  SCSIUnitFields& library = options.library;
  options.command = &create;
  addLibraryOperand(create, library.SerialNumber)
      ->required(false)
      ->description("Serial number, which is also the library's name");
  addText(create, "--host", library.MAName, "The host that sees the library");
  addDeviceOptions(create, library, "The library's ");
  create.get_option("--port")->description("SCSI port of library and drives");
  create.get_option("--bus")->description("SCSI bus of library and drives");
  addText(create, "--drive-vendor", options.driveVendor, "The drives' manufacturer");
  addText(create, "--drive-model", options.driveModel, "The drives' model");
  create
      .add_option("--drive-serial", options.driveSerials,
                  "Serial number of the next drive (else LIBRARY with D1, D2, ...)")
      ->check(catalogueText())
      ->allow_extra_args(false);
  addRanges(create, library);
  create.add_option("--from", options.from,
                    "Create the library that this JSON file describes; - is standard input. "
                    "Excludes all other options");
  addLibraryCommands(group, session);
  addExport(group, session);
}

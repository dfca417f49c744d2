// tqlib library export: a library as the JSON from which "library create" makes it again.
#include <algorithm>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "files/Names.h"
#include "catalogue/Configuration.h"
#include "catalogue/TargetFile.h"
#include "catalogue/XmlScan.h"
#include "description/LibraryCommands.h"
#include "description/LibraryDescription.h"

namespace {

struct Options {
  std::string library;
  std::string file;
};

SCSIUnitFields hostOf(const SCSIUnitNoMap& device) {
  SCSIUnitFields host;
  host.MAName = device.MAName;
  for (const DescribedText& text : kHostTexts) host.*text.field = device.*text.field;
  for (const DescribedNumber& number : kHostNumbers) host.*number.field = device.*number.field;
  return host;
}

std::vector<DescribedDrive> drivesAmong(const std::vector<SCSIUnitNoMap>& devices) {
  std::vector<DescribedDrive> drives;
  for (const SCSIUnitNoMap& device : devices) {
    if (!isLibrary(device)) drives.push_back({device, {}});
  }
  return drives;
}

// Each host is asked by itself, so what one of them sees lacks the drives of the others; the order
// of the drives is that of the file in every answer.
void addUnits(LibraryDescription& description, const std::string& host) {
  auto drive = description.drives.begin();
  for (const SCSIUnitNoMap& seen : devicesOf(description.library.SerialNumber, host)) {
    if (isLibrary(seen)) {
      description.hosts.push_back(hostOf(seen));
      continue;
    }
    drive = std::find_if(drive, description.drives.end(), [&](const DescribedDrive& one) {
      return one.device.SerialNumber == seen.SerialNumber;
    });
    if (drive == description.drives.end()) throw Failure("the library changed while it was read");
    drive->hosts.push_back(hostOf(seen));
    ++drive;
  }
}

// No call tells the order of a drive's hosts. In the file those of one drive stand together.
void sortUnits(LibraryDescription& description) {
  const std::string& library = description.library.SerialNumber;
  const std::vector<std::string> units =
      attributeValues(libraryFile(library), names::driveScsiUnit, names::maName);
  std::size_t first = 0;
  for (DescribedDrive& drive : description.drives) {
    const std::size_t end = first + drive.hosts.size();
    if (end > units.size()) break;
    const auto place = [&](const SCSIUnitFields& host) {
      return std::find(units.begin() + static_cast<std::ptrdiff_t>(first),
                       units.begin() + static_cast<std::ptrdiff_t>(end), host.MAName);
    };
    std::stable_sort(drive.hosts.begin(), drive.hosts.end(),
                     [&](const auto& one, const auto& other) { return place(one) < place(other); });
    first = end;
  }
  if (first != units.size()) {
    throw Failure("in library " + library + " a host is told twice how it sees one drive");
  }
}

// A drive that stands beside the library is seen by hosts, and is no element of it.
void requireOwnDrives(const LibraryDescription& description) {
  std::size_t next = 0;
  for (const LibElement& element : description.elements) {
    if (element.elementType != LIB_ELEM_DRIVE) break;
    if (next == description.drives.size() ||
        description.drives[next].device.DriveBaseAddress != element.elementAddress) {
      next = description.drives.size() + 1;
      break;
    }
    ++next;
  }
  if (next != description.drives.size()) {
    throw Failure("the file of library " + description.library.SerialNumber +
                  " has drives that do not stand in the library");
  }
}

void writeText(const std::string& file, const std::string& text) {
  TargetFile target(file);
  target.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  target.commit();
}

void exportLibrary(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const LibraryDescription description = describeLibrary(options.library);
  checkDescription(description);
  writeText(options.file, descriptionJson(description).dump(2) + "\n");
  const auto print = isStandardStream(options.file) ? printResultBesideData : printResult;
  const std::size_t drives = description.drives.size();
  print(session.json,
        {{"library", options.library},
         {"file", isStandardStream(options.file) ? Json() : Json(options.file)},
         {"drives", drives},
         {"elements", description.elements.size()}},
        "library " + options.library + " described: " + std::to_string(drives) + " drives, " +
            std::to_string(description.elements.size() - drives) + " slots and shelves");
}

}  // namespace

LibraryDescription describeLibrary(const std::string& library) {
  requireWholeLibrary(library);
  const std::vector<SCSIUnitNoMap> devices = devicesOf(library, "");
  const SCSIUnitNoMap* record = findLibrary(devices);
  if (record == nullptr) throw Failure("no host sees library " + library);
  LibraryDescription description;
  description.library = *record;
  description.drives = drivesAmong(devices);
  description.elements = inventory(library);
  requireOwnDrives(description);
  for (const std::string& host : hostsOf(library)) addUnits(description, host);
  sortUnits(description);
  return description;
}

void addLibraryExport(CLI::App& group, Session& session) {
  const auto [command, options] =
      addCommand(group, session,
                 {"export", "Write a library as JSON, which \"library create --from\" reads",
                  "tqlib library export LIB001 lib001.json"},
                 exportLibrary);
  addLibraryOperand(command, options.library);
  command.add_option("FILE", options.file, "The file to write (else standard output)");
}

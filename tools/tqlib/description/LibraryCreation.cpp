#include "description/LibraryCreation.h"

#include <algorithm>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/LibraryRemoval.h"

namespace {

void refuseTwin(const std::string& library) {
  if (!libraryExists(library)) {
    // A second entry would make every query tell of the library twice.
    if (isListed(library)) throw listedOnly(library);
    return;
  }
  if (wasRemoved(library)) throw RemovedLibrary(library);
  throw Failure("library " + library + " exists already: " + libraryFile(library));
}

/// `device` as `host` sees it.
SCSIUnit unitOf(const SCSIUnitFields& device, const SCSIUnitFields& host) {
  SCSIUnit record;
  static_cast<SCSIUnitFields&>(record) = device;
  record.MAName = host.MAName;
  for (const DescribedText& text : kHostTexts) record.*text.field = host.*text.field;
  for (const DescribedNumber& number : kHostNumbers) record.*number.field = host.*number.field;
  return record;
}

std::map<int, std::string> driveMap(const LibraryDescription& description) {
  std::map<int, std::string> map;
  for (const DescribedDrive& drive : description.drives) {
    if (drive.device.DriveBaseAddress == kUnplaced) continue;
    map[static_cast<int>(numberOf(description, drive))] = drive.device.SerialNumber;
  }
  return map;
}

// A new library gets all slots of the first record's ranges. When some of them are not to be, the
// first record tells of none, and a later one of the true ranges.
std::vector<SCSIUnitNoMap> batchOf(const LibraryDescription& description, bool hasGaps) {
  std::vector<SCSIUnitNoMap> batch;
  if (hasGaps) {
    SCSIUnit bare = unitOf(description.library, description.hosts.front());
    for (const DescribedRange& range : kSlotRanges) bare.*range.count = 0;
    batch.emplace_back(bare);
  }
  for (const SCSIUnitFields& host : description.hosts) {
    SCSIUnit library = unitOf(description.library, host);
    library.DriveIdentifierMap = driveMap(description);
    batch.emplace_back(library);
  }
  for (const DescribedDrive& drive : description.drives) {
    for (const SCSIUnitFields& host : drive.hosts) batch.emplace_back(unitOf(drive.device, host));
  }
  return batch;
}

/// The elements that the batch leaves to be made or filled.
std::vector<LibElement> elementsAfterBatch(const LibraryDescription& description,
                                           const SlotPlan& plan) {
  const std::size_t drives = description.drives.size();
  const std::size_t made = drives + (plan.gaps.empty() ? plan.inPlace : 0);
  std::vector<LibElement> elements;
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= made || element.isOccupied) elements.push_back(element);
  }
  return elements;
}

void setElements(const std::string& library, const std::vector<LibElement>& elements) {
  TqLibEmulator emulator;
  if (!elements.empty() && !emulator.SetVirtualLibraryElement(library, elements, false)) {
    throw libraryFailure("the elements of library " + library + " cannot be set", emulator);
  }
  requireSaved(emulator, "the elements of library " + library);
}

// Both calls can succeed without anything having come to exist, so the catalogue itself is asked.
void verify(const LibraryDescription& description) {
  const std::string& serial = description.library.SerialNumber;
  if (!libraryExists(serial) || !isListed(serial)) throw notSaved("library " + serial);
  const Json wanted = descriptionJson(description);
  const Json found = descriptionJson(describeLibrary(serial));
  if (found != wanted) {
    throw Failure("library " + serial + " is not as it was described, the first difference is " +
                      Json::diff(wanted, found).front().value("path", ""),
                  "\"tqlib library export " + serial + "\" tells what there is, if anything");
  }
}

bool holdsMedia(const std::string& library) {
  const std::vector<LibElement> elements = inventory(library);
  return std::any_of(elements.begin(), elements.end(),
                     [](const LibElement& element) { return element.isOccupied; });
}

// Once there is a medium in the library, the operator decides what to do with it.
void discard(const std::string& library) {
  try {
    if (libraryExists(library) && !holdsMedia(library)) purgeLibrary(library);
  } catch (const std::exception& error) {
    throw Failure("library " + library + " is half made and cannot be removed: " + error.what(),
                  purgeCommand(library) + " tries again");
  }
}

std::vector<std::string> serialsOf(const LibraryDescription& description) {
  std::vector<std::string> serials;
  for (const DescribedDrive& drive : description.drives) {
    serials.push_back(drive.device.SerialNumber);
  }
  return serials;
}

void create(const LibraryDescription& description) {
  const std::string& serial = description.library.SerialNumber;
  refuseTwin(serial);
  refuseDrivesElsewhere(serialsOf(description), serial);
  const SlotPlan plan = planOf(description);
  updateDevices(batchOf(description, !plan.gaps.empty()), serial,
                "library " + serial + " cannot be created");
  try {
    if (!libraryExists(serial)) throw notSaved("library " + serial);
    setElements(serial, elementsAfterBatch(description, plan));
    verify(description);
  } catch (...) {
    discard(serial);
    throw;
  }
}

}  // namespace

// In one step: two commands that create one library would each take the other's for its own.
void createDescribed(const LibraryDescription& description) {
  asOneStep([&] { create(description); });
}

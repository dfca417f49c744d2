#include "Mending.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "Catalogue.h"
#include "CatalogueNames.h"
#include "CheckedLibrary.h"
#include "ConfiguredPlaces.h"
#include "ElementName.h"
#include "Errors.h"
#include "FolderLock.h"
#include "LeftOvers.h"
#include "ListMending.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestWait{30};

Findings mendableOf(const Findings& findings) {
  Findings mendable;
  for (const Finding& finding : findings) {
    if (finding.isMendable) mendable.push_back(finding);
  }
  return mendable;
}

/// The files that the completion of the save replaces.
void keepTargets(const std::string& folder, KeptCopies& copies) {
  const std::vector<std::string> names = halfSavedNames(folder);
  for (std::size_t i = 1; i < names.size(); i += 2) {
    const bool isOurs = names[i].find('/') == std::string::npos && !names[i].empty();
    if (isOurs) copies.keep(folder + names[i]);
  }
}

void completeSave(const std::string& folder, const Findings& findings, KeptCopies& copies) {
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kHalfSaved)) continue;
    keepTargets(folder, copies);
    completeWhatIsHalfSaved();
    return;
  }
}

/// Without the lock nobody knows whether a prepared file belongs to a save that is going on.
void deletePrepared(const std::string& folder, const std::set<std::string>& names) {
  const FolderLock lock(folder, kLongestWait);
  if (!lock.isHeld()) throw Failure("another process keeps the catalogue locked");
  std::set<std::string> needed;
  for (const std::string& name : halfSavedNames(folder)) needed.insert(name);
  for (const std::string& name : names) {
    if (needed.count(name) == 0) fs::remove(folder + name);
  }
}

void deleteLeftOvers(const std::string& folder, const Findings& findings) {
  std::set<std::string> prepared;
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kLeftOver)) continue;
    const fs::path path = finding.place.file;
    const std::string name = path.filename().string();
    if (isPrepared(name)) {
      prepared.insert(name);
    } else if (isLeftInCatalogue(name) || isLeftAmongVolumes(name)) {
      fs::remove_all(path);
    }
  }
  if (!prepared.empty()) deletePrepared(folder, prepared);
}

using ElementsByName = std::map<std::string, const Finding*>;

/// The elements that are wrong still, and in the same way, as they are to be.
std::vector<LibElement> wrongStill(const std::string& file, const ElementsByName& wanted) {
  std::vector<LibElement> records;
  for (const ElementContent& element : readLibrary(file).elements) {
    const LibElement record = elementByBarcode(element);
    const auto found = wanted.find(elementName(record));
    if (found != wanted.end() && hasWrongOccupancy(element) &&
        record.barCode == found->second->wanted.barCode) {
      records.push_back(record);
    }
  }
  return records;
}

// The library takes the lock itself, so a change of another process can come between the look and
// the call; nothing but the moment is against it.
void mendOccupancy(const std::string& library, const std::string& file,
                   const ElementsByName& wanted, KeptCopies& copies) {
  copies.keep(file);
  const std::vector<LibElement> records = wrongStill(file, wanted);
  if (records.empty()) return;
  TqLibEmulator emulator;
  if (!emulator.SetVirtualLibraryElement(library, records, false)) {
    throw libraryFailure("the occupancy in library " + library + " cannot be mended", emulator);
  }
  if (!wrongStill(file, wanted).empty()) throw notSaved("the occupancy in library " + library);
}

using Complaints = std::vector<std::string>;

void attempt(Complaints& complaints, const std::function<void()>& step) {
  try {
    step();
  } catch (const std::exception& failure) {
    complaints.emplace_back(failure.what());
  }
}

}  // namespace

std::vector<std::string> mend(const Findings& all, KeptCopies& copies) {
  const Findings findings = mendableOf(all);
  const std::string folder = configuredCatalogue();
  Complaints complaints;
  attempt(complaints, [&] { completeSave(folder, findings, copies); });
  attempt(complaints, [&] { deleteLeftOvers(folder, findings); });
  attempt(complaints, [&] { mendList(folder, findings, copies); });

  std::map<std::pair<std::string, std::string>, ElementsByName> libraries;
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kOccupancy)) continue;
    libraries[{finding.library, finding.place.file}][finding.place.element] = &finding;
  }
  for (const auto& library : libraries) {
    const auto& [key, file] = library.first;
    attempt(complaints,
            [&, &key = key, &file = file] { mendOccupancy(key, file, library.second, copies); });
  }
  return complaints;
}

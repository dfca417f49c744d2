#include "check/Checkup.h"

#include <algorithm>
#include <map>

#include "base/Errors.h"
#include "catalogue/ConfiguredPlaces.h"
#include "catalogue/XmlScan.h"
#include "check/CheckedFiles.h"
#include "check/CheckedVolumes.h"
#include "check/LeftOvers.h"

namespace {

constexpr char kByHand[] = "mend the file by hand, or take the last backup";

void checkFile(const LibraryFile& file, Findings& findings, Inventory& inventory) {
  LibraryContent content;
  try {
    content = readLibrary(file.path);
  } catch (const std::exception& failure) {
    if (isAbsent(file.path)) return;  // its library was removed meanwhile
    findings.emplace_back(kinds::kUnparsableFile, Place{file.path, ""}, failure.what(), kByHand)
        .library = file.key;
    inventory.isWhole = false;
    return;
  }
  // A copy that somebody made of a library, under another name, must not get into the list.
  if (file.lacksEntry && isLibraryOfKey(content, file.key)) {
    findings
        .emplace_back(kinds::kFileWithoutEntry, Place{file.path, ""},
                      "the library is not in the list", "\"tqlib check --fix\" enters it")
        .library = file.key;
  }
  checkLibrary(file.key, file.path, content, findings, inventory);
}

/// The files in the order of their first findings.
void groupByFile(Findings& findings) {
  std::map<std::string, std::size_t> ranks;
  for (const Finding& finding : findings) ranks.emplace(finding.place.file, ranks.size());
  std::stable_sort(findings.begin(), findings.end(), [&](const Finding& a, const Finding& b) {
    return ranks.at(a.place.file) < ranks.at(b.place.file);
  });
}

}  // namespace

Checkup checkCatalogue() {
  const std::string folder = configuredCatalogue();
  if (isAbsent(folder)) {
    throw Failure("there is no catalogue: " + folder,
                  "bring the folder back, or \"tqlib init DIR\"");
  }
  Checkup result;
  Inventory inventory;
  try {
    for (const LibraryFile& file : checkFiles(folder, result.findings, inventory)) {
      checkFile(file, result.findings, inventory);
    }
  } catch (const Failure& failure) {
    result.findings.emplace_back(kinds::kUnparsableFile, Place{folder, ""}, failure.what(),
                                 "mend the permissions, or the disk");
    inventory.isWhole = false;
  }
  checkDoubledMedia(inventory, result.findings);
  result.volumes = checkVolumes(inventory, result.findings);
  result.libraries = inventory.libraries;
  result.elements = inventory.elements;
  groupByFile(result.findings);
  return result;
}

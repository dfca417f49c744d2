// One look at the whole catalogue and its volumes, and the fix of what it found.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/LibraryContent.h"
#include "check/Findings.h"

/// What a check found, and what must not be in the catalogue twice.
struct Checkup {
  template <typename... Values>
  Finding& add(const Fault& fault, Place place, const Values&... values) {
    return findings.emplace_back(
        Finding{&fault, std::move(place), fmt::format(fmt::runtime(fault.text), values...),
                fmt::format(fmt::runtime(fault.next), values...), fault.isFixable});
  }

  std::vector<Finding> findings;  ///< those of one file in a row
  Scope scope;
  std::map<std::string, std::vector<Place>> media;  ///< by barcode
  std::map<std::string, Place> drives;              ///< by serial number, folded
  bool knowsAll = true;  ///< there is no library whose elements could not be read
};

/// Changes nothing. What cannot be read is a finding; throws Failure only when there is no
/// catalogue folder.
Checkup checkCatalogue();

/// Checks the file of the library `key`.
void checkLibrary(const std::string& key, const std::string& file, const LibraryContent& content,
                  Checkup& checkup);

/// Looks for media that are in several places. Nobody knows which of these has the medium, so their
/// occupancy cannot be fixed.
void checkDoubledMedia(Checkup& checkup);

/// Checks the volumes, each in itself and against the media of the libraries.
void checkVolumes(Checkup& checkup);

/// Fixes what is fixable, as far as it is still wrong. The next check shows what was fixed.
FixResult fixFindings(const std::vector<Finding>& findings);

// Shared by the files of this folder

inline constexpr char kStandIn[] = "Lib_.tqlib-stand-in-";  // of earlier versions; then a process
inline constexpr char kBeforeFix[] = ".before-fix-";  // between a file and the time of its copy

/// Whether the file holds one library, the one of that key.
bool isLibraryOfKey(const LibraryContent& content, const std::string& key);

bool hasWrongOccupancy(const ElementContent& element);

/// "slot:1000"; an element whose address cannot be read goes by its name.
std::string nameOf(const ElementContent& element);

/// Whether nothing has that name, no broken symbolic link either. Throws Failure when that cannot
/// be found out.
bool isAbsent(const std::string& path);

/// Whether `name` is `before`, the number of a process that has ended, and `behind`.
bool isOfEndedProcess(std::string_view name, std::string_view before, std::string_view behind);

// What a check finds: the kinds of faults, and one fault in its place.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "TqLibEmulator.h"

enum class Severity { Error, Warning, Note };

/// A kind of fault. Programs know it by its name, which therefore stays.
struct Kind {
  const char* name;
  Severity severity;
  bool isMendable = false;  ///< as a rule; there may be a reason against it in a single case
};

namespace kinds {

inline constexpr Kind kUnparsableFile{"unparsable-file", Severity::Error};
inline constexpr Kind kEntryWithoutFile{"entry-without-file", Severity::Error, true};
inline constexpr Kind kFileWithoutEntry{"file-without-entry", Severity::Error, true};
inline constexpr Kind kDoubledEntry{"doubled-entry", Severity::Error, true};
inline constexpr Kind kBadEntry{"bad-entry", Severity::Error};
inline constexpr Kind kRemovedLibrary{"removed-library", Severity::Warning};
inline constexpr Kind kLibraryIdentity{"library-identity", Severity::Error};
inline constexpr Kind kDriveIdentity{"drive-identity", Severity::Error};
inline constexpr Kind kUnplacedDrive{"unplaced-drive", Severity::Warning};
inline constexpr Kind kBadAddress{"bad-address", Severity::Error};
inline constexpr Kind kDoubledAddress{"doubled-address", Severity::Error};
inline constexpr Kind kAddressOutOfRange{"address-out-of-range", Severity::Warning};
inline constexpr Kind kDoubledBarcode{"doubled-barcode", Severity::Error};
inline constexpr Kind kOccupancy{"occupancy", Severity::Error, true};
inline constexpr Kind kExpiredStatus{"expired-status", Severity::Warning};
inline constexpr Kind kMediumWithoutVolume{"medium-without-volume", Severity::Note};
inline constexpr Kind kVolumeWithoutMedium{"volume-without-medium", Severity::Warning};
inline constexpr Kind kVolumeOverLimit{"volume-over-limit", Severity::Warning};
inline constexpr Kind kMarkGap{"mark-gap", Severity::Error};
inline constexpr Kind kHalfSaved{"half-saved", Severity::Warning, true};
inline constexpr Kind kLockedCatalogue{"locked-catalogue", Severity::Warning};
inline constexpr Kind kLeftOver{"left-over", Severity::Note, true};

}  // namespace kinds

/// Where a fault is: a file or folder, and what in it. That is an element ("slot:1000"), the key of
/// an entry of the list, or nothing.
struct Place {
  std::string file;
  std::string element;
};

struct Finding {
  Finding(const Kind& itsKind, Place itsPlace, std::string itsText, std::string nextStep)
      : kind(&itsKind),
        place(std::move(itsPlace)),
        text(std::move(itsText)),
        next(std::move(nextStep)),
        isMendable(itsKind.isMendable) {}

  bool is(const Kind& other) const { return kind == &other; }

  const Kind* kind;
  Place place;
  std::string text;
  std::string next;  ///< what the operator can do about it
  bool isMendable;
  std::string library = {};  ///< the key of the library that it is about, where it is about one
  LibElement wanted = {};    ///< an element whose occupancy is wrong, as it is to be
};

using Findings = std::vector<Finding>;

const char* severityWord(Severity severity);

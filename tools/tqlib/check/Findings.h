// The faults that a check can find, each with its text and its next step, and the report on what it
// found.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "base/Output.h"

enum class Severity { Error, Warning, Note };

/// A fault that a check looks for. Programs know it by its kind, which therefore stays; several
/// faults may be of one kind. The text and the next step are formatted with the same values.
struct Fault {
  const char* kind;
  Severity severity;
  const char* text;
  const char* next;
  bool isFixable = false;  ///< as a rule; a single case may have a reason against it
};

namespace faults {

using enum Severity;

inline constexpr char kByHand[] = "fix the file by hand";

// Of the catalogue folder and the list
inline constexpr Fault kUnreadable{"unparsable-file", Error, "{}",
                                   "fix the permissions, or the disk"};
inline constexpr Fault kUnreadableList{"unparsable-file", Error, "{}",
                                       "fix the list by hand, or write it anew"};
inline constexpr Fault kEntryWithoutFile{
    "entry-without-file", Error, "the library has no file",
    "bring {} back; or \"tqlib check --fix\" takes the entry out", true};
inline constexpr Fault kFileWithoutEntry{"file-without-entry", Error,
                                         "the library is not in the list",
                                         "\"tqlib check --fix\" enters it", true};
inline constexpr Fault kDoubledEntry{"doubled-entry", Error, "it is in the list {} times",
                                     "\"tqlib check --fix\" takes the later entries out", true};
inline constexpr Fault kBadId{"bad-entry", Error, "the Id cannot be part of a file name",
                              "fix the list by hand"};
inline constexpr Fault kHalfSaved{"half-saved", Warning,
                                  "a save of a library and the list is half done",
                                  "the next change of the catalogue completes it", true};
inline constexpr Fault kDamagedJournal{
    "half-saved", Warning, "the journal of a save of a library and the list is damaged",
    "look by hand whether a .tqlib-*.new file has to be kept: the next change of the catalogue "
    "deletes the journal"};
inline constexpr Fault kLockedCatalogue{
    "locked-catalogue", Warning,
    "another process keeps the catalogue locked; stale temporary files were not looked for",
    "check again when its call is over, or find out what it waits for"};
inline constexpr Fault kStaleFile{"left-over", Note, "left by a crash",
                                  "\"tqlib check --fix\" deletes it", true};

// Of a library
inline constexpr Fault kUnreadableLibrary{"unparsable-file", Error, "{}",
                                          "fix the file by hand, or restore the last backup"};
inline constexpr Fault kRemovedLibrary{
    "removed-library", Warning, "the library was removed, and its file stayed", "{} deletes it"};
inline constexpr Fault kManyLibraries{"library-identity", Error,
                                      "it holds {} libraries instead of one", kByHand};
inline constexpr Fault kLibrarySerial{"library-identity", Error,
                                      "the library has {} device blocks, or no serial number in it",
                                      kByHand};
inline constexpr Fault kOtherSerial{
    "library-identity", Error, "the library's serial number is {}, by the file's name {}", kByHand};
inline constexpr Fault kOtherName{"library-identity", Error,
                                  "the library's Name is \"{}\" instead of \"{}\"", kByHand};
inline constexpr Fault kExpiredStatus{"expired-status", Warning,
                                      "the injected status has expired, and is reported once more",
                                      "\"tqlib status get {}\" uses it up"};

// Of an element
inline constexpr Fault kDriveSerial{
    "drive-identity", Error, "the drive has {} device blocks, or no serial number in it", kByHand};
inline constexpr Fault kOtherDriveName{"drive-identity", Error,
                                       "the drive's Name is \"{}\", its serial number {}", kByHand};
inline constexpr Fault kDoubledSerial{"drive-identity", Error,
                                      "the serial number {} is also that of {}", kByHand};
inline constexpr Fault kUnplacedDrive{"unplaced-drive", Warning,
                                      "the drive has no element address yet",
                                      "\"tqlib drive add\" gives a drive its address"};
inline constexpr Fault kBadAddress{"bad-address", Error,
                                   "the element address is missing, or is not a number", kByHand};
inline constexpr Fault kDoubledAddress{"doubled-address", Error, "{} elements have the address {}",
                                       kByHand};
inline constexpr Fault kOutOfRange{"address-out-of-range", Warning,
                                   "hosts see {} elements of this type, from address {}",
                                   "fix count and first address by hand, or remove the element"};
inline constexpr Fault kWronglyEmpty{"occupancy", Error, "it is empty, but has the barcode {}",
                                     "\"tqlib check --fix\" makes it full", true};
inline constexpr Fault kWronglyFull{"occupancy", Error, "it is occupied, but has no barcode",
                                    "\"tqlib check --fix\" makes it empty", true};
inline constexpr Fault kDoubledBarcode{
    "doubled-barcode", Error, "the barcode {} is also in {}",
    "\"tqlib element set LIBRARY ELEMENT --empty\" where it is not"};
inline constexpr Fault kMediumWithoutVolume{"medium-without-volume", Note,
                                            "the medium {} has no volume",
                                            "nothing, when it is new; else bring its volume back"};

// Of the volumes
inline constexpr Fault kUnreadableTapeFolder{
    "unparsable-file", Error, "{}",
    "bring the folder back, or fix sVirtualTapeDirectory in the configuration"};
inline constexpr Fault kVolumeWithoutMedium{
    "volume-without-medium", Warning, "no library has a medium of that barcode",
    "\"tqlib element set\" puts the medium somewhere; or delete the volume"};
inline constexpr Fault kUnknownVolume{"volume-without-medium", Warning,
                                      "no library that can be read has a medium of that barcode",
                                      "fix the libraries that cannot be read first"};
inline constexpr Fault kVolumeOverLimit{
    "volume-over-limit", Warning, "it has {} bytes; the limit is {}",
    "raise nVirtualTapeSizeMB in the configuration, or erase the volume"};
inline constexpr Fault kMarkGap{"mark-gap", Error, "it lacks the filemarks {}",
                                "restore the last backup of the volume, or erase it"};
inline constexpr Fault kStaleVolume{"left-over", Note, "left by a crash",
                                    "\"tqlib check --fix\" deletes it", true};

}  // namespace faults

/// Where a fault is: a file or folder, and what in it. That is an element ("slot:1000"), the key of
/// an entry of the list, or nothing.
struct Place {
  std::string file;
  std::string element = {};
};

struct Finding {
  bool is(const Fault& other) const { return fault == &other; }

  void leaveToOperator(const char* step) {
    isFixable = false;
    next = step;
  }

  const Fault* fault;
  Place place;
  std::string text;
  std::string next;  ///< what the operator can do about it
  bool isFixable;
  std::string barcode = {};          ///< of an element whose occupancy is wrong
  std::optional<bool> isFixed = {};  ///< after a fix
  std::string copy = {};             ///< of the file before it was fixed
};

/// How much was looked at.
struct Scope {
  std::size_t libraries = 0;  ///< files that could be read
  std::size_t elements = 0;
  std::size_t volumes = 0;
};

Json findingsJson(const std::vector<Finding>& findings, const Scope& scope);

/// The findings by file, each on a line, many of one kind cut short; empty without any.
std::string findingsText(const std::vector<Finding>& findings);

/// "3 findings: ..." or "no findings: ...", and how much was looked at.
std::string summaryText(const std::vector<Finding>& findings, const Scope& scope);

struct FixResult {
  std::map<std::string, std::string> copies;  ///< of the files that were changed, by file
  std::vector<std::string> failures;
};

/// The findings that were fixed, or not fixed although they are fixable, and the result of the fix,
/// each on a line.
std::string outcomesText(std::vector<Finding> findings, const FixResult& result);

std::size_t countFixable(const std::vector<Finding>& findings);

// A check of the catalogue and its volumes, or of one library: the faults that it looks for, each
// with its text and next step, what it found, and the fix.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>

#include "base/Command.h"
#include "catalogue/LibraryContent.h"

enum class Severity { Error, Warning, Note };

inline constexpr char kByHand[] = "fix {file} by hand";

/// A fault that a check looks for. Programs identify it by its kind, which therefore never changes;
/// several faults may be of one kind. Text and next step are formatted with the same values, the
/// next step also with the names of its place. What is normal in some installations is a note.
struct Fault {
  const char* kind;
  Severity severity;
  const char* text;
  const char* next = kByHand;
  bool isFixable = false;  ///< usually; a single finding may be an exception
};

/// All faults. A finding points to the one here.
inline constexpr struct Faults {
  using enum Severity;

  // Of the catalogue folder and the list
  Fault unreadable{"unparsable-file", Error, "{}", "fix the permissions, or the disk"};
  Fault unreadableList{"unparsable-file", Error, "{}",
                       "fix {file} by hand, or delete it: \"tqlib check --fix\" makes a new one"};
  Fault entryWithoutFile{"entry-without-file", Error, "the library has no file",
                         "bring {} back; or \"tqlib check --fix\" takes the entry out", true};
  Fault fileWithoutEntry{"file-without-entry", Error, "the library is not in the list",
                         "\"tqlib check --fix\" enters it", true};
  Fault doubledEntry{"doubled-entry", Error, "it is in the list {} times",
                     "\"tqlib check --fix\" takes the later entries out", true};
  Fault badId{"bad-entry", Error, "the Id cannot be part of a file name"};
  Fault halfSaved{"half-saved", Warning, "a save of a library and the list is half done",
                  "the next change of the catalogue completes it", true};
  Fault damagedJournal{
      "half-saved", Warning, "the journal of a save of a library and the list is damaged",
      "see whether a new file beside it, .tqlib-*.new, has to be kept: the next change of the "
      "catalogue deletes the journal"};
  Fault lockedCatalogue{
      "locked-catalogue", Warning,
      "another process keeps the catalogue locked; stale temporary files were not looked for",
      "check again when its call is over; \"fuser -v {file}\" names the process"};
  Fault staleFile{"left-over", Note, "a temporary file or folder that was left after a crash",
                  "\"tqlib check --fix\" deletes it", true};

  // Of a library
  Fault unreadableLibrary{"unparsable-file", Error, "{}",
                          "fix {file} by hand, or restore the last backup"};
  Fault removedLibrary{"removed-library", Note, "the library was removed, and its file stayed",
                       "\"tqlib library remove {library} --purge\" deletes it"};
  Fault manyLibraries{"library-identity", Error, "it holds {} libraries instead of one"};
  Fault librarySerial{"library-identity", Error,
                      "the library has {} device blocks, or no serial number in it"};
  Fault otherSerial{"library-identity", Error,
                    "the library's serial number is {}, by the file's name {}"};
  Fault otherName{"library-identity", Error, "the library's Name is \"{}\" instead of \"{}\""};
  Fault expiredStatus{"expired-status", Warning,
                      "the injected status has expired, and is reported once more",
                      "\"tqlib status clear {library}\" removes it"};

  // Of an element
  Fault driveSerial{"drive-identity", Error,
                    "the drive has {} device blocks, or no serial number in it"};
  Fault otherDriveName{"drive-identity", Error, "the drive's Name is \"{}\", its serial number {}"};
  Fault doubledSerial{"drive-identity", Error, "the serial number {} is also that of {}"};
  Fault unplacedDrive{
      "unplaced-drive", Warning, "the drive {} has no element address yet",
      "\"tqlib drive remove {library} {0}\"; \"tqlib drive add {library} {0} --host {1}\""};
  Fault badAddress{"bad-address", Error, "the element address is missing, or is not a number"};
  Fault doubledAddress{"doubled-address", Error, "{} elements have the address {}"};
  Fault outOfRange{"address-out-of-range", Warning,
                   "hosts see {} elements of this type, from address {}",
                   "\"tqlib library resize {library} {2} {3}\" shows it to them, or "
                   "\"tqlib element remove {library} {element}\""};
  Fault wronglyEmpty{"occupancy", Error, "it is empty, but has the barcode {}",
                     "\"tqlib check --fix\" makes it full", true};
  Fault wronglyFull{"occupancy", Error, "it is occupied, but has no barcode",
                    "\"tqlib check --fix\" makes it empty", true};
  Fault doubledBarcode{
      "doubled-barcode", Error, "the barcode {} is also in {}",
      "look which of them it is in; \"tqlib element set {library} {element} --empty\" empties one"};
  Fault mediumWithoutVolume{"medium-without-volume", Note, "the medium {} has no volume",
                            "none if the medium is new; else restore its volume"};

  // Of the volumes
  Fault unreadableTapeFolder{
      "unparsable-file", Error, "{}",
      "bring the folder back, or fix sVirtualTapeDirectory in the configuration"};
  Fault volumeWithoutMedium{
      "volume-without-medium", Warning, "no library has a medium of that barcode",
      "\"tqlib element set {} {} --barcode {name}\" puts the medium into an empty slot; "
      "\"tqlib volume remove {name}\" deletes the volume"};
  Fault unknownVolume{"volume-without-medium", Warning,
                      "no library that can be read has a medium of that barcode",
                      "fix the libraries that cannot be read first"};
  Fault volumeOverLimit{
      "volume-over-limit", Warning, "it has {} bytes; the limit is {}",
      "raise nVirtualTapeSizeMB in the configuration, or \"tqlib volume erase {name}\""};
  Fault markGap{"mark-gap", Error, "it lacks the filemarks {}",
                "restore the last backup of the volume, or \"tqlib volume erase {name}\""};
  Fault strayChecksums{"checksums-without-volume", Warning,
                       "checksums of a volume that has no filemarks",
                       "restore the volume, or \"rm {file}\""};
  Fault strayBlockLengths{"block-lengths-without-volume", Warning,
                          "block lengths of a volume that has no filemarks",
                          "restore the volume, or \"rm {file}\""};
  Fault staleVolume = staleFile;
} faults;

/// Where a fault is: a file or folder, and what in it. That is an element ("slot:1000"), the key of
/// an entry of the list, or nothing.
struct Place {
  std::string library() const;  ///< whose file or entry it is; empty for anything else
  std::string words() const;    ///< "slot:1000 of library LIB001"; else with the path
  std::string name() const { return file.substr(file.rfind('/') + 1); }

  std::string file;
  std::string element = {};
};

struct Finding {
  bool is(const Fault& other) const { return fault == &other; }

  template <typename... Values>
  void advise(const char* nextStep, const Values&... values) {
    step = nextStep;
    next = fmt::format(fmt::runtime(nextStep), values...,
                       fmt::arg("library", shellWord(place.library())),
                       fmt::arg("element", place.element), fmt::arg("file", shellWord(place.file)),
                       fmt::arg("name", shellWord(place.name())));
  }

  void leaveToOperator(const char* nextStep) {
    isFixable = false;
    advise(nextStep);
  }

  const Fault* fault;
  Place place;
  std::string text;
  bool isFixable;
  const char* step = "";             ///< `next` without the names
  std::string next = {};             ///< what the operator can do about it
  std::string barcode = {};          ///< of an element whose occupancy is wrong
  std::optional<bool> isFixed = {};  ///< after a fix
};

/// What a check found, how much it looked at, and what must not be in the catalogue twice.
struct Checkup {
  template <typename... Values>
  Finding& add(const Fault& fault, Place place, const Values&... values) {
    Finding& finding = findings.emplace_back(
        Finding{&fault, std::move(place), fmt::format(fmt::runtime(fault.text), values...),
                fault.isFixable});
    finding.advise(fault.next, values...);
    return finding;
  }

  /// Whether what is in that library is checked; else it is only compared.
  bool covers(const std::string& library) const { return only.empty() || library == only; }

  std::string only;                    ///< the library that is checked; empty: all
  std::vector<Finding> findings = {};  ///< sorted by group
  std::size_t libraries = 0;           ///< files that could be read
  std::size_t elements = 0;
  std::set<std::string> volumes = {};
  std::map<std::string, std::vector<Place>> media = {};  ///< by barcode
  std::map<std::string, Place> drives = {};              ///< by serial number, folded
  Place emptySlot = {};                                  ///< one of them, if there is any
  bool knowsAll = true;  ///< there is no library whose elements could not be read
};

/// What findings have in common that are shown together; in this order, so that errors come first.
inline auto groupOf(const Finding& finding) {
  return std::tuple(finding.fault->severity, std::string_view(finding.fault->kind),
                    std::string_view(finding.step), finding.isFixed);
}

/// Checks a library and the volumes of its media, or everything if `library` is empty. Media and
/// drives are compared with all others; faults of the whole catalogue are those of each library.
/// Changes nothing. Throws Failure only when there is no catalogue folder, or no such library.
Checkup checkCatalogue(const std::string& library);

/// Checks the volumes, each in itself and against the media of the libraries.
void checkVolumes(Checkup& checkup);

struct FixResult {
  std::map<std::string, std::string> copies;  ///< of the files that were changed, by file
  std::vector<std::string> failures;
};

/// Fixes what is fixable and still wrong. The next check shows what was fixed.
FixResult fixFindings(const std::vector<Finding>& findings);

/// Whether the file holds one library, the one of that key.
bool isLibraryOfKey(const LibraryContent& content, const std::string& key);

inline bool hasWrongOccupancy(const ElementContent& element) {
  return element.isOccupied == element.barcode.empty();
}

/// "slot:1000", or with the Name of an element whose address cannot be read.
std::string nameOf(const ElementContent& element);

/// Whether nothing has that name, not even a broken symbolic link. Throws Failure when that cannot
/// be examined.
bool isAbsent(const std::string& path);

void addCheckCommand(CLI::App& app, Session& session);

// What the catalogue holds: its files, its list, and the devices and elements of a library.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "files/Names.h"
#include "files/ParsedFile.h"

inline constexpr int kSequentialAccess = 1;  // SCSI peripheral device types
inline constexpr int kMediumChanger = 8;

/// The document of a catalogue file, which has a root. Throws Failure when the file cannot be read
/// or parsed.
ParsedFile readDocument(const std::string& path);

/// Passes the document of a catalogue file to `change`, and saves it when that returns true. Both
/// are one step for other processes. For a file that does not exist, the document has an empty root
/// of the name `newRoot`, unless that is null. Throws Failure.
void changeFile(const std::string& path, const XMLCh* newRoot,
                const std::function<bool(xercesc::DOMDocument&)>& change);

/// Runs `steps` while no other thread or process changes the catalogue, so that what they read is
/// still true when they save. Passes exceptions on; throws Failure when others keep the lock.
void asOneStep(const std::function<void()>& steps);

/// Changes the catalogue by a call of the API. Throws Failure when the call fails or its change was
/// not saved. The text is `complaint` and the API's reason, or `otherwise` if it has none.
void change(const std::string& complaint, const std::function<bool(TqLibEmulator&)>& call,
            const std::string& otherwise = seeLog());

/// The keys in the library list, in its order; empty when there is no list. Throws Failure when
/// there is one that cannot be read.
std::vector<std::string> listedLibraries();

bool isListed(const std::string& library);

// Changes of the list that the API does not make: it removes an entry only together with the
// library in the file.

/// Removes the entries whose key `isUnwanted` accepts; it is called once for each entry, in order.
/// An entry that contains elements stays, because these may be entries as well. Returns whether
/// any entry was removed.
bool removeEntries(xercesc::DOMDocument& list,
                   const std::function<bool(const std::string&)>& isUnwanted);

/// Removes all entries of a library. Throws Failure.
void takeOffList(const std::string& library);

/// Removes all entries of a library, then its file. Throws Failure.
void purgeLibrary(const std::string& library);

/// The keys of the library files in the catalogue folder, in order.
std::vector<std::string> storedLibraries();

/// The library was removed, but its file stayed and prevents a new library of that name.
struct RemovedLibrary : Failure {
  explicit RemovedLibrary(const std::string& library);
};

/// The failure of a command on a library that is in the list and has no file.
Failure listedOnly(const std::string& library);

/// The command that deletes what is left of a library, as the operator types it.
std::string purgeCommand(const std::string& library);

/// Whether the library was removed and its file stayed.
bool wasRemoved(const std::string& library);

/// The document of the file of a library. Throws Failure when it cannot be read, or does not hold
/// just this library.
ParsedFile readLibraryFile(const std::string& library);

/// The library in the document of its file. Throws Failure when there is none, RemovedLibrary for
/// a removed one, when there are several, or another one.
xercesc::DOMElement& wholeLibrary(const xercesc::DOMDocument* document, const std::string& library);

/// Elements of one type with consecutive addresses, as a library announces them.
struct ElementRange {
  const char* key;        ///< in reports
  const char* described;  ///< key in descriptions
  const char* name;
  const char* option;  ///< for the count
  const char* baseOption;
  int type;
  int SCSIUnitFields::*count;
  int SCSIUnitFields::*base;
  const XMLCh* countElement;  ///< in the catalogue file
  const XMLCh* baseElement;
};

/// In the order of reports and descriptions.
inline constexpr ElementRange kRanges[] = {
    {"drives", "driveRange", "drives", "--drives", "--drive-base", LIB_ELEM_DRIVE,
     &SCSIUnitFields::DriveCount, &SCSIUnitFields::DriveBaseAddress, names::driveCount,
     names::driveBaseAddress},
    {"slots", "slots", "slots", "--slots", "--slot-base", LIB_ELEM_SLOT, &SCSIUnitFields::SlotCount,
     &SCSIUnitFields::SlotBaseAddress, names::slotCount, names::slotBaseAddress},
    {"mailSlots", "mailSlots", "mail slots", "--mail-slots", "--mail-base", LIB_ELEM_MAIL_SLOT,
     &SCSIUnitFields::IEPortCount, &SCSIUnitFields::IEPortBaseAddress, names::iePortCount,
     names::iePortBaseAddress}};
inline constexpr const ElementRange& kDriveRange = kRanges[0];
inline constexpr const ElementRange& kSlotRange = kRanges[1];
inline constexpr const ElementRange& kMailRange = kRanges[2];

// Each of the following throws Failure when the library cannot be read.

/// All elements of a library. Throws RemovedLibrary when it was removed.
std::vector<LibElement> inventory(const std::string& library);

bool isLibrary(const SCSIUnitFields& device);

/// A serial number for comparisons: drives are distinguished without regard to case.
std::string folded(std::string serial);

/// Whether the file of a library may have one of these texts as a value; otherwise it need not be
/// parsed. With `isFolded`, the texts are folded, and so is the file for the comparison.
bool mayHold(const std::string& library, const std::set<std::string>& texts, bool isFolded = false);

/// Throws Failure when a library, other than `library`, has a drive of one of the serial
/// numbers: a call finds a drive by its number alone, in the first library that has it.
void refuseDrivesElsewhere(const std::vector<std::string>& serials, const std::string& library);

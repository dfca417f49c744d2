// The check as a whole, and that of the catalogue: the list against the files, what a crash left,
// each library file, and what no two libraries may have.
//
// The folder and the list are read with the catalogue locked, since a save in progress looks like
// one that broke off. The library files are read afterwards without the lock.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <filesystem>

#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/Elements.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/Descendants.h"
#include "files/FolderLock.h"
#include "files/PairedSave.h"
#include "files/XmlText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestWait{5};

/// The entries of the list with one key.
struct Entries {
  int count = 0;
  bool holdOthers = false;  ///< other elements, which would be removed with them
};

std::map<std::string, Entries> entriesOf(const std::string& list) {
  std::map<std::string, Entries> entries;
  if (isAbsent(list)) return entries;
  const ParsedFile file = readDocument(list);
  for (const xercesc::DOMElement* entry : Descendants(rootOf(file.document()), names::library)) {
    Entries& same = entries[toUtf8(entry->getAttribute(names::id))];
    ++same.count;
    same.holdOthers |= entry->getFirstElementChild() != nullptr;
  }
  return entries;
}

// Drives may be in a file without a library.
bool isRemovedLibrary(const LibraryContent& content) {
  const auto isDrive = [](const ElementContent& each) { return each.type == LIB_ELEM_DRIVE; };
  return content.libraries == 0 && std::ranges::none_of(content.elements, isDrive);
}

struct LibraryCheck {
  void run() {
    checkup.libraries += checkup.covers(key) ? 1 : 0;
    checkup.elements += checkup.covers(key) ? content.elements.size() : 0;
    if (isRemovedLibrary(content)) return checkRemoved();
    const bool isStandalone = content.libraries == 0 && key == names::standaloneKey;
    if (!isStandalone) checkIdentity();
    if (content.libraries > 1) return;  // no call of the API changes its elements
    for (const ElementContent& element : content.elements) {
      if (element.address) ++sharersOf(element);
    }
    for (const ElementContent& element : content.elements) checkElement(element);
    if (content.statusExpiry && *content.statusExpiry <= std::time(nullptr)) {
      add(faults.expiredStatus, "");
    }
  }

  template <typename... Values>
  Finding& add(const Fault& fault, const std::string& element, const Values&... values) {
    return checkup.add(fault, {file, element}, values...);
  }

  // The shelves stay when a library is removed, and the volumes of their media are in use.
  void checkRemoved() {
    bool hasMedia = false;
    for (const ElementContent& element : content.elements) hasMedia |= countMedium(element);
    Finding& finding = add(faults.removedLibrary, "");
    if (hasMedia) finding.leaveToOperator("move its media from {file} elsewhere first, by hand");
  }

  bool countMedium(const ElementContent& element) {
    if (element.barcode.empty()) return false;
    checkup.media[element.barcode].push_back({file, nameOf(element)});
    return true;
  }

  void checkIdentity() {
    const std::string name = names::libraryPrefix + key;
    if (content.libraries != 1) {
      checkup.knowsAll = false;
      add(faults.manyLibraries, "", content.libraries);
      return;
    }
    if (content.devices != 1 || content.serial.empty()) {
      add(faults.librarySerial, "", content.devices);
    } else if (content.serial != key) {
      add(faults.otherSerial, "", content.serial, key);
    }
    if (content.name != name) add(faults.otherName, "", content.name, name);
  }

  /// How many elements have its address. Hosts do not see shelves, whose addresses are separate.
  int& sharersOf(const ElementContent& element) {
    return sharers[{element.type == LIB_ELEM_SHELF, *element.address}];
  }

  void checkElement(const ElementContent& element) {
    const std::string name = nameOf(element);
    if (element.type == LIB_ELEM_DRIVE) checkDrive(element, name);
    checkAddress(element, name);
    const bool isTaken = countMedium(element) || element.isOccupied;
    const bool isFree = !isTaken && element.type == LIB_ELEM_SLOT;
    if (isFree && checkup.emptySlot.file.empty()) checkup.emptySlot = {file, name};
    if (hasWrongOccupancy(element)) addOccupancy(element, name);
  }

  void checkDrive(const ElementContent& drive, const std::string& name) {
    if (drive.devices != 1 || drive.serial.empty()) {
      add(faults.driveSerial, name, drive.devices);
      return;
    }
    const std::string serial = folded(drive.serial);
    if (folded(drive.name) != folded(names::drivePrefix) + serial) {
      add(faults.otherDriveName, name, drive.name, drive.serial);
    }
    const auto [twin, isNew] = checkup.drives.emplace(serial, Place{file, name});
    if (!isNew) add(faults.doubledSerial, name, drive.serial, twin->second.words());
  }

  void checkAddress(const ElementContent& element, const std::string& name) {
    if (!element.address) {
      add(faults.badAddress, name);
      return;
    }
    if (element.type == LIB_ELEM_DRIVE && *element.address == kUnplaced) {
      const auto* unit = Descendants(element.node, names::driveScsiUnit).first();
      add(faults.unplacedDrive, name, element.serial,
          unit == nullptr ? "HOST" : toUtf8(unit->getAttribute(names::maName)));
      return;
    }
    const int address = *element.address;
    const int all = sharersOf(element);
    if (all > 1) add(faults.doubledAddress, name, all, address);
    if (element.type == LIB_ELEM_SHELF || content.libraries == 0) return;
    const auto& [first, count] = content.ranges.at(element.type);
    if (address >= first && address < first + count) return;
    const char* option = (element.type == LIB_ELEM_SLOT ? kSlotRange : kMailRange).option;
    Finding& finding = add(faults.outOfRange, name, count, first, option, address - first + 1);
    if (address < first || element.type == LIB_ELEM_DRIVE) finding.advise(kByHand);
  }

  void addOccupancy(const ElementContent& element, const std::string& name) {
    Finding& finding =
        add(element.isOccupied ? faults.wronglyFull : faults.wronglyEmpty, name, element.barcode);
    finding.barcode = element.barcode;
    const bool isUnique = element.address && sharersOf(element) == 1;
    if (!isUnique || !element.hasBarcode) finding.leaveToOperator(kByHand);
  }

  const std::string& key;
  const std::string& file;
  const LibraryContent& content;
  Checkup& checkup;
  std::map<std::pair<bool, int>, int> sharers = {};  // elements with an address; true: shelves
};

struct FolderCheck {
  void run() {
    checkLocked();
    if (listed) checkEntries();
    // The chosen library comes last, so that what it shares with another one is found in it.
    std::ranges::stable_sort(
        files, {}, [&](const std::string& file) { return names::keyOf(file) == checkup.only; });
    for (const std::string& file : files) checkFile(names::keyOf(file));
  }

  // If another process keeps the lock, checks without it: the operator may look for the reason.
  void checkLocked() {
    const FolderLock lock(folder, kLongestWait);
    files = namesIn(folder);
    const SaveJournal journal = PairedSave::readJournal(folder);
    checkJournal(journal, lock.isHeld());
    if (lock.isHeld()) checkStaleFiles(journal);
    if (!lock.isHeld()) checkup.add(faults.lockedCatalogue, {folder});
    try {
      listed = entriesOf(folder + names::listFile);
    } catch (const std::exception& failure) {
      checkup.knowsAll = false;
      checkup.add(faults.unreadableList, {folder + names::listFile}, failure.what());
    }
  }

  template <typename... Values>
  void addEntry(const Fault& fault, const std::string& key, const Values&... values) {
    Finding& finding = checkup.add(fault, {folder + names::listFile, key}, values...);
    if (finding.isFixable && listed->at(key).holdOthers) {
      finding.leaveToOperator("fix {file} by hand: an entry of that Id holds others");
    }
  }

  void checkJournal(const SaveJournal& journal, bool hasLock) {
    using enum SaveJournal::State;
    const std::string file = folder + names::journalFile;
    if (journal.state == Sound && hasLock) checkup.add(faults.halfSaved, {file});
    if (journal.state == Damaged) checkup.add(faults.damagedJournal, {file});
    if (journal.state == Unreadable) {
      checkup.add(faults.unreadable, {file}, systemFailure(file, journal.error).what());
    }
  }

  void checkStaleFiles(const SaveJournal& journal) {
    for (const std::string& file : files) {
      if (!names::isTemporary(file) || journal.mayNeed(file)) continue;
      std::error_code ignored;
      const bool isFile = fs::is_regular_file(fs::symlink_status(folder + file, ignored));
      if (isFile) checkup.add(faults.staleFile, {folder + file});
    }
  }

  void checkEntries() {
    for (const auto& [key, entries] : *listed) {
      const std::string file = names::fileOf(key);
      const bool isBad = names::keyOf(file) != key || key.empty() || file.size() > NAME_MAX;
      const bool hasFile = !isBad && std::ranges::binary_search(files, file);
      checkup.knowsAll &= hasFile;
      if (isBad) addEntry(faults.badId, key);
      if (!isBad && !hasFile) addEntry(faults.entryWithoutFile, key, file);
      if (entries.count > 1 && !key.empty()) addEntry(faults.doubledEntry, key, entries.count);
    }
  }

  void checkFile(const std::string& key) {
    if (key.empty()) return;  // the file of something else
    const std::string path = folder + names::fileOf(key);
    try {
      const ParsedFile file = readDocument(path);
      const LibraryContent content = readLibrary(*file.document());
      // A copy of a library under another name does not belong in the list.
      if (listed && !listed->contains(key) && isLibraryOfKey(content, key)) {
        checkup.add(faults.fileWithoutEntry, {path});
      }
      LibraryCheck{key, path, content, checkup}.run();
    } catch (const std::exception& failure) {
      if (isAbsent(path)) return;  // its library was removed in the meantime
      checkup.add(faults.unreadableLibrary, {path}, failure.what());
      checkup.knowsAll = false;
    }
  }

  const std::string& folder;
  Checkup& checkup;
  // The folder and the list at one moment
  std::vector<std::string> files = {};
  std::optional<std::map<std::string, Entries>> listed = {};  // by key
};

/// Looks for media that are in several places. Nobody knows which of these has the medium, so their
/// occupancy cannot be fixed.
void checkDoubledMedia(Checkup& checkup) {
  for (Finding& finding : checkup.findings) {
    if (!finding.is(faults.wronglyEmpty)) continue;
    if (!checkup.knowsAll) {
      finding.leaveToOperator(
          "fix the libraries that cannot be read first; one of them may have it too");
    } else if (checkup.media.at(finding.barcode).size() > 1) {
      finding.leaveToOperator("take the barcode out of one of its places first");
    }
  }
  for (const auto& [barcode, places] : checkup.media) {
    for (std::size_t i = 1; i < places.size(); ++i) {
      checkup.add(faults.doubledBarcode, places[i], barcode, places.front().words());
    }
  }
}

/// Removes what concerns other libraries only.
void leaveOut(Checkup& checkup) {
  std::erase_if(checkup.findings, [&](const Finding& finding) {
    const std::string library = finding.place.library();
    return !checkup.covers(library) && (!library.empty() || finding.is(faults.staleFile));
  });
  std::erase_if(checkup.media, [&](const auto& medium) {
    return !checkup.covers(medium.second.back().library());
  });
}

}  // namespace

std::string Place::library() const {
  return name() == names::listFile ? element : names::keyOf(name());
}

std::string Place::words() const {
  const std::string key = names::keyOf(name());
  const std::string where = key.empty() ? file : "library " + key;
  return element.empty() ? where : fmt::format("{} of {}", element, where);
}

Checkup checkCatalogue(const std::string& library) {
  const std::string folder = configuredCatalogue();
  if (isAbsent(folder)) {
    throw Failure("there is no catalogue: " + folder,
                  "bring the folder back, or \"tqlib init DIR\"");
  }
  if (!library.empty() && isAbsent(folder + names::fileOf(library)) && !isListed(library)) {
    requireLibrary(library);
  }
  Checkup checkup{library};
  try {
    FolderCheck{folder, checkup}.run();
  } catch (const std::exception& failure) {
    checkup.add(faults.unreadable, {folder}, failure.what());
    checkup.knowsAll = false;
  }
  checkDoubledMedia(checkup);
  leaveOut(checkup);
  checkVolumes(checkup);
  std::ranges::stable_sort(checkup.findings, {}, groupOf);
  return checkup;
}

bool isAbsent(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) == 0) return false;
  if (errno != ENOENT) throw systemFailure(path, errno);
  return true;
}

bool isLibraryOfKey(const LibraryContent& content, const std::string& key) {
  return content.libraries == 1 && content.devices == 1 && content.serial == key &&
         content.name == names::libraryPrefix + key;
}

std::string nameOf(const ElementContent& element) {
  const std::string type = elementTypeWord(element.type);
  if (element.address) return fmt::format("{}:{}", type, *element.address);
  return element.name.empty() ? type + ":?" : fmt::format("{}:? ({})", type, element.name);
}

// The check of one library file, and of what no two libraries may have.
#include <algorithm>
#include <ctime>

#include "TqLibEmulator.h"
#include "catalogue/Elements.h"
#include "check/Checkup.h"
#include "files/Descendants.h"
#include "files/XmlText.h"

namespace {

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
      add(faults::kExpiredStatus, "");
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
    Finding& finding = add(faults::kRemovedLibrary, "");
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
      add(faults::kManyLibraries, "", content.libraries);
      return;
    }
    if (content.devices != 1 || content.serial.empty()) {
      add(faults::kLibrarySerial, "", content.devices);
    } else if (content.serial != key) {
      add(faults::kOtherSerial, "", content.serial, key);
    }
    if (content.name != name) add(faults::kOtherName, "", content.name, name);
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
      add(faults::kDriveSerial, name, drive.devices);
      return;
    }
    const std::string serial = folded(drive.serial);
    if (folded(drive.name) != folded(names::drivePrefix) + serial) {
      add(faults::kOtherDriveName, name, drive.name, drive.serial);
    }
    const auto [twin, isNew] = checkup.drives.emplace(serial, Place{file, name});
    if (!isNew) add(faults::kDoubledSerial, name, drive.serial, twin->second.words());
  }

  void checkAddress(const ElementContent& element, const std::string& name) {
    if (!element.address) {
      add(faults::kBadAddress, name);
      return;
    }
    if (element.type == LIB_ELEM_DRIVE && *element.address == kUnplaced) {
      const auto* unit = Descendants(element.node, names::driveScsiUnit).first();
      add(faults::kUnplacedDrive, name, element.serial,
          unit == nullptr ? "HOST" : toUtf8(unit->getAttribute(names::maName)));
      return;
    }
    const int address = *element.address;
    const int all = sharersOf(element);
    if (all > 1) add(faults::kDoubledAddress, name, all, address);
    if (element.type == LIB_ELEM_SHELF || content.libraries == 0) return;
    const auto& [first, count] = content.ranges.at(element.type);
    if (address >= first && address < first + count) return;
    const char* option = (element.type == LIB_ELEM_SLOT ? kSlotRange : kMailRange).option;
    Finding& finding = add(faults::kOutOfRange, name, count, first, option, address - first + 1);
    if (address < first || element.type == LIB_ELEM_DRIVE) finding.advise(kByHand);
  }

  void addOccupancy(const ElementContent& element, const std::string& name) {
    Finding& finding = add(element.isOccupied ? faults::kWronglyFull : faults::kWronglyEmpty, name,
                           element.barcode);
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

}  // namespace

void checkLibrary(const std::string& key, const std::string& file, const LibraryContent& content,
                  Checkup& checkup) {
  LibraryCheck{key, file, content, checkup}.run();
}

void checkDoubledMedia(Checkup& checkup) {
  for (Finding& finding : checkup.findings) {
    if (!finding.is(faults::kWronglyEmpty)) continue;
    if (!checkup.knowsAll) {
      finding.leaveToOperator(
          "fix the libraries that cannot be read first; one of them may have it too");
    } else if (checkup.media.at(finding.barcode).size() > 1) {
      finding.leaveToOperator("take the barcode out of one of its places first");
    }
  }
  for (const auto& [barcode, places] : checkup.media) {
    for (std::size_t i = 1; i < places.size(); ++i) {
      checkup.add(faults::kDoubledBarcode, places[i], barcode, places.front().words());
    }
  }
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

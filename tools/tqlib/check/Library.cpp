// The check of one library file, and of what no two libraries may have.
#include <algorithm>
#include <ctime>

#include "TqLibEmulator.h"
#include "catalogue/Catalogue.h"
#include "check/Checkup.h"
#include "files/XmlText.h"

namespace {

std::string placeText(const Place& place) {
  return fmt::format("{} of {}", place.element, place.file);
}

// Drives may be in a file without a library.
bool isRemovedLibrary(const LibraryContent& content) {
  return content.libraries == 0 &&
         std::ranges::none_of(content.elements, [](const ElementContent& element) {
           return element.type == LIB_ELEM_DRIVE;
         });
}

struct LibraryCheck {
  void run() {
    ++m_checkup.scope.libraries;
    m_checkup.scope.elements += m_content.elements.size();
    if (isRemovedLibrary(m_content)) {
      checkRemoved();
      return;
    }
    const bool isStandalone = m_content.libraries == 0 && m_key == names::standaloneKey;
    if (!isStandalone) checkIdentity();
    if (!isStandalone && m_content.libraries != 1) m_checkup.knowsAll = false;
    if (m_content.libraries > 1) return;  // no call of the API changes its elements
    for (const ElementContent& element : m_content.elements) {
      if (element.address) ++sharersOf(element);
    }
    for (const ElementContent& element : m_content.elements) checkElement(element);
    if (m_content.statusExpiry && *m_content.statusExpiry <= std::time(nullptr)) {
      add(faults::kExpiredStatus, "", m_key);
    }
  }

  template <typename... Values>
  Finding& add(const Fault& fault, const std::string& element, const Values&... values) {
    return m_checkup.add(fault, {m_file, element}, values...);
  }

  // The shelves outlive the library, and the volumes of their media are in use.
  void checkRemoved() {
    bool hasMedia = false;
    for (const ElementContent& element : m_content.elements) hasMedia |= countMedium(element);
    Finding& finding = add(faults::kRemovedLibrary, "", purgeCommand(m_key));
    if (hasMedia) finding.leaveToOperator("move the barcodes elsewhere first, by hand");
  }

  bool countMedium(const ElementContent& element) {
    if (element.barcode.empty()) return false;
    m_checkup.media[element.barcode].push_back({m_file, nameOf(element)});
    return true;
  }

  void checkIdentity() {
    const std::string name = names::libraryPrefix + m_key;
    if (m_content.libraries != 1) {
      add(faults::kManyLibraries, "", m_content.libraries);
      return;
    }
    if (m_content.devices != 1 || m_content.serial.empty()) {
      add(faults::kLibrarySerial, "", m_content.devices);
    } else if (m_content.serial != m_key) {
      add(faults::kOtherSerial, "", m_content.serial, m_key);
    }
    if (m_content.name != name) add(faults::kOtherName, "", m_content.name, name);
  }

  /// How many elements have its address. Hosts do not see shelves, whose addresses are separate.
  int& sharersOf(const ElementContent& element) {
    return m_sharers[{element.type == LIB_ELEM_SHELF, *element.address}];
  }

  void checkElement(const ElementContent& element) {
    const std::string name = nameOf(element);
    if (element.type == LIB_ELEM_DRIVE) checkDrive(element, name);
    checkAddress(element, name);
    countMedium(element);
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
    const auto [twin, isNew] = m_checkup.drives.emplace(serial, Place{m_file, name});
    if (!isNew) add(faults::kDoubledSerial, name, drive.serial, placeText(twin->second));
  }

  void checkAddress(const ElementContent& element, const std::string& name) {
    if (!element.address) {
      add(faults::kBadAddress, name);
      return;
    }
    const int address = *element.address;
    if (element.type == LIB_ELEM_DRIVE && toXml(address) == names::unplacedAddress) {
      add(faults::kUnplacedDrive, name);
      return;
    }
    const int sharers = sharersOf(element);
    if (sharers > 1) add(faults::kDoubledAddress, name, sharers, address);
    if (element.type == LIB_ELEM_SHELF || m_content.libraries == 0) return;
    const auto& [first, count] = m_content.ranges.at(element.type);
    if (address < first || address >= first + count) add(faults::kOutOfRange, name, count, first);
  }

  void addOccupancy(const ElementContent& element, const std::string& name) {
    Finding& finding = add(element.isOccupied ? faults::kWronglyFull : faults::kWronglyEmpty, name,
                           element.barcode);
    finding.barcode = element.barcode;
    const bool isUnique = element.address && sharersOf(element) == 1;
    if (!isUnique || !element.hasBarcode) finding.leaveToOperator(faults::kByHand);
  }

  const std::string& m_key;
  const std::string& m_file;
  const LibraryContent& m_content;
  Checkup& m_checkup;
  std::map<std::pair<bool, int>, int> m_sharers = {};  // of an address, which may be a shelf's
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
      checkup.add(faults::kDoubledBarcode, places[i], barcode, placeText(places.front()));
    }
  }
}

bool isLibraryOfKey(const LibraryContent& content, const std::string& key) {
  return content.libraries == 1 && content.devices == 1 && content.serial == key &&
         content.name == names::libraryPrefix + key;
}

bool hasWrongOccupancy(const ElementContent& element) {
  return element.isOccupied == element.barcode.empty();
}

std::string nameOf(const ElementContent& element) {
  const std::string type = elementTypeWord(element.type);
  if (element.address) return fmt::format("{}:{}", type, *element.address);
  return element.name.empty() ? type + ":?" : fmt::format("{}:? ({})", type, element.name);
}

#include "check/CheckedLibrary.h"

#include <ctime>
#include <unordered_map>

#include "TqLibEmulator.h"
#include "catalogue/Catalogue.h"
#include "files/Names.h"
#include "catalogue/ElementName.h"
#include "description/LibraryDescription.h"

namespace {

constexpr char kByHand[] = "mend the file by hand";

/// "slot:1000"; an element whose address cannot be read goes by its name.
std::string nameOf(const ElementContent& element) {
  if (element.address.number()) return elementName(elementByBarcode(element));
  return elementTypeWord(element.type) + ":?" +
         (element.name.empty() ? "" : " (" + element.name + ")");
}

std::string placeText(const Place& place) {
  return place.element + " of " + place.file;
}

class LibraryCheck {
public:
  LibraryCheck(const std::string& key, const std::string& file, const LibraryContent& content,
               Findings& findings, Inventory& inventory)
      : m_key(key),
        m_file(file),
        m_content(content),
        m_findings(findings),
        m_inventory(inventory) {}

  void run() {
    ++m_inventory.libraries;
    m_inventory.elements += m_content.elements.size();
    if (isRemovedLibrary(m_content)) {
      checkRemoved();
      return;
    }
    checkIdentity();
    if (!isReadable()) m_inventory.isWhole = false;
    if (m_content.libraries > 1) return;  // no call of the library touches its elements
    countAddresses();
    for (const ElementContent& element : m_content.elements) checkElement(element);
    checkStatus();
  }

private:
  Finding& add(const Kind& kind, const std::string& element, const std::string& text,
               const std::string& next) {
    Finding& finding = m_findings.emplace_back(kind, Place{m_file, element}, text, next);
    finding.library = m_key;
    return finding;
  }

  // The shelves outlive the library, and a volume of theirs is no stray one.
  void checkRemoved() {
    bool hasMedia = false;
    for (const ElementContent& element : m_content.elements) {
      if (!element.barcode.isUsable()) continue;
      m_inventory.media[element.barcode.text].push_back({m_file, nameOf(element)});
      hasMedia = true;
    }
    if (hasMedia) {
      add(kinds::kRemovedLibrary, "",
          "no library is in it: what a removal left; shelves with media are still in it",
          "move the barcodes elsewhere first, by hand");
    } else {
      add(kinds::kRemovedLibrary, "", "no library is in it: what a removal left",
          purgeCommand(m_key) + " deletes it");
    }
  }

  bool mayLackLibrary() const { return m_content.libraries == 0 && m_key == names::standaloneKey; }

  /// Whether the elements that are found are all that there are.
  bool isReadable() const { return m_content.libraries == 1 || mayLackLibrary(); }

  void addIdentity(const std::string& text) { add(kinds::kLibraryIdentity, "", text, kByHand); }

  void checkIdentity() {
    if (mayLackLibrary()) return;
    if (m_content.libraries != 1) {
      addIdentity("it holds " + std::to_string(m_content.libraries) + " libraries in place of one");
      return;
    }
    if (m_content.devices != 1 || !m_content.serial.isUsable()) {
      addIdentity("the library has " + std::to_string(m_content.devices) +
                  " device blocks, or no serial number in it");
    } else if (m_content.serial.text != m_key) {
      addIdentity("the library's serial number is " + m_content.serial.text +
                  ", by the file's name " + m_key);
    }
    if (m_content.name != names::libraryPrefix + m_key) {
      addIdentity("the library's Name is \"" + m_content.name + "\" in place of \"" +
                  names::libraryPrefix + m_key + "\"");
    }
  }

  /// Drives and slots share the addresses of the host's view; shelves are outside of it.
  std::unordered_map<int, int>& addressesOf(const ElementContent& element) {
    return element.type == LIB_ELEM_SHELF ? m_shelfAddresses : m_addresses;
  }

  void countAddresses() {
    for (const ElementContent& element : m_content.elements) {
      if (const auto address = element.address.number()) ++addressesOf(element)[*address];
    }
  }

  void checkElement(const ElementContent& element) {
    const std::string name = nameOf(element);
    if (element.type == LIB_ELEM_DRIVE) checkDrive(element, name);
    checkAddress(element, name);
    checkMedium(element, name);
  }

  void checkDrive(const ElementContent& drive, const std::string& name) {
    if (drive.devices != 1 || !drive.serial.isUsable()) {
      add(kinds::kDriveIdentity, name,
          "the drive has " + std::to_string(drive.devices) +
              " device blocks, or no serial number in it",
          kByHand);
      return;
    }
    const std::string serial = folded(drive.serial.text);
    if (folded(drive.name) != folded(names::drivePrefix) + serial) {
      add(kinds::kDriveIdentity, name,
          "the drive's Name is \"" + drive.name + "\", its serial number " + drive.serial.text,
          kByHand);
    }
    const auto [twin, isNew] = m_inventory.drives.emplace(serial, Place{m_file, name});
    if (!isNew) {
      add(kinds::kDriveIdentity, name,
          "the serial number " + drive.serial.text + " is also that of " + placeText(twin->second),
          kByHand);
    }
  }

  void checkAddress(const ElementContent& element, const std::string& name) {
    const auto address = element.address.number();
    if (!address) {
      add(kinds::kBadAddress, name, "the element address is missing, or no number", kByHand);
    } else if (element.type == LIB_ELEM_DRIVE && *address == kUnplaced) {
      add(kinds::kUnplacedDrive, name, "the drive has no element address yet",
          "\"tqlib drive add\" gives a drive its address");
    } else {
      checkTwins(element, *address, name);
      checkRange(element, *address, name);
    }
  }

  void checkTwins(const ElementContent& element, int address, const std::string& name) {
    const int sharers = addressesOf(element)[address];
    if (sharers > 1) {
      add(kinds::kDoubledAddress, name,
          std::to_string(sharers) + " elements have the address " + std::to_string(address),
          kByHand);
    }
  }

  void checkRange(const ElementContent& element, int address, const std::string& name) {
    if (element.type == LIB_ELEM_SHELF || m_content.libraries == 0) return;
    const auto found = m_content.ranges.find(element.type);
    const AddressRange range = found == m_content.ranges.end() ? AddressRange{} : found->second;
    const long base = range.base.number().value_or(0);
    const long end = base + range.count.number().value_or(0);
    if (address >= base && address < end) return;
    add(kinds::kAddressOutOfRange, name,
        base < end ? "hosts are told of the addresses " + std::to_string(base) + " to " +
                         std::to_string(end - 1)
                   : "hosts are told of no element of this kind",
        "mend count and first address by hand, or remove the element");
  }

  void checkMedium(const ElementContent& element, const std::string& name) {
    if (element.barcode.isUsable()) {
      m_inventory.media[element.barcode.text].push_back({m_file, name});
    }
    if (!hasWrongOccupancy(element)) return;
    Finding& finding = add(kinds::kOccupancy, name, occupancyText(element), "");
    finding.wanted = elementByBarcode(element);
    const auto address = element.address.number();
    finding.isMendable = element.barcode.state == Value::State::Read && address &&
                         addressesOf(element)[*address] == 1;
    finding.next = finding.isMendable
                       ? "\"tqlib check --fix\" makes it " +
                             std::string(finding.wanted.isOccupied ? "full" : "empty")
                       : kByHand;
  }

  static std::string occupancyText(const ElementContent& element) {
    if (!element.isOccupied) return "it is empty, but has the barcode " + element.barcode.text;
    return std::string("it is occupied, but its barcode ") +
           (element.barcode.state == Value::State::Unreadable ? "cannot be read" : "is missing");
  }

  void checkStatus() {
    if (m_content.statusExpiry && *m_content.statusExpiry <= std::time(nullptr)) {
      add(kinds::kExpiredStatus, "", "the injected status has expired, and is reported once more",
          "\"tqlib status get " + m_key + "\" uses it up");
    }
  }

  const std::string& m_key;
  const std::string& m_file;
  const LibraryContent& m_content;
  Findings& m_findings;
  Inventory& m_inventory;
  std::unordered_map<int, int> m_addresses;  // how many elements have them
  std::unordered_map<int, int> m_shelfAddresses;
};

}  // namespace

const char* severityWord(Severity severity) {
  switch (severity) {
    case Severity::Error:
      return "error";
    case Severity::Warning:
      return "warning";
    default:
      return "note";
  }
}

// A drive may be in a file without a library, and is no left-over.
bool isRemovedLibrary(const LibraryContent& content) {
  if (content.libraries > 0) return false;
  for (const ElementContent& element : content.elements) {
    if (element.type == LIB_ELEM_DRIVE) return false;
  }
  return true;
}

bool isLibraryOfKey(const LibraryContent& content, const std::string& key) {
  return content.libraries == 1 && content.devices == 1 && content.serial.text == key &&
         content.name == names::libraryPrefix + key;
}

void checkLibrary(const std::string& key, const std::string& file, const LibraryContent& content,
                  Findings& findings, Inventory& inventory) {
  LibraryCheck(key, file, content, findings, inventory).run();
}

void checkDoubledMedia(const Inventory& inventory, Findings& findings) {
  for (Finding& finding : findings) {
    if (!finding.is(kinds::kOccupancy) || !finding.wanted.isOccupied) continue;
    if (inventory.media.at(finding.wanted.barCode).size() == 1 && inventory.isWhole) continue;
    finding.isMendable = false;
    finding.next = inventory.isWhole
                       ? "take the barcode out of one of its places first"
                       : "mend the libraries that cannot be read first; one of them may have it "
                         "too";
  }
  for (const auto& [barcode, places] : inventory.media) {
    for (std::size_t i = 1; i < places.size(); ++i) {
      findings.emplace_back(kinds::kDoubledBarcode, places[i],
                            "the barcode " + barcode + " is also in " + placeText(places.front()),
                            "\"tqlib element set LIBRARY ELEMENT --empty\" where it is not");
    }
  }
}

bool hasWrongOccupancy(const ElementContent& element) {
  return element.isOccupied != element.barcode.isUsable() &&
         !(element.barcode.state == Value::State::Unreadable && !element.isOccupied);
}

LibElement elementByBarcode(const ElementContent& element) {
  LibElement record;
  record.elementType = element.type;
  record.elementAddress = element.address.number().value_or(-1);
  record.isOccupied = element.barcode.isUsable();
  record.barCode = element.barcode.text;
  return record;
}

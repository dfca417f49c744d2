// Whether a library can be made of a description, told with the place that stands in the way.
#include <map>
#include <set>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/ElementName.h"
#include "description/LibraryDescription.h"

namespace {

void checkText(const CLI::Validator& rule, std::string text, const std::string& place) {
  if (const std::string complaint = rule(text); !complaint.empty()) {
    throw Failure(place + ": " + complaint);
  }
}

void checkTexts(const SCSIUnitFields& record, std::span<const DescribedText> texts,
                const std::string& place) {
  for (const DescribedText& text : texts) {
    const std::string& value = record.*text.field;
    if (!value.empty()) checkText(catalogueText(), value, place + text.key);
  }
}

std::string placeOf(const char* list, std::size_t index) {
  return std::string(list) + "[" + std::to_string(index) + "]";
}

// Hosts are told apart without regard to case, like drives.
void checkHosts(const std::vector<SCSIUnitFields>& hosts, const std::string& place) {
  if (hosts.empty()) throw Failure(place + ": there has to be a host");
  std::set<std::string> seen;
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    const std::string here = placeOf(place.c_str(), i);
    checkText(catalogueText(), hosts[i].MAName, here + ".name");
    checkTexts(hosts[i], kHostTexts, here + ".");
    if (!seen.insert(folded(hosts[i].MAName)).second) {
      throw Failure(here + ".name: the host stands twice: " + hosts[i].MAName);
    }
  }
}

void checkSerial(const std::string& serial, const std::string& library, const std::string& place) {
  checkText(catalogueText(), serial, place);
  if (serial.find('|') != std::string::npos) {
    throw Failure(place + ": a drive's serial number cannot hold \"|\": " + serial);
  }
  // Such a drive could never be removed without its library.
  if (serial == library) {
    throw Failure(place + ": a drive cannot have the serial number of its library: " + serial);
  }
}

void checkNumber(const LibraryDescription& description, const DescribedDrive& drive,
                 const std::string& place) {
  const int address = drive.device.DriveBaseAddress;
  if (address == kUnplaced) return;
  const std::int64_t number = numberOf(description, drive);
  if (address < 0 || number < 1 || number > kMostElements) {
    throw Failure(place + ".address: no drive can be at " + std::to_string(address) +
                  " when they begin at " + std::to_string(description.library.DriveBaseAddress));
  }
}

void checkDrives(const LibraryDescription& description) {
  std::set<std::string> seen;
  for (std::size_t i = 0; i < description.drives.size(); ++i) {
    const DescribedDrive& drive = description.drives[i];
    const std::string& serial = drive.device.SerialNumber;
    const std::string place = placeOf("drives", i);
    const std::string serialPlace = place + ".serial";
    checkSerial(serial, description.library.SerialNumber, serialPlace);
    // Drives are found without regard to case, so two that differ in case are one.
    if (!seen.insert(folded(serial)).second) {
      throw Failure(std::string(serialPlace).append(": two drives have one serial number: ") +=
                    serial);
    }
    checkTexts(drive.device, kIdentity, place + ".");
    if (drive.device.ScsiDeviceType == kMediumChanger) {
      throw Failure(place + ".deviceType: that is the type of a library");
    }
    checkNumber(description, drive, place);
    checkHosts(drive.hosts, place + ".hosts");
  }
}

class ElementCheck {
public:
  void add(const LibElement& element) {
    refuseSameAddress(element);
    if (!element.isOccupied) return;
    const std::string name = elementName(element);
    if (element.elementAddress < 0) {
      throw Failure("elements: a drive without an address cannot hold a medium");
    }
    if (element.barCode.empty()) return;
    checkText(catalogueText(), element.barCode, "elements: the barcode of " + name);
    const auto [other, isNew] = m_media.emplace(element.barCode, name);
    if (!isNew) {
      throw Failure("elements: barcode " + element.barCode + " is in " + other->second +
                    " and in " + name);
    }
  }

private:
  // Shelves stand outside the library and have addresses of their own. Drives that have no address
  // yet are not in each other's way.
  void refuseSameAddress(const LibElement& element) {
    if (element.elementAddress == kUnplaced) return;
    const std::string name = elementName(element);
    if (element.elementAddress < 0) throw Failure("elements: there is no address for " + name);
    auto& taken = element.elementType == LIB_ELEM_SHELF ? m_outside : m_inside;
    const auto [other, isNew] = taken.emplace(element.elementAddress, name);
    if (!isNew) {
      throw Failure("elements: " + other->second + " and " + name + " have one address");
    }
  }

  std::map<int, std::string> m_inside;
  std::map<int, std::string> m_outside;
  std::map<std::string, std::string> m_media;
};

}  // namespace

void checkDescription(const LibraryDescription& description) {
  checkText(nameText(), description.library.SerialNumber, "serial");
  checkTexts(description.library, kIdentity, "");
  checkHosts(description.hosts, "hosts");
  checkRanges(description);
  checkDrives(description);
  ElementCheck elements;
  for (const LibElement& element : description.elements) elements.add(element);
}

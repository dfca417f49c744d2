// A description from JSON. What is not said is as the options of "library create" have it.
//
// The reader looks at shape and types; what the values make together, checkDescription() looks at.
#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "base/JsonObject.h"
#include "base/StrictJson.h"
#include "catalogue/ElementName.h"
#include "description/LibraryDescription.h"

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

void readTexts(JsonObject& object, SCSIUnitFields& record, std::span<const DescribedText> texts) {
  for (const DescribedText& text : texts) object.read(text.key, record.*text.field);
}

SCSIUnitFields readHost(const JsonPlace& place) {
  SCSIUnitFields host;
  if (place.value.is_string()) {
    host.MAName = place.text();
    return host;
  }
  JsonObject object(place);
  object.read("name", host.MAName);
  readTexts(object, host, kHostTexts);
  for (const DescribedNumber& number : kHostNumbers) {
    object.read(number.key, host.*number.field, kLeast, kMost);
  }
  object.refuseOtherKeys();
  return host;
}

void readHosts(JsonObject& object, std::vector<SCSIUnitFields>& hosts) {
  const auto list = object.find("hosts");
  if (!list) return;
  hosts.clear();
  for (const JsonPlace& item : list->items()) hosts.push_back(readHost(item));
}

using Addresses = std::set<int>;

/// The addresses of the range that have no slot.
Addresses readGaps(const JsonPlace& list, int first, int count) {
  Addresses gaps;
  for (const JsonPlace& item : list.items()) {
    const int address = item.number(0, kMost);
    if (address < first || address - first >= count) item.refuse("it is not one of the range");
    if (!gaps.insert(address).second) item.refuse("it stands twice");
  }
  return gaps;
}

/// A range is a count, or an object. `gaps` is null for one that can have none.
void readRange(JsonObject& description, SCSIUnitFields& library, const DescribedRange& range,
               Addresses* gaps) {
  const auto place = description.find(range.key);
  if (!place) return;
  int& count = library.*range.count;
  if (place->value.is_number()) {
    count = place->number(0, kMostElements);
    return;
  }
  JsonObject object(*place);
  object.read("count", count, 0, kMostElements);
  object.read("base", library.*range.base, -1, kMost);
  if (gaps != nullptr) {
    if (const auto list = object.find("without")) {
      *gaps = readGaps(*list, library.*range.base, count);
    }
  }
  object.refuseOtherKeys();
}

class DriveReader {
public:
  explicit DriveReader(LibraryDescription& description) : m_description(description) {}

  void read(const JsonPlace& place) {
    if (place.value.is_number()) {
      addUsual(place.number(0, kMostElements));
      return;
    }
    const std::vector<JsonPlace> items = place.items();
    if (items.size() > kMostElements) place.refuse("there are too many");
    for (const JsonPlace& item : items) readDrive(item);
  }

  void addUsual(int count) {
    for (int i = 0; i < count; ++i) placeNext(addDrive());
  }

private:
  // Each drive has the hosts of its own, and so few keys could ask for all the memory there is.
  DescribedDrive& addDrive() {
    auto& drives = m_description.drives;
    m_units += m_description.hosts.size();
    if (m_units > kMostElements) throw Failure("drives: too many for so many hosts");
    return drives.emplace_back(usualDrive(m_description, drives.size()));
  }

  void placeNext(DescribedDrive& drive) {
    drive.device.DriveBaseAddress = driveAddress(m_description, m_last + 1);
    m_last = numberOf(m_description, drive);
  }

  void readDrive(const JsonPlace& place) {
    JsonObject object(place);
    DescribedDrive& drive = addDrive();
    object.read("serial", drive.device.SerialNumber);
    readTexts(object, drive.device, kIdentity);
    object.read("deviceType", drive.device.ScsiDeviceType, -1, 255);
    readHosts(object, drive.hosts);
    readPlace(object, drive);
    object.refuseOtherKeys();
  }

  // Number and address tell the same, so either will do; null is a drive without a place.
  void readPlace(JsonObject& object, DescribedDrive& drive) {
    const auto number = object.find("number");
    const auto address = object.find("address");
    if (!number && !address) return placeNext(drive);
    int& place = drive.device.DriveBaseAddress;
    if (number) place = numberedAddress(*number);
    if (address) {
      const int given = address->value.is_null() ? kUnplaced : address->number(0, kMost);
      if (number && given != place) address->refuse("it is not that of the drive's number");
      place = given;
    }
    if (place != kUnplaced) m_last = numberOf(m_description, drive);
  }

  int numberedAddress(const JsonPlace& number) const {
    if (number.value.is_null()) return kUnplaced;
    return driveAddress(m_description, number.number(1, kMostElements));
  }

  LibraryDescription& m_description;
  std::int64_t m_last = 0;  ///< number of the drive before
  std::size_t m_units = 0;  ///< drives, each as often as it has hosts
};

void readDrives(JsonObject& object, LibraryDescription& description) {
  DriveReader reader(description);
  if (const auto place = object.find("drives")) {
    reader.read(*place);
  } else {
    reader.addUsual(description.library.DriveCount);
  }
  if (description.library.DriveCount != 0) return;
  for (const DescribedDrive& drive : description.drives) {
    if (drive.device.DriveBaseAddress == kUnplaced) continue;
    const auto number = static_cast<int>(numberOf(description, drive));
    description.library.DriveCount = std::max(description.library.DriveCount, number);
  }
}

LibElement readElement(const JsonPlace& place) {
  JsonObject object(place);
  std::string name;
  std::optional<bool> occupied;
  object.read("element", name);
  LibElement element;
  try {
    element = parseElementName(name);
  } catch (const UsageError& error) {
    throw Failure(place.path + ".element: " + error.what());
  }
  object.read("barcode", element.barCode);
  object.read("occupied", occupied);
  object.refuseOtherKeys();
  element.isOccupied = occupied.value_or(!element.barCode.empty());
  if (!element.isOccupied && !element.barCode.empty()) {
    throw Failure(place.path + ".barcode: the element is not occupied");
  }
  return element;
}

/// Puts the elements that are told of over those that are there by themselves, or behind them.
class ElementReader {
public:
  ElementReader(const LibraryDescription& description, const Addresses& gaps) {
    for (const LibElement& element : usualElements(description)) {
      if (isSlot(element) && gaps.contains(element.elementAddress)) continue;
      m_index.emplace(keyOf(element), m_elements.size());
      m_elements.push_back(element);
    }
  }

  void read(const JsonPlace& place) {
    const LibElement element = readElement(place);
    if (!m_told.insert(keyOf(element)).second) {
      throw Failure(place.path + ".element: " + elementName(element) + " stands twice");
    }
    const auto known = m_index.find(keyOf(element));
    if (known != m_index.end()) {
      m_elements[known->second] = element;
    } else if (element.elementType == LIB_ELEM_DRIVE) {
      throw Failure(place.path + ".element: there is no " + elementName(element));
    } else {
      (element.elementType == LIB_ELEM_SHELF ? m_shelves : m_elements).push_back(element);
    }
  }

  std::vector<LibElement> all() && {
    m_elements.insert(m_elements.end(), m_shelves.begin(), m_shelves.end());
    return std::move(m_elements);
  }

private:
  using Key = std::pair<int, int>;
  static Key keyOf(const LibElement& element) {
    return {element.elementType, element.elementAddress};
  }

  std::vector<LibElement> m_elements;
  std::vector<LibElement> m_shelves;
  std::map<Key, std::size_t> m_index;
  std::set<Key> m_told;
};

void readFormat(JsonObject& object) {
  int format = kDescriptionFormat;
  object.read("format", format, kLeast, kMost);
  if (format != kDescriptionFormat) {
    throw Failure("format: " + std::to_string(format) + " is not known here, only " +
                  std::to_string(kDescriptionFormat) + " is");
  }
}

LibraryDescription readLibrary(JsonObject& object, const std::string& serial) {
  LibraryDescription description;
  SCSIUnitFields& library = description.library;
  readFormat(object);
  object.read("serial", library.SerialNumber);
  if (!serial.empty()) library.SerialNumber = serial;
  readTexts(object, library, kIdentity);
  readHosts(object, description.hosts);
  Addresses gaps;  // both ranges in one: they never overlap
  readRange(object, library, kDriveRange, nullptr);
  for (const DescribedRange& range : kSlotRanges) {
    Addresses own;
    readRange(object, library, range, &own);
    gaps.merge(own);
  }
  readDrives(object, description);
  checkRanges(description);
  ElementReader elements(description, gaps);
  if (const auto list = object.find("elements")) {
    for (const JsonPlace& item : list->items()) elements.read(item);
  }
  description.elements = std::move(elements).all();
  return description;
}

}  // namespace

LibraryDescription readDescription(const std::string& text, const std::string& source,
                                   const std::string& serial) {
  const Json values = parseStrictly(text, source);
  JsonObject object({values, ""});
  LibraryDescription description = readLibrary(object, serial);
  object.refuseOtherKeys();
  if (description.library.SerialNumber.empty()) throw Failure("serial: it is missing");
  checkDescription(description);
  return description;
}

// A description from JSON and as JSON.
//
// The reader checks keys and types, and fills in defaults; checkDescription() checks what the
// values mean together. The writer writes every key, also one whose value is the default.
#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <type_traits>

#include <fmt/format.h>

#include "base/Errors.h"
#include "base/Json.h"
#include "base/Json.h"
#include "description/LibraryDescription.h"

namespace {

constexpr int kFormat = 1;  // the version of the JSON
constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

void readFields(JsonObject& object, SCSIUnitFields& record,
                std::span<const DescribedField> fields) {
  for (const DescribedField& field : fields) {
    field.visit(record, [&](auto& value) {
      if constexpr (std::is_same_v<decltype(value), int&>) {
        object.read(field.key, value, kLeast, kMost);
      } else {
        object.read(field.key, value);
      }
    });
  }
}

SCSIUnitFields readHost(const JsonPlace& place) {
  SCSIUnitFields host;
  if (place.value.is_string()) {
    host.MAName = place.text();
    return host;
  }
  JsonObject object(place);
  object.read("name", host.MAName);
  readFields(object, host, kAddressing);
  object.refuseOtherKeys();
  return host;
}

void readHosts(JsonObject& object, std::vector<SCSIUnitFields>& hosts) {
  const auto list = object.find("hosts");
  if (!list) return;
  hosts.clear();
  for (const JsonPlace& item : list->items()) hosts.push_back(readHost(item));
}

/// Reads a range, which is a count or an object. Addresses without a slot are added to `gaps`.
void readRange(JsonObject& description, SCSIUnitFields& library, const ElementRange& range,
               std::set<int>& gaps) {
  const auto place = description.find(range.described);
  if (!place) return;
  int& count = library.*range.count;
  int& base = library.*range.base;
  if (place->value.is_number()) {
    count = place->number(0, kMostElements);
    return;
  }
  JsonObject object(*place);
  object.read("count", count, 0, kMostElements);
  object.read("base", base, -1, kMost);
  const auto list =
      range.type == LIB_ELEM_DRIVE ? std::optional<JsonPlace>() : object.find("without");
  for (const JsonPlace& item : list ? list->items() : std::vector<JsonPlace>()) {
    const int address = item.number(0, kMost);
    if (address < base || address - base >= count) item.refuse("it is not in the range");
    if (!gaps.insert(address).second) item.refuse("it appears twice");
  }
  object.refuseOtherKeys();
}

/// Reads the drives, a count or a list. A drive follows the one before unless it says where it is.
class DriveReader {
public:
  explicit DriveReader(LibraryDescription& description) : m_description(description) {}

  void read(JsonObject& object) {
    const auto place = object.find("drives");
    if (!place || place->value.is_number()) {
      const int count = place ? place->number(0, kMostElements) : m_description.library.DriveCount;
      for (int i = 0; i < count; ++i) placeNext(addDrive());
    } else {
      for (const JsonPlace& item : place->items()) readDrive(item);
    }
  }

private:
  // Each drive has a copy of the library's hosts, so a short text could ask for all memory.
  DescribedDrive& addDrive() {
    auto& drives = m_description.drives;
    m_units += std::max<std::size_t>(m_description.hosts.size(), 1);
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
    readFields(object, drive.device, kIdentity);
    object.read("deviceType", drive.device.ScsiDeviceType, -1, 255);
    readHosts(object, drive.hosts);
    readPlace(object, drive);
    object.refuseOtherKeys();
  }

  // Number and address mean the same, so one is enough; null is a drive that is not placed.
  void readPlace(JsonObject& object, DescribedDrive& drive) {
    const auto number = object.find("number");
    const auto address = object.find("address");
    if (!number && !address) return placeNext(drive);
    int& place = drive.device.DriveBaseAddress;
    if (number && !number->value.is_null()) {
      place = driveAddress(m_description, number->number(1, kMostElements));
    }
    if (address) {
      const int given = address->value.is_null() ? kUnplaced : address->number(0, kMost);
      if (number && given != place) address->refuse("it is not that of the drive's number");
      place = given;
    }
    if (place != kUnplaced) m_last = numberOf(m_description, drive);
  }

  LibraryDescription& m_description;
  std::int64_t m_last = 0;  ///< number of the drive before
  std::size_t m_units = 0;  ///< drives, each as often as it has hosts
};

/// Without a count, the library has as many drives as the highest number.
void countDrives(LibraryDescription& description) {
  int& count = description.library.DriveCount;
  if (count != 0) return;
  for (const DescribedDrive& drive : description.drives) {
    if (drive.device.DriveBaseAddress == kUnplaced) continue;
    count = std::max(count, static_cast<int>(numberOf(description, drive)));
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

/// The usual elements, with those of the list in their places or behind them; shelves come last.
std::vector<LibElement> readElements(JsonObject& object, const LibraryDescription& description,
                                     const std::set<int>& gaps) {
  std::vector<LibElement> elements = usualElements(description);
  std::erase_if(elements, [&](const LibElement& element) {
    return isSlot(element) && gaps.contains(element.elementAddress);
  });
  const auto list = object.find("elements");
  if (!list) return elements;
  const auto keyOf = [](const LibElement& element) {
    return std::pair(element.elementType, element.elementAddress);
  };
  std::map<std::pair<int, int>, std::size_t> usual;
  for (std::size_t i = 0; i < elements.size(); ++i) usual.emplace(keyOf(elements[i]), i);
  std::set<std::pair<int, int>> seen;
  for (const JsonPlace& item : list->items()) {
    const LibElement element = readElement(item);
    const auto known = usual.find(keyOf(element));
    if (!seen.insert(keyOf(element)).second) {
      throw Failure(fmt::format("{}.element: {} appears twice", item.path, elementName(element)));
    }
    if (known != usual.end()) {
      elements[known->second] = element;
    } else if (element.elementType == LIB_ELEM_DRIVE) {
      throw Failure(fmt::format("{}.element: there is no {}", item.path, elementName(element)));
    } else {
      elements.push_back(element);
    }
  }
  std::stable_partition(elements.begin(), elements.end(), [](const LibElement& element) {
    return element.elementType != LIB_ELEM_SHELF;
  });
  return elements;
}

void addFields(Json& values, const SCSIUnitFields& record, std::span<const DescribedField> fields) {
  for (const DescribedField& field : fields) {
    field.visit(record, [&](const auto& value) { values[field.key] = value; });
  }
}

Json hostList(const std::vector<SCSIUnitFields>& hosts) {
  Json list = Json::array();
  for (const SCSIUnitFields& host : hosts) {
    addFields(list.emplace_back(Json{{"name", host.MAName}}), host, kAddressing);
  }
  return list;
}

Json driveJson(const LibraryDescription& description, const DescribedDrive& drive) {
  const int address = drive.device.DriveBaseAddress;
  const bool isPlaced = address != kUnplaced;
  Json values{{"serial", drive.device.SerialNumber},
              {"number", isPlaced ? Json(numberOf(description, drive)) : Json()},
              {"address", isPlaced ? Json(address) : Json()}};
  addFields(values, drive.device, kIdentity);
  values["deviceType"] = drive.device.ScsiDeviceType;
  values["hosts"] = hostList(drive.hosts);
  return values;
}

// A medium whose barcode is not known is still a medium.
Json elementJson(const LibElement& element) {
  Json values{{"element", elementName(element)}};
  if (!element.isOccupied) return values;
  if (element.barCode.empty()) {
    values["occupied"] = true;
  } else {
    values["barcode"] = element.barCode;
  }
  return values;
}

}  // namespace

LibraryDescription readDescription(const std::string& text, const std::string& source,
                                   const std::string& serial) {
  const Json values = parseStrictly(text, source);
  JsonObject object({values, ""});
  LibraryDescription description;
  SCSIUnitFields& library = description.library;
  int format = kFormat;
  object.read("format", format, kLeast, kMost);
  if (format != kFormat) {
    throw Failure(fmt::format("format: {} is not supported, only {} is", format, kFormat));
  }
  object.read("serial", library.SerialNumber);
  if (!serial.empty()) library.SerialNumber = serial;
  readFields(object, library, kIdentity);
  readHosts(object, description.hosts);
  std::set<int> gaps;
  for (const ElementRange& range : kRanges) readRange(object, library, range, gaps);
  DriveReader(description).read(object);
  countDrives(description);
  checkRanges(description);
  description.elements = readElements(object, description, gaps);
  object.refuseOtherKeys();
  if (library.SerialNumber.empty()) throw Failure("serial: it is missing");
  checkDescription(description);
  return description;
}

Json descriptionJson(const LibraryDescription& description) {
  const SCSIUnitFields& library = description.library;
  const SlotPlan plan = planOf(description);
  Json values{{"format", kFormat}, {"serial", library.SerialNumber}};
  addFields(values, library, kIdentity);
  values["hosts"] = hostList(description.hosts);
  for (const ElementRange& range : kRanges) {
    values[range.described] = {{"count", library.*range.count}, {"base", library.*range.base}};
  }
  for (const LibElement& gap : plan.gaps) {
    const ElementRange& range = gap.elementType == LIB_ELEM_SLOT ? kSlotRange : kMailRange;
    values[range.described]["without"].push_back(gap.elementAddress);
  }
  values["drives"] = Json::array();
  for (const DescribedDrive& drive : description.drives) {
    values["drives"].push_back(driveJson(description, drive));
  }
  // Drives and slots of the ranges exist anyway, so only those that hold a medium are listed.
  const std::size_t usual = description.drives.size() + plan.inPlace;
  values["elements"] = Json::array();
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= usual || element.isOccupied) values["elements"].push_back(elementJson(element));
  }
  return values;
}

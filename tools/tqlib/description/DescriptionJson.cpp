// A description from JSON and as JSON.
//
// The reader checks keys and types, and fills in defaults; checkDescription() checks what the
// values mean together. The writer writes every key, also one whose value is the default.
#include <algorithm>
#include <climits>
#include <map>
#include <set>

#include "catalogue/Elements.h"
#include "description/LibraryDescription.h"

namespace {

constexpr int kFormat = 1;  // the version of the JSON

void readFields(JsonObject& object, SCSIUnitFields& record, std::span<const DeviceField> fields) {
  for (const DeviceField& field : fields) {
    field.visit(record, [&](auto& value) { object.read(field.key, value); });
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
  object.read("base", base, -1, INT_MAX);
  const auto list =
      range.type == LIB_ELEM_DRIVE ? std::optional<JsonPlace>() : object.find("without");
  for (const JsonPlace& item : list ? list->items() : std::vector<JsonPlace>()) {
    const int address = item.number(0, INT_MAX);
    if (address < base || address - base >= count) item.refuse("it is not in the range");
    if (!gaps.insert(address).second) item.refuse("it appears twice");
  }
  object.refuseOtherKeys();
}

/// The address of the drive of that number.
int driveAddress(const LibraryDescription& description, std::int64_t number) {
  const int base = description.library.DriveBaseAddress;
  const std::int64_t address = base + number - 1;
  if (base < 0 || address > INT_MAX) {
    throw Failure(
        fmt::format("drive number {} has no address when the drives begin at {}", number, base));
  }
  return static_cast<int>(address);
}

/// The next drive by default: the hosts of the library see it, at its port and bus. It is not
/// placed yet.
Device usualDrive(const LibraryDescription& description) {
  Device drive;
  drive.record.SerialNumber =
      fmt::format("{}D{}", description.library.SerialNumber, description.drives.size() + 1);
  drive.record.ScsiDeviceType = kSequentialAccess;
  drive.record.DriveBaseAddress = kUnplaced;
  for (const SCSIUnitFields& host : description.hosts) {
    SCSIUnitFields& unit = drive.hosts.emplace_back();
    unit.MAName = host.MAName;
    unit.ScsiPort = host.ScsiPort;
    unit.Bus = host.Bus;
  }
  return drive;
}

/// Number and address mean the same, so one is enough; null is a drive that is not placed. A drive
/// without either follows the drive of the number `before`.
int readPlace(JsonObject& object, const LibraryDescription& description, std::int64_t before) {
  const auto number = object.find("number");
  const auto address = object.find("address");
  if (!number && !address) return driveAddress(description, before + 1);
  int place = kUnplaced;
  if (number && !number->value.is_null()) {
    place = driveAddress(description, number->number(1, kMostElements));
  }
  if (!address) return place;
  const int given = address->value.is_null() ? kUnplaced : address->number(0, INT_MAX);
  if (number && given != place) address->refuse("it is not that of the drive's number");
  return given;
}

void readDrive(const JsonPlace& place, LibraryDescription& description, std::int64_t& number) {
  JsonObject object(place);
  Device drive = usualDrive(description);
  object.read("serial", drive.record.SerialNumber);
  readFields(object, drive.record, kIdentity);
  object.read("deviceType", drive.record.ScsiDeviceType, -1, 255);
  readHosts(object, drive.hosts);
  drive.record.DriveBaseAddress = readPlace(object, description, number);
  object.refuseOtherKeys();
  if (drive.record.DriveBaseAddress != kUnplaced) number = numberOf(description.library, drive);
  description.drives.push_back(std::move(drive));
}

/// Reads the drives: a list or a count, by default the count of the range. If the range has no
/// count, its count becomes the highest drive number.
void readDrives(JsonObject& object, LibraryDescription& description) {
  int& count = description.library.DriveCount;
  const auto place = object.find("drives");
  const bool isList = place && !place->value.is_number();
  const int usual = isList ? 0 : place ? place->number(0, kMostElements) : count;
  const Json defaults(static_cast<std::size_t>(usual), Json::object());
  const std::vector<JsonPlace> drives =
      isList ? place->items() : JsonPlace{defaults, "drives"}.items();
  // Each drive has a copy of the library's hosts, so a short text could ask for all memory.
  if (drives.size() * std::max<std::size_t>(description.hosts.size(), 1) > kMostElements) {
    throw Failure("drives: too many for so many hosts");
  }
  std::int64_t number = 0;
  std::int64_t highest = 0;
  for (const JsonPlace& drive : drives) {
    readDrive(drive, description, number);
    highest = std::max(highest, number);
  }
  if (count == 0) count = static_cast<int>(highest);
}

LibElement readElement(const JsonPlace& place) {
  JsonObject object(place);
  std::string name;
  object.read("element", name);
  LibElement element;
  try {
    element = parseElementName(name);
  } catch (const UsageError& error) {
    throw Failure(place.path + ".element: " + error.what());
  }
  object.read("barcode", element.barCode);
  const auto occupied = object.find("occupied");
  object.refuseOtherKeys();
  element.isOccupied = occupied ? occupied->isTrue() : !element.barCode.empty();
  if (!element.isOccupied && !element.barCode.empty()) {
    throw Failure(place.path + ".barcode: the element is not occupied");
  }
  return element;
}

/// The usual elements, with those of the list in their places or behind them.
std::vector<LibElement> readElements(JsonObject& object, const LibraryDescription& description,
                                     const std::set<int>& gaps) {
  std::vector<LibElement> elements = usualElements(description);
  std::erase_if(elements, [&](const LibElement& element) {
    return isSlot(element) && gaps.contains(element.elementAddress);
  });
  const auto list = object.find("elements");
  if (!list) return elements;
  std::map<std::string, std::size_t> indexes;
  for (std::size_t i = 0; i < elements.size(); ++i) indexes.emplace(elementName(elements[i]), i);
  std::set<std::string> seen;
  for (const JsonPlace& item : list->items()) {
    const LibElement element = readElement(item);
    const std::string name = elementName(element);
    const auto [place, isNew] = indexes.emplace(name, elements.size());
    if (!seen.insert(name).second) {
      throw Failure(fmt::format("{}.element: {} appears twice", item.path, name));
    }
    const bool isDrive = element.elementType == LIB_ELEM_DRIVE;
    if (isNew && isDrive) throw Failure(item.path + ".element: there is no " + name);
    if (isNew) elements.emplace_back();
    elements[place->second] = element;
  }
  return elements;
}

Json hostList(const std::vector<SCSIUnitFields>& hosts) {
  Json list = Json::array();
  for (const SCSIUnitFields& host : hosts) {
    addFields(list.emplace_back(Json{{"name", host.MAName}}), host, kAddressing);
  }
  return list;
}

Json driveJson(const LibraryDescription& description, const Device& drive) {
  const bool isPlaced = drive.record.DriveBaseAddress != kUnplaced;
  Json values{{"serial", drive.record.SerialNumber},
              {"number", isPlaced ? Json(numberOf(description.library, drive)) : Json()},
              {"address", isPlaced ? Json(drive.record.DriveBaseAddress) : Json()}};
  addFields(values, drive.record, kIdentity);
  values["deviceType"] = drive.record.ScsiDeviceType;
  values["hosts"] = hostList(drive.hosts);
  return values;
}

// A medium whose barcode is not known is still a medium.
Json elementJson(const LibElement& element) {
  Json values{{"element", elementName(element)}};
  if (!element.barCode.empty()) values["barcode"] = element.barCode;
  if (element.barCode.empty() && element.isOccupied) values["occupied"] = true;
  return values;
}

}  // namespace

LibraryDescription readDescription(const Json& values) {
  JsonObject object({values, ""});
  LibraryDescription description;
  SCSIUnitFields& library = description.library;
  int format = kFormat;
  object.read("format", format);
  if (format != kFormat) {
    throw Failure(fmt::format("format: {} is not supported, only {} is", format, kFormat));
  }
  object.read("serial", library.SerialNumber);
  readFields(object, library, kIdentity);
  readHosts(object, description.hosts);
  std::set<int> gaps;
  for (const ElementRange& range : kRanges) readRange(object, library, range, gaps);
  checkRanges(library);
  readDrives(object, description);
  description.elements = readElements(object, description, gaps);
  object.refuseOtherKeys();
  if (library.SerialNumber.empty()) throw Failure("serial: it is missing");
  checkDescription(description);
  return description;
}

Json libraryJson(const SCSIUnitFields& library, const std::vector<SCSIUnitFields>& hosts) {
  Json values{{"format", kFormat}, {"serial", library.SerialNumber}};
  addFields(values, library, kIdentity);
  values["hosts"] = hostList(hosts);
  for (const ElementRange& range : kRanges) {
    values[range.described] = {{"count", library.*range.count}, {"base", library.*range.base}};
  }
  return values;
}

Json descriptionJson(const LibraryDescription& description) {
  const std::vector<LibElement> gaps = gapsOf(description);
  Json values = libraryJson(description.library, description.hosts);
  for (const LibElement& gap : gaps) {
    const ElementRange& range = gap.elementType == LIB_ELEM_SLOT ? kSlotRange : kMailRange;
    values[range.described]["without"].push_back(gap.elementAddress);
  }
  Json& drives = values["drives"] = Json::array();
  for (const Device& drive : description.drives) drives.push_back(driveJson(description, drive));
  // Drives and slots of the ranges exist anyway, so only those that hold a medium are listed.
  const std::size_t usual = usualElements(description).size() - gaps.size();
  values["elements"] = Json::array();
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= usual || element.isOccupied) values["elements"].push_back(elementJson(element));
  }
  return values;
}

#include "map/LibraryMap.h"

#include <algorithm>
#include <map>

#include "TqLibEmulator.h"
#include "catalogue/Catalogue.h"

namespace {

std::vector<MapSection> noCells() {
  return {{LIB_ELEM_DRIVE, "drives", "Drives", "drive", "drives", "loaded", {}},
          {LIB_ELEM_MAIL_SLOT, "mailSlots", "Mail slots", "mail slot", "mail slots", "full", {}},
          {LIB_ELEM_SLOT, "slots", "Slots", "slot", "slots", "full", {}},
          {LIB_ELEM_SHELF, "shelves", "Shelves", "shelf", "shelves", "full", {}}};
}

void sortByAddress(std::vector<MapCell>& cells) {
  std::stable_sort(cells.begin(), cells.end(), [](const MapCell& one, const MapCell& other) {
    return one.address < other.address;
  });
}

void addElements(LibraryMap& map) {
  const std::vector<LibElement> elements = inventory(map.library);
  for (MapSection& section : map.sections) {
    for (const LibElement& element : elements) {
      if (element.elementType != section.type) continue;
      section.cells.push_back({element.elementAddress, element.isOccupied,
                               element.isOccupied ? element.barCode : "", ""});
    }
    sortByAddress(section.cells);
  }
}

void addDevices(LibraryMap& map) {
  const std::vector<SCSIUnitNoMap> devices = devicesOf(map.library, "");
  if (const SCSIUnitNoMap* record = findLibrary(devices)) {
    map.identity = record->Manufacturer + " " + record->Model;
  }
  std::map<int, std::string> serials;
  for (const SCSIUnitNoMap& device : devices) {
    if (!isLibrary(device)) serials[device.DriveBaseAddress] = device.SerialNumber;
  }
  for (MapSection& section : map.sections) {
    if (section.type != LIB_ELEM_DRIVE) continue;
    for (MapCell& drive : section.cells) {
      if (serials.contains(drive.address)) drive.serial = serials[drive.address];
    }
  }
}

std::string summaryText(const MapSection& section) {
  const std::size_t count = section.cells.size();
  return std::to_string(section.fullCells()) + " of " + std::to_string(count) + ' ' +
         (count == 1 ? section.element : section.elements) + ' ' + section.filled;
}

}  // namespace

std::size_t MapSection::fullCells() const {
  return static_cast<std::size_t>(
      std::count_if(cells.begin(), cells.end(), [](const MapCell& cell) { return cell.isFull; }));
}

LibraryMap readMap(const std::string& library) {
  LibraryMap map{library, "", {}, noCells()};
  addElements(map);
  addDevices(map);
  map.status = readStatus(library, true);
  return map;
}

std::vector<std::string> summaryTexts(const LibraryMap& map) {
  std::vector<std::string> texts;
  for (const MapSection& section : map.sections) {
    if (!section.cells.empty()) texts.push_back(summaryText(section));
  }
  return texts.empty() ? std::vector<std::string>{"no elements"} : texts;
}

std::string addressText(long long address) {
  return address < 0 ? "-" : std::to_string(address);
}

std::string rangeText(const MapSection& section, const char* dash) {
  const auto first = std::find_if(section.cells.begin(), section.cells.end(),
                                  [](const MapCell& cell) { return cell.address >= 0; });
  if (first == section.cells.end()) return "";
  const int last = section.cells.back().address;
  const std::string from = std::to_string(first->address);
  return first->address == last ? from : from + dash + std::to_string(last);
}

std::string labelText(const MapCell& cell) {
  return cell.isFull && cell.barcode.empty() ? "(none)" : cell.barcode;
}

std::vector<const MapCell*> cellsAndGaps(const MapSection& section) {
  std::vector<const MapCell*> items;
  const MapCell* before = nullptr;
  for (const MapCell& cell : section.cells) {
    if (before != nullptr && before->address >= 0 && cell.address - before->address > 1) {
      items.push_back(nullptr);
    }
    items.push_back(&cell);
    before = &cell;
  }
  return items;
}

bool hasGap(const MapSection& section) {
  const std::vector<const MapCell*> cells = cellsAndGaps(section);
  return std::find(cells.begin(), cells.end(), nullptr) != cells.end();
}

// tqlib map: reads what a picture shows, and prints or writes it.
#include "map/Map.h"

#include <unistd.h>

#include <map>

#include <boost/algorithm/string/trim.hpp>

#include "base/Streams.h"
#include "catalogue/Devices.h"
#include "catalogue/Elements.h"

namespace {

constexpr int kWidestMap = 1000;

const MapSection kSections[] = {
    {LIB_ELEM_DRIVE, "drives", "Drives", "drive", "loaded", Colour::Green, "#0b6e4f"},
    {LIB_ELEM_MAIL_SLOT, "mailSlots", "Mail slots", "mail slot", "full", Colour::Yellow, "#9a4f00"},
    {LIB_ELEM_SLOT, "slots", "Slots", "slot", "full", Colour::Cyan, "#0a5394"},
    {LIB_ELEM_SHELF, "shelves", "Shelves", "shelf", "full", Colour::Magenta, "#6f42a0"}};

struct Options {
  std::string library;
  std::string elements;
  std::string svg;
  int width = 0;
};

Json mapJson(const LibraryMap& map) {
  Json values{{"library", map.library}, {"status", statusJson(map.status)}};
  Json summary;
  for (const MapSection& section : map.sections) {
    Json cells = Json::array();
    for (const MapCell& cell : section.cells) {
      Json& value = cells.emplace_back(Json{{"address", cell.address}});
      if (section.type == LIB_ELEM_DRIVE) value["serial"] = cell.serial;
      value["barcode"] = cell.barcode;
      value["occupied"] = cell.isFull;
    }
    values[section.key] = std::move(cells);
    summary[section.key] = {{"count", section.cells.size()}, {"full", section.fullCells()}};
  }
  values["summary"] = std::move(summary);
  return values;
}

void showMap(const Options& options, const Session& session) {
  const LibraryMap map = readMap(options.library, options.elements);
  const Json values = session.json ? mapJson(map) : Json();  // of many elements it takes long
  if (options.svg.empty()) {
    const int width = options.width > 0 ? options.width : terminalWidth(STDOUT_FILENO);
    printResult(session.json, values, session.json ? "" : mapText(map, width, screenCharset()));
    return;
  }
  writeFile(options.svg, mapSvg(map));
  printResult(session.json, values, fmt::format("library {} drawn to {}", map.library, options.svg),
              isStandardStream(options.svg) ? std::cerr : std::cout);
}

}  // namespace

int MapSection::firstAddress() const {
  const auto placed = std::ranges::lower_bound(cells, 0, {}, &MapCell::address);
  return placed == cells.end() ? 0 : placed->address;
}

std::string MapSection::range(const char* dash) const {
  const int last = cells.back().address;
  if (last < 0) return "";
  const int first = firstAddress();
  return first == last ? std::to_string(first) : fmt::format("{}{}{}", first, dash, last);
}

std::vector<const MapCell*> MapSection::cellsAndGaps() const {
  std::vector<const MapCell*> items;
  int before = -1;
  for (const MapCell& cell : cells) {
    if (before >= 0 && cell.address - before > 1) items.push_back(nullptr);
    items.push_back(&cell);
    before = cell.address;
  }
  return items;
}

LibraryMap readMap(const std::string& library, const std::string& elements) {
  LibraryMap map{library, "", {}, {std::begin(kSections), std::end(kSections)}};
  const std::vector<LibElement> shown =
      elements.empty() ? inventory(library) : Inventory(library).within(elements);
  const LibraryDevices devices = devicesIn(library);
  const SCSIUnitFields& record = devices.library.record;
  map.identity = boost::trim_copy(record.Manufacturer + ' ' + record.Model);
  std::map<int, std::string> serials;
  for (const Device& drive : devices.drives) {
    serials[drive.element.elementAddress] = drive.record.SerialNumber;
  }
  for (MapSection& section : map.sections) {
    for (const LibElement& element : shown) {
      if (element.elementType != section.type) continue;
      const int address = element.elementAddress;
      section.cells.push_back({address, element.isOccupied,
                               element.isOccupied ? element.barCode : "",
                               section.type == LIB_ELEM_DRIVE ? serials[address] : ""});
    }
    std::ranges::stable_sort(section.cells, {}, &MapCell::address);
  }
  map.status = readStatus(library, true);
  return map;
}

std::vector<std::string> LibraryMap::summaries() const {
  std::vector<std::string> texts;
  for (const MapSection& section : sections) {
    const std::size_t count = section.cells.size();
    if (count == 0) continue;
    texts.push_back(fmt::format("{} of {} {}", section.fullCells(), counted(count, section.element),
                                section.filled));
  }
  return texts.empty() ? std::vector<std::string>{"no elements"} : texts;
}

std::vector<MapRow> mapRows(const MapSection& section, int columns) {
  const int step = section.step();
  const long long length = static_cast<long long>(columns) * step;
  std::vector<MapRow> rows;
  for (const MapCell& cell : section.cells) {
    // A drive that is not placed, at -1, gets a row of its own.
    const long long address = cell.address < 0 ? -length : cell.address / length * length;
    if (rows.empty() || rows.back().address != address) {
      rows.push_back({address, !rows.empty() && address - rows.back().address > length});
    }
    std::vector<MapPlace>& places = rows.back().places;
    const int column = static_cast<int>((cell.address - address) / step);
    if (places.empty() || places.back().column != column) places.push_back({column, &cell, 0, 0});
    ++places.back().elements;
    places.back().full += cell.isFull ? 1 : 0;
  }
  return rows;
}

void addMapCommand(CLI::App& app, Session& session) {
  const auto [map, options] = addCommand(
      app, session, showMap,
      {"map", "Show a library as a picture: what is where, full or empty", "tqlib map LIB001"});
  addLibraryOperand(map, options.library);
  map.add_option("ELEMENT", options.elements, kElementsHelp);
  map.add_option("--svg", options.svg,
                 "Draw it as SVG into this file instead; - is standard output");
  map.add_option("--width", options.width, "Columns of the picture (else those of the terminal)")
      ->check(CLI::Range(kNarrowestMap, kWidestMap));
}

// tqlib map: a library as a picture.
#include <unistd.h>

#include "map/MapCommand.h"
#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Output.h"
#include "base/Terminal.h"
#include "catalogue/Configuration.h"
#include "catalogue/TargetFile.h"
#include "map/MapSvg.h"
#include "map/MapText.h"

namespace {

constexpr int kWidestMap = 1000;

struct Options {
  std::string library;
  std::string svg;
  int width = 0;
};

Json cellJson(const MapSection& section, const MapCell& cell) {
  Json values{{"address", cell.address}};
  if (section.type == LIB_ELEM_DRIVE) values["serial"] = cell.serial;
  values["barcode"] = cell.barcode;
  values["occupied"] = cell.isFull;
  return values;
}

Json mapJson(const LibraryMap& map) {
  Json values{{"library", map.library}, {"status", statusJson(map.status)}};
  Json summary;
  for (const MapSection& section : map.sections) {
    Json cells = Json::array();
    for (const MapCell& cell : section.cells) cells.push_back(cellJson(section, cell));
    values[section.key] = std::move(cells);
    summary[section.key] = {{"count", section.cells.size()}, {"full", section.fullCells()}};
  }
  values["summary"] = std::move(summary);
  return values;
}

void writeDrawing(const LibraryMap& map, const std::string& file) {
  const std::string svg = mapSvg(map);
  TargetFile target(file);
  target.write({reinterpret_cast<const unsigned char*>(svg.data()), svg.size()});
  target.commit();
}

void showMap(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const LibraryMap map = readMap(options.library);
  if (options.svg.empty()) {
    const int width = options.width > 0 ? options.width : terminalWidth(STDOUT_FILENO);
    printResult(session.json, session.json ? mapJson(map) : Json(),
                session.json ? "" : mapText(map, width, screenCharset()));
    return;
  }
  writeDrawing(map, options.svg);
  const auto print = isStandardStream(options.svg) ? printResultBesideData : printResult;
  print(session.json, mapJson(map), "library " + map.library + " drawn to " + options.svg);
}

}  // namespace

void addMapCommand(CLI::App& app, Session& session) {
  const auto [map, options] = addCommand(
      app, session,
      {"map", "Show a library as a picture: what is where, full or empty", "tqlib map LIB001"},
      showMap);
  addLibraryOperand(map, options.library);
  map.add_option("--svg", options.svg,
                 "Draw it as SVG into this file instead; - is standard output");
  map.add_option("--width", options.width, "Columns of the picture (else those of the terminal)")
      ->check(CLI::Range(kNarrowestMap, kWidestMap));
}

// A library as a picture: what it shows, and the two ways to draw it.
#pragma once

#include <algorithm>

#include "base/Screen.h"
#include "catalogue/CatalogueCommands.h"

inline constexpr int kLongestLabel = 16;
inline constexpr int kGroup = 10;  // cells between two wider gaps, so that they can be counted

// What is drawn for each element depends on how many of its kind there are.
inline constexpr std::size_t kMostLabelled = 200;    // address and barcode
inline constexpr std::size_t kMostSingles = 10'000;  // a mark; beyond, one for many addresses
inline constexpr int kDenseStep = 100;

/// "1000", or a dash for a drive that its library has not placed.
inline std::string addressText(long long address) {
  return address < 0 ? "-" : std::to_string(address);
}

struct MapCell {
  int address = 0;
  bool isFull = false;
  std::string barcode{};
  std::string serial{};  ///< of a drive that a host sees

  std::string number() const { return addressText(address); }
  /// The barcode of a full cell; empty for an empty one.
  std::string label() const { return isFull && barcode.empty() ? "(none)" : barcode; }
};

/// The elements of one kind, by address.
struct MapSection {
  int type;               ///< a code of LibElemType
  const char* key;        ///< in JSON
  const char* title;      ///< for people
  const char* element;    ///< what it counts, in the singular
  const char* filled;     ///< what an element with a medium is called
  Colour colour;          ///< in the terminal; full and empty never differ by colour alone
  const char* svgColour;  ///< dark enough for white text, and easy to distinguish
  std::vector<MapCell> cells{};

  std::size_t fullCells() const {
    return static_cast<std::size_t>(std::ranges::count_if(cells, &MapCell::isFull));
  }
  /// The columns of the widest of the cells' texts.
  int widest(auto text) const {
    int columns = 0;
    for (const auto& cell : cells) columns = std::max(columns, columnsOf(std::invoke(text, cell)));
    return columns;
  }
  /// The first address that is placed, or 0.
  int firstAddress() const;
  /// "1000-1047"; one address alone, or empty when none is placed.
  std::string range(const char* dash) const;
  /// The cells in their order, with null where addresses are missing between two of them.
  std::vector<const MapCell*> cellsAndGaps() const;
  bool hasGap() const { return cellsAndGaps().size() > cells.size(); }
  /// The addresses that a mark shows.
  int step() const { return cells.size() > kMostSingles ? kDenseStep : 1; }
};

struct LibraryMap {
  std::string library;
  std::string identity;  ///< vendor and model, empty when no host sees the library
  Status status;
  std::vector<MapSection> sections;  ///< all kinds, also those without elements

  /// "37 of 48 slots full" for each kind with elements, or "no elements".
  std::vector<std::string> summaries() const;
};

/// With `elements` only the elements that it names. Throws Failure when there is no such library or
/// no such element, or it cannot be read.
LibraryMap readMap(const std::string& library, const std::string& elements);

/// The elements of one or several consecutive addresses, at least one.
struct MapPlace {
  int column;  ///< from 0
  const MapCell* first;
  std::size_t elements;
  std::size_t full;
};

/// Places for many elements by address.
struct MapRow {
  long long address;  ///< of its first column, which may have no element
  bool isAfterGap;    ///< rows without elements before it are left out
  std::vector<MapPlace> places{};
};

/// Rows with `columns` places of section.step() addresses each. Whatever the first address, rows
/// begin with round ones: an address is found by its digits.
std::vector<MapRow> mapRows(const MapSection& section, int columns);

/// The narrowest picture: an address and some marks beside it.
inline constexpr int kNarrowestMap = 20;

/// The picture for a terminal. No line takes more than `width` columns; no newline at the end.
std::string mapText(const LibraryMap& map, int width, Charset charset);

/// The picture as an SVG document, newline at the end.
std::string mapSvg(const LibraryMap& map);

void addMapCommand(CLI::App& app, Session& session);

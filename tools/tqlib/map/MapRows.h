// Many elements by address: rows with places for equally many addresses.
#pragma once

#include "map/LibraryMap.h"

struct RowLayout {
  int perRow;              ///< places
  long long perPlace = 1;  ///< addresses
};

struct PlacedCell {
  const MapCell* cell;
  int place;  ///< in its row, from 0 on
};

struct MapRow {
  long long address;  ///< of its first place, which may have no element
  bool isAfterGap;    ///< the rows before it have no elements, and are left out
  std::vector<PlacedCell> cells;
};

/// Rows that begin with the first address; those without elements are left out.
std::vector<MapRow> mapRows(const MapSection& section, const RowLayout& layout);

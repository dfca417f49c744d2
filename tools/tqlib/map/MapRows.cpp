#include "map/MapRows.h"

#include <algorithm>

namespace {

long long dividedDown(long long value, long long divisor) {
  return value >= 0 ? value / divisor : -((divisor - 1 - value) / divisor);
}

long long firstAddress(const MapSection& section) {
  const auto placed = std::find_if(section.cells.begin(), section.cells.end(),
                                   [](const MapCell& cell) { return cell.address >= 0; });
  return placed == section.cells.end() ? 0 : placed->address;
}

}  // namespace

std::vector<MapRow> mapRows(const MapSection& section, const RowLayout& layout) {
  const long long base = firstAddress(section);
  const long long rowLength = layout.perRow * layout.perPlace;
  std::vector<MapRow> rows;
  for (const MapCell& cell : section.cells) {
    const long long address = base + dividedDown(cell.address - base, rowLength) * rowLength;
    if (rows.empty() || rows.back().address != address) {
      const bool isAfterGap = !rows.empty() && address - rows.back().address > rowLength;
      rows.push_back({address, isAfterGap, {}});
    }
    const auto place = static_cast<int>((cell.address - address) / layout.perPlace);
    rows.back().cells.push_back({&cell, place});
  }
  return rows;
}

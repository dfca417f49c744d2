#include "map/MapCells.h"

#include <unistd.h>

#include <algorithm>
#include <functional>

namespace {

constexpr int kLongestLabel = 16;

int widest(const MapSection& section, const std::function<std::string(const MapCell&)>& text) {
  int columns = 0;
  for (const MapCell& cell : section.cells) columns = std::max(columns, columnsOf(text(cell)));
  return columns;
}

int addressColumns(const MapSection& section) {
  return widest(section, [](const MapCell& cell) { return addressText(cell.address); });
}

int labelColumns(const MapSection& section) {
  return std::min(widest(section, labelText), kLongestLabel);
}

/// Cells side by side. `paint` gives the lines of one, of a gap for null.
Lines flow(const MapSection& section, const MapStyle& style, int columns, int between,
           const std::function<Lines(const MapCell*)>& paint) {
  const int fitting = std::max(1, (style.width + between) / (columns + between));
  const int perRow = fitting > 10 ? fitting / 5 * 5 : fitting;
  Lines lines;
  Lines row;
  int inRow = 0;
  for (const MapCell* cell : cellsAndGaps(section)) {
    const Lines painted = paint(cell);
    if (inRow % perRow == 0) {
      lines.insert(lines.end(), row.begin(), row.end());
      row.assign(painted.size(), "");
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
      row[i] += repeated(" ", inRow % perRow == 0 ? 0 : between) + painted[i];
    }
    ++inRow;
  }
  lines.insert(lines.end(), row.begin(), row.end());
  return lines;
}

std::string border(const char* left, const char* right, const BoxGlyphs& box,
                   const std::string& text, int inner, Charset charset) {
  const std::string inlaid = text.empty() ? "" : ' ' + fitted(text, inner - 2, charset) + ' ';
  return left + inlaid + repeated(box.across, inner - columnsOf(inlaid)) + right;
}

Lines box(const MapCell& cell, int inner, Colour colour, const MapStyle& style) {
  const BoxGlyphs& box = cell.isFull ? style.glyphs.fullBox : style.glyphs.emptyBox;
  Lines lines{
      border(box.topLeft, box.topRight, box, addressText(cell.address), inner, style.charset),
      box.down + (' ' + filledUp(labelText(cell), inner - 2, style.charset) + ' ') + box.down,
      border(box.bottomLeft, box.bottomRight, box, cell.serial, inner, style.charset)};
  if (cell.isFull) {
    for (std::string& line : lines) line = coloured(line, colour, STDOUT_FILENO);
  }
  return lines;
}

}  // namespace

Lines mapBoxes(const MapSection& section, const MapStyle& style) {
  const int serial =
      std::min(widest(section, [](const MapCell& cell) { return cell.serial; }), kLongestLabel);
  const int text = std::max({labelColumns(section), addressColumns(section) + 1, serial + 1});
  const int inner = std::min(text + 2, style.width - 2);
  const auto paint = [&](const MapCell* cell) {
    if (cell != nullptr) return box(*cell, inner, colourOf(section), style);
    const std::string blank = repeated(" ", inner + 2);
    const int left = inner / 2;
    return Lines{blank,
                 repeated(" ", left) + filledUp(style.glyphs.gap, inner + 2 - left, style.charset),
                 blank};
  };
  return flow(section, style, inner + 2, 1, paint);
}

Lines mapLabels(const MapSection& section, const MapStyle& style) {
  const int address = addressColumns(section);
  const int label = std::min(labelColumns(section), style.width - address - 3);
  const int columns = address + 3 + label;
  const auto paint = [&](const MapCell* cell) {
    if (cell == nullptr) {
      return Lines{repeated(" ", address - 1) +
                   filledUp(style.glyphs.gap, columns - address + 1, style.charset)};
    }
    const std::string number = addressText(cell->address);
    const std::string rest = (cell->isFull ? style.glyphs.full : style.glyphs.empty) +
                             (' ' + filledUp(labelText(*cell), label, style.charset));
    return Lines{repeated(" ", address - columnsOf(number)) + number + ' ' +
                 (cell->isFull ? coloured(rest, colourOf(section), STDOUT_FILENO) : rest)};
  };
  return flow(section, style, columns, 2, paint);
}

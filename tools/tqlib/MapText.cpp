// Each section is painted with as much detail as its elements leave room for: boxes, then an
// address and a barcode each, then marks.
#include "MapText.h"

#include <unistd.h>

#include <algorithm>
#include <set>

#include "MapCells.h"
#include "MapMarks.h"

namespace {

constexpr std::size_t kMostSlotBoxLines = 24;
constexpr std::size_t kMostBoxLines = 12;
constexpr std::size_t kMostLabelLines = 40;
constexpr std::size_t kMostDriveLines = 64;  // which medium a drive holds is worth more lines

enum class Detail { Boxes, Labels, Singles, Densities };

struct Painted {
  Detail detail;
  long long perMark;  ///< addresses that a mark stands for
  Lines lines;
};

/// Pieces one after the other, in as many lines as they need.
Lines wrapped(const Lines& pieces, const MapStyle& style) {
  Lines lines;
  for (const std::string& piece : pieces) {
    const std::string cut = fitted(piece, style.width, style.charset);
    if (!lines.empty() && columnsOf(lines.back()) + 3 + columnsOf(cut) <= style.width) {
      lines.back() += "   " + cut;
    } else {
      lines.push_back(cut);
    }
  }
  return lines;
}

std::string heading(const MapSection& section, long long perMark, const MapStyle& style) {
  std::string text = section.title;
  if (const std::string range = rangeText(section, style.glyphs.dash); !range.empty()) {
    text += " " + range;
  }
  if (perMark > 1) text += ", a mark is " + std::to_string(perMark) + ' ' + section.elements;
  text = fitted(text, style.width - 4, style.charset);
  return repeated(style.glyphs.rule, 2) + ' ' + coloured(text, colourOf(section), STDOUT_FILENO) +
         ' ' + repeated(style.glyphs.rule, style.width - 4 - columnsOf(text));
}

Painted paint(const MapSection& section, const MapStyle& style) {
  const bool isSlots = section.type == LIB_ELEM_SLOT;
  Lines boxes = mapBoxes(section, style);
  if (boxes.size() <= (isSlots ? kMostSlotBoxLines : kMostBoxLines)) {
    return {Detail::Boxes, 1, std::move(boxes)};
  }
  const bool isDrives = section.type == LIB_ELEM_DRIVE;
  Lines labels = mapLabels(section, style);
  if (labels.size() <= (isDrives ? kMostDriveLines : kMostLabelLines)) {
    return {Detail::Labels, 1, std::move(labels)};
  }
  MarkGrid grid = markGrid(section, style);
  return {grid.perMark == 1 ? Detail::Singles : Detail::Densities, grid.perMark,
          std::move(grid.lines)};
}

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

Lines header(const LibraryMap& map, const MapStyle& style) {
  Lines lines = wrapped({map.library, map.identity}, style);
  lines.front() = coloured(lines.front(), Colour::Cyan, STDOUT_FILENO);
  Lines summaries;
  for (const MapSection& section : map.sections) {
    if (!section.cells.empty()) summaries.push_back(summaryText(section));
  }
  append(lines, wrapped(summaries, style));
  if (map.status == Status{}) return lines;
  for (const std::string& line : wrapped({"injected:", statusText(map.status)}, style)) {
    lines.push_back(coloured(line, Colour::Red, STDOUT_FILENO));
  }
  return lines;
}

std::string entry(const char* sign, const char* meaning) {
  return std::string(sign) + ' ' + meaning;
}

Lines legend(const std::set<Detail>& used, bool hasGaps, const MapStyle& style) {
  const MapGlyphs& glyphs = style.glyphs;
  Lines pieces;
  if (used.contains(Detail::Labels) || used.contains(Detail::Singles)) {
    pieces = {entry(glyphs.full, "full"), entry(glyphs.empty, "empty")};
  } else if (used.contains(Detail::Boxes)) {
    pieces = {entry(glyphs.fullBox.across, "full"), entry(glyphs.emptyBox.across, "empty")};
  }
  if (used.contains(Detail::Densities)) {
    constexpr const char* kShares[] = {"none full", "up to 1/3", "up to 2/3", "more", "all full"};
    for (std::size_t i = 0; i < glyphs.density.size(); ++i) {
      pieces.push_back(entry(glyphs.density[i], kShares[i]));
    }
  }
  if (hasGaps) pieces.push_back(entry(glyphs.gap, "no such address"));
  return wrapped(pieces, style);
}

bool hasGap(const MapSection& section) {
  const std::vector<const MapCell*> cells = cellsAndGaps(section);
  return std::find(cells.begin(), cells.end(), nullptr) != cells.end();
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset, glyphsOf(charset)};
  Lines lines = header(map, style);
  std::set<Detail> used;
  bool hasGaps = false;
  for (const MapSection& section : map.sections) {
    if (section.cells.empty()) continue;
    const Painted painted = paint(section, style);
    used.insert(painted.detail);
    // Between marks a gap is as wide as what is missing, and says so itself.
    hasGaps |= painted.detail <= Detail::Labels && hasGap(section);
    append(lines, {"", heading(section, painted.perMark, style)});
    append(lines, painted.lines);
  }
  lines.push_back("");
  append(lines, legend(used, hasGaps, style));
  std::string text;
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(' ') + 1);
    text += (text.empty() ? "" : "\n") + line;
  }
  return text;
}

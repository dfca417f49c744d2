// The picture in the terminal. Each section is painted with as much detail as its elements leave
// room for: boxes, then an address and a barcode each, then marks.
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "map/Cells.h"

namespace {

constexpr std::size_t kMostSlotBoxLines = 24;
constexpr std::size_t kMostBoxLines = 12;
constexpr std::size_t kMostLabelLines = 40;
constexpr std::size_t kMostDriveLines = 64;  // what a drive holds is worth more lines

enum class Detail { Boxes, Labels, Singles, Densities };

struct Painted {
  Detail detail;
  long long perMark;  ///< addresses of a mark
  Lines lines;
};

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// Parts one after the other, in as many lines as they need.
Lines joined(const Lines& parts, const std::string& between, const MapStyle& style) {
  Lines lines;
  for (const std::string& part : parts) {
    const std::string cut = fitted(part, style.width, style.charset);
    if (!lines.empty() && columnsOf(lines.back() + between + cut) <= style.width) {
      lines.back() += between + cut;
    } else {
      lines.push_back(cut);
    }
  }
  return lines;
}

/// Pieces side by side; one that is wider than the picture is broken between its words.
Lines wrapped(const Lines& pieces, const MapStyle& style) {
  Lines parts;
  for (const std::string& piece : pieces) {
    if (columnsOf(piece) <= style.width) {
      parts.push_back(piece);
      continue;
    }
    std::istringstream words(piece);
    const std::istream_iterator<std::string> first(words);
    append(parts, joined(Lines(first, {}), " ", style));
  }
  return joined(parts, "   ", style);
}

std::string stepText(const MapSection& section, long long perMark) {
  return fmt::format("a mark is {} {}", perMark, section.elements);
}

std::string heading(const MapSection& section, long long perMark, const MapStyle& style) {
  const std::string range = section.range(style.glyphs.dash);
  std::string text = range.empty() ? section.title : fmt::format("{} {}", section.title, range);
  if (perMark > 1) text += ", " + stepText(section, perMark);
  text = fitted(text, style.width - 4, style.charset);
  return fmt::format("{} {} {}", repeated(style.glyphs.rule, 2),
                     coloured(text, section.colour, STDOUT_FILENO),
                     repeated(style.glyphs.rule, style.width - 4 - columnsOf(text)));
}

Painted paint(const MapSection& section, const MapStyle& style) {
  Lines boxes = mapBoxes(section, style);
  if (boxes.size() <= (section.type == LIB_ELEM_SLOT ? kMostSlotBoxLines : kMostBoxLines)) {
    return {Detail::Boxes, 1, std::move(boxes)};
  }
  Lines labels = mapLabels(section, style);
  if (labels.size() <= (section.type == LIB_ELEM_DRIVE ? kMostDriveLines : kMostLabelLines)) {
    return {Detail::Labels, 1, std::move(labels)};
  }
  MarkGrid grid = markGrid(section, style);
  return {grid.perMark == 1 ? Detail::Singles : Detail::Densities, grid.perMark,
          std::move(grid.lines)};
}

Lines header(const LibraryMap& map, const MapStyle& style) {
  Lines lines = wrapped({map.library, map.identity}, style);
  lines.front() = coloured(lines.front(), Colour::Cyan, STDOUT_FILENO);
  append(lines, wrapped(map.summaries(), style));
  if (map.status == Status{}) return lines;
  for (const std::string& line : wrapped({"injected:", statusText(map.status)}, style)) {
    lines.push_back(coloured(line, Colour::Red, STDOUT_FILENO));
  }
  return lines;
}

/// What the signs of a picture mean. In ASCII several mean the same: each sign is explained once.
Lines legend(const std::set<Detail>& used, const Lines& steps, bool hasGaps,
             const MapStyle& style) {
  const MapGlyphs& glyphs = style.glyphs;
  Lines pieces;
  std::set<std::string> explained;
  const auto explain = [&](const std::string& sign, const char* meaning) {
    if (explained.insert(sign).second) pieces.push_back(sign + ' ' + meaning);
  };
  if (used.contains(Detail::Labels) || used.contains(Detail::Singles)) {
    explain(glyphs.full, "full");
    explain(glyphs.empty, "empty");
  } else if (used.contains(Detail::Boxes)) {
    explain(glyphs.fullBox.across, "full");
    explain(glyphs.emptyBox.across, "empty");
  }
  if (used.contains(Detail::Densities)) {
    constexpr const char* kShares[] = {"none full", "up to 1/3", "up to 2/3", "more", "all full"};
    for (std::size_t i = 0; i < glyphs.density.size(); ++i) explain(glyphs.density[i], kShares[i]);
  }
  append(pieces, steps);  // a narrow heading may have no room for them
  if (hasGaps) explain(glyphs.gap, "no such address");
  return wrapped(pieces, style);
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset, glyphsOf(charset)};
  Lines lines = header(map, style);
  std::set<Detail> used;
  Lines steps;
  bool hasGaps = false;
  for (const MapSection& section : map.sections) {
    if (section.cells.empty()) continue;
    const Painted painted = paint(section, style);
    used.insert(painted.detail);
    if (painted.perMark > 1) steps.push_back(stepText(section, painted.perMark));
    // Between marks a gap is as wide as what is missing.
    hasGaps |= painted.detail <= Detail::Labels && section.hasGap();
    append(lines, {"", heading(section, painted.perMark, style)});
    append(lines, painted.lines);
  }
  if (const Lines meanings = legend(used, steps, hasGaps, style); !meanings.empty()) {
    lines.push_back("");
    append(lines, meanings);
  }
  std::string text;
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(' ') + 1);
    text += (text.empty() ? "" : "\n") + line;
  }
  return text;
}

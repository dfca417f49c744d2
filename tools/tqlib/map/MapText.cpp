// Each section is painted with as much detail as its elements leave room for: boxes, then an
// address and a barcode each, then marks.
#include "map/MapText.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include "TqLibEmulator.h"
#include "map/MapCells.h"
#include "map/MapMarks.h"

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

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// Parts one after the other, in as many lines as they need.
Lines joined(const Lines& parts, const std::string& between, const MapStyle& style) {
  const auto room = [&](const std::string& line) {
    return style.width - columnsOf(line) - columnsOf(between);
  };
  Lines lines;
  for (const std::string& part : parts) {
    const std::string cut = fitted(part, style.width, style.charset);
    if (!lines.empty() && room(lines.back()) >= columnsOf(cut)) {
      lines.back() += between + cut;
    } else {
      lines.push_back(cut);
    }
  }
  return lines;
}

Lines wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// Pieces side by side; one that is wider than the picture is broken between its words.
Lines wrapped(const Lines& pieces, const MapStyle& style) {
  Lines parts;
  for (const std::string& piece : pieces) {
    const bool fits =
        fitted(piece, style.width, style.charset) == fitted(piece, style.width + 1, style.charset);
    append(parts, fits ? Lines{piece} : joined(wordsOf(piece), " ", style));
  }
  return joined(parts, "   ", style);
}

std::string markText(const MapSection& section, long long perMark) {
  return "a mark is " + std::to_string(perMark) + ' ' + section.elements;
}

std::string heading(const MapSection& section, long long perMark, const MapStyle& style) {
  std::string text = section.title;
  if (const std::string range = rangeText(section, style.glyphs.dash); !range.empty()) {
    text += " " + range;
  }
  if (perMark > 1) text += ", " + markText(section, perMark);
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

Lines header(const LibraryMap& map, const MapStyle& style) {
  Lines lines = wrapped({map.library, map.identity}, style);
  lines.front() = coloured(lines.front(), Colour::Cyan, STDOUT_FILENO);
  append(lines, wrapped(summaryTexts(map), style));
  if (map.status == Status{}) return lines;
  for (const std::string& line : wrapped({"injected:", statusText(map.status)}, style)) {
    lines.push_back(coloured(line, Colour::Red, STDOUT_FILENO));
  }
  return lines;
}

/// What the signs of a picture mean, each told once.
class Legend {
public:
  explicit Legend(const MapStyle& style) : m_style(style) {}

  void add(const MapSection& section, const Painted& painted);
  Lines lines() const;

private:
  std::set<Detail> m_used;
  Lines m_steps;  // a narrow heading may have no room for them
  bool m_hasGaps = false;
  const MapStyle& m_style;
};

void Legend::add(const MapSection& section, const Painted& painted) {
  m_used.insert(painted.detail);
  if (painted.perMark > 1) m_steps.push_back(markText(section, painted.perMark));
  // Between marks a gap is as wide as what is missing, and says so itself.
  m_hasGaps |= painted.detail <= Detail::Labels && hasGap(section);
}

Lines Legend::lines() const {
  const MapGlyphs& glyphs = m_style.glyphs;
  Lines pieces;
  std::set<std::string> signs;  // in ASCII, one that is full and all that are full look the same
  const auto entry = [&](const std::string& sign, const char* meaning) {
    if (signs.insert(sign).second) pieces.push_back(sign + ' ' + meaning);
  };
  if (m_used.contains(Detail::Labels) || m_used.contains(Detail::Singles)) {
    entry(glyphs.full, "full");
    entry(glyphs.empty, "empty");
  } else if (m_used.contains(Detail::Boxes)) {
    entry(glyphs.fullBox.across, "full");
    entry(glyphs.emptyBox.across, "empty");
  }
  if (m_used.contains(Detail::Densities)) {
    constexpr const char* kShares[] = {"none full", "up to 1/3", "up to 2/3", "more", "all full"};
    for (std::size_t i = 0; i < glyphs.density.size(); ++i) entry(glyphs.density[i], kShares[i]);
  }
  append(pieces, m_steps);
  if (m_hasGaps) entry(glyphs.gap, "no such address");
  return wrapped(pieces, m_style);
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset, glyphsOf(charset)};
  Lines lines = header(map, style);
  Legend legend(style);
  for (const MapSection& section : map.sections) {
    if (section.cells.empty()) continue;
    const Painted painted = paint(section, style);
    legend.add(section, painted);
    append(lines, {"", heading(section, painted.perMark, style)});
    append(lines, painted.lines);
  }
  if (const Lines meanings = legend.lines(); !meanings.empty()) {
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

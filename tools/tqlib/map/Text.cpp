// The picture in the terminal. Each section is painted with as much detail as its elements leave
// room for: boxes, then an address and a barcode each, then marks.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "TqLibEmulator.h"
#include "map/Map.h"

namespace {

constexpr std::size_t kMostSlotBoxLines = 24;
constexpr std::size_t kMostBoxLines = 12;
constexpr std::size_t kMostLabelLines = 40;
constexpr std::size_t kMostDriveLines = 64;  // what a drive holds is worth more lines
constexpr std::size_t kMostMarkLines = 50;
constexpr int kLongestLabel = 16;
constexpr int kGroup = 10;  // marks between two spaces, so that they can be counted

struct BoxGlyphs {
  const char* topLeft;
  const char* topRight;
  const char* bottomLeft;
  const char* bottomRight;
  const char* across;
  const char* down;
};

struct MapGlyphs {
  BoxGlyphs fullBox;
  BoxGlyphs emptyBox;
  const char* full;
  const char* empty;
  std::array<const char*, 5> density;  ///< none, up to a third, up to two thirds, more, all
  const char* gap;
  const char* skippedRows;
  const char* rule;
  const char* dash;
};

const MapGlyphs kUtf8{{"┏", "┓", "┗", "┛", "━", "┃"},
                      {"┌", "┐", "└", "┘", "╌", "╎"},
                      "■",
                      "□",
                      {"·", "░", "▒", "▓", "█"},
                      "⋯",
                      "⋮",
                      "─",
                      "–"};
const MapGlyphs kAscii{{"#", "#", "#", "#", "=", "#"},
                       {".", ".", ".", ".", ".", "."},
                       "#",
                       ".",
                       {".", ":", "+", "*", "#"},
                       "..",
                       ":",
                       "-",
                       "-"};

/// The room for a picture, and its signs.
struct MapStyle {
  int width;
  Charset charset;
  const MapGlyphs& glyphs;
};

using Lines = std::vector<std::string>;

enum class Detail { Boxes, Labels, Singles, Densities };

struct Painted {
  Detail detail;
  long long perMark;  ///< addresses of a mark
  Lines lines;
};

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// Parts side by side, in as many lines as they need.
Lines joined(const Lines& parts, const MapStyle& style) {
  const std::string between = "   ";
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

std::string repeated(const char* sign, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += sign;
  return text;
}

int widest(const MapSection& section, auto text) {
  int columns = 0;
  for (const MapCell& cell : section.cells) {
    columns = std::max(columns, columnsOf(std::invoke(text, cell)));
  }
  return columns;
}

/// Cells side by side. `paint` gives the lines of one, of a gap for null.
Lines flow(const MapSection& section, const MapStyle& style, int columns, int between,
           const std::function<Lines(const MapCell*)>& paint) {
  const int fitting = std::max(1, (style.width + between) / (columns + between));
  const int perRow = fitting > 10 ? fitting / 5 * 5 : fitting;
  Lines lines;
  int inRow = 0;
  for (const MapCell* cell : section.cellsAndGaps()) {
    const Lines painted = paint(cell);
    const bool isFirst = inRow++ % perRow == 0;
    if (isFirst) lines.resize(lines.size() + painted.size());
    std::string* line = &lines[lines.size() - painted.size()];
    for (const std::string& part : painted) *line++ += repeated(" ", isFirst ? 0 : between) + part;
  }
  return lines;
}

std::string border(const char* left, const char* right, const BoxGlyphs& box,
                   const std::string& text, int inner, Charset charset) {
  const std::string inlaid = text.empty() ? "" : ' ' + fitted(text, inner - 2, charset) + ' ';
  return left + inlaid + repeated(box.across, inner - columnsOf(inlaid)) + right;
}

Lines boxOf(const MapCell& cell, int inner, Colour colour, const MapStyle& style) {
  const BoxGlyphs& box = cell.isFull ? style.glyphs.fullBox : style.glyphs.emptyBox;
  const std::string label = filledUp(cell.label(), inner - 2, style.charset);
  Lines lines{border(box.topLeft, box.topRight, box, cell.number(), inner, style.charset),
              fmt::format("{0} {1} {0}", box.down, label),
              border(box.bottomLeft, box.bottomRight, box, cell.serial, inner, style.charset)};
  if (cell.isFull) {
    for (std::string& line : lines) line = coloured(line, colour, STDOUT_FILENO);
  }
  return lines;
}

/// A box for each element: with a heavy border if it is full, else a dashed one.
Lines mapBoxes(const MapSection& section, const MapStyle& style) {
  const int label = std::min(widest(section, &MapCell::label), kLongestLabel);
  const int serial = std::min(widest(section, &MapCell::serial), kLongestLabel);
  const int text = std::max({label, widest(section, &MapCell::number) + 1, serial + 1});
  const int inner = std::min(text + 2, style.width - 2);
  return flow(section, style, inner + 2, 1, [&](const MapCell* cell) {
    if (cell != nullptr) return boxOf(*cell, inner, section.colour, style);
    const std::string blank = repeated(" ", inner + 2);
    const std::string gap = repeated(" ", inner / 2) + style.glyphs.gap;
    return Lines{blank, filledUp(gap, inner + 2, style.charset), blank};
  });
}

/// An address and a barcode for each element.
Lines mapLabels(const MapSection& section, const MapStyle& style) {
  const int number = widest(section, &MapCell::number);
  const int label =
      std::min({widest(section, &MapCell::label), kLongestLabel, style.width - number - 3});
  return flow(section, style, number + 3 + label, 2, [&](const MapCell* cell) {
    if (cell == nullptr) {
      const std::string gap = repeated(" ", number - 1) + style.glyphs.gap;
      return Lines{filledUp(gap, number + 3 + label, style.charset)};
    }
    const std::string rest =
        fmt::format("{} {}", cell->isFull ? style.glyphs.full : style.glyphs.empty,
                    filledUp(cell->label(), label, style.charset));
    return Lines{fmt::format("{:>{}} {}", cell->number(), number,
                             cell->isFull ? coloured(rest, section.colour, STDOUT_FILENO) : rest)};
  });
}

struct Mark {
  int elements = 0;
  int full = 0;

  const char* sign(bool isSingle, const MapGlyphs& glyphs) const {
    if (elements == 0) return " ";
    if (isSingle) return full > 0 ? glyphs.full : glyphs.empty;
    if (full == elements) return glyphs.density.back();
    return glyphs.density[static_cast<std::size_t>((3 * full + elements - 1) / elements)];
  }
};

/// As many marks as fit, in groups; round numbers of them, so that rows begin with round addresses.
int marksPerRow(int room) {
  const int groups = (room + 1) / (kGroup + 1);
  for (const int round : {30, 25, 20, 15, 12, 10, 8, 5, 4, 3, 2, 1}) {
    if (round <= groups) return kGroup * round;
  }
  return std::max(1, room / 5 * 5);
}

Lines linesOf(const MapSection& section, int perRow, long long perMark, int labelColumns,
              const MapGlyphs& glyphs) {
  Lines lines;
  for (const MapRow& row : mapRows(section, perRow, perMark)) {
    if (row.isAfterGap) lines.push_back(repeated(" ", labelColumns - 1) + glyphs.skippedRows);
    std::vector<Mark> marks(static_cast<std::size_t>(perRow));
    for (const auto& [cell, place] : row.cells) {
      Mark& mark = marks[static_cast<std::size_t>(place)];
      ++mark.elements;
      mark.full += cell->isFull ? 1 : 0;
    }
    const std::string label = row.address < 0 ? "-" : std::to_string(row.address);
    std::string& line = lines.emplace_back(fmt::format("{:>{}} ", label, labelColumns));
    int place = 0;
    for (const Mark& mark : marks) {
      if (place++ % kGroup == 0) line += ' ';
      const char* const sign = mark.sign(perMark == 1, glyphs);
      line += mark.full > 0 ? coloured(sign, section.colour, STDOUT_FILENO) : sign;
    }
  }
  return lines;
}

/// Rows of marks, a character for one or several addresses, in few enough lines for one look.
Painted mapMarks(const MapSection& section, const MapStyle& style) {
  const int label = static_cast<int>(section.cells.back().number().size());
  const int perRow = marksPerRow(style.width - label - 2);
  long long perMark = 1;
  Lines lines = linesOf(section, perRow, perMark, label, style.glyphs);
  for (int step = 0; lines.size() > kMostMarkLines; ++step) {
    perMark = step % 3 == 1 ? perMark / 2 * 5 : perMark * 2;  // 2, 5, 10, 20, 50 and so on
    lines = linesOf(section, perRow, perMark, label, style.glyphs);
  }
  return {perMark == 1 ? Detail::Singles : Detail::Densities, perMark, std::move(lines)};
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
  return mapMarks(section, style);
}

Lines header(const LibraryMap& map, const MapStyle& style) {
  Lines lines = joined({map.library, map.identity}, style);
  lines.front() = coloured(lines.front(), Colour::Cyan, STDOUT_FILENO);
  append(lines, joined(map.summaries(), style));
  if (map.status == Status{}) return lines;
  for (const std::string& line : joined({"injected:", statusText(map.status)}, style)) {
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
  return joined(pieces, style);
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset,
                       charset == Charset::Utf8 ? kUtf8 : kAscii};
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
  for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
  return fmt::format("{}", fmt::join(lines, "\n"));
}

// Elements as boxes, as labels and as marks.
#include "map/Cells.h"

#include <unistd.h>

#include <algorithm>
#include <functional>

#include <fmt/format.h>

namespace {

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

constexpr int kLongestLabel = 16;
constexpr std::size_t kMostLinesOfSingles = 50;
constexpr std::size_t kMostLines = 40;
constexpr int kGroup = 10;  // marks between two spaces, so that they can be counted

template <typename Text>
int widest(const MapSection& section, Text text) {
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

struct Mark {
  int elements = 0;
  int full = 0;

  const char* sign(bool isSingle, const MapGlyphs& glyphs) const {
    if (elements == 0) return " ";
    if (full == 0) return isSingle ? glyphs.empty : glyphs.density.front();
    if (full == elements) return isSingle ? glyphs.full : glyphs.density.back();
    if (3 * full <= elements) return glyphs.density[1];
    return 3 * full <= 2 * elements ? glyphs.density[2] : glyphs.density[3];
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

std::string lineOf(const MapSection& section, const std::vector<Mark>& marks, bool isSingle,
                   const MapGlyphs& glyphs) {
  std::string line;
  std::string run;  // of one colour: a row has room for hundreds of marks
  bool isColoured = false;
  const auto flush = [&] {
    line += isColoured ? coloured(run, section.colour, STDOUT_FILENO) : run;
    run.clear();
  };
  int place = 0;
  for (const Mark& mark : marks) {
    const bool isFull = mark.full > 0;
    const bool isGroup = place++ % kGroup == 0;
    if (isGroup || isColoured != isFull) flush();
    if (isGroup) line += ' ';
    isColoured = isFull;
    run += mark.sign(isSingle, glyphs);
  }
  flush();
  return line;
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
    lines.push_back(fmt::format("{:>{}} {}", label, labelColumns,
                                lineOf(section, marks, perMark == 1, glyphs)));
  }
  return lines;
}

}  // namespace

const MapGlyphs& glyphsOf(Charset charset) {
  return charset == Charset::Utf8 ? kUtf8 : kAscii;
}

std::string repeated(const char* sign, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += sign;
  return text;
}

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

MarkGrid markGrid(const MapSection& section, const MapStyle& style) {
  const int label = static_cast<int>(section.cells.back().number().size());
  const int perRow = marksPerRow(style.width - label - 2);
  Lines lines = linesOf(section, perRow, 1, label, style.glyphs);
  if (lines.size() <= kMostLinesOfSingles) return {1, std::move(lines)};
  long long perMark = 1;
  for (int step = 0; lines.size() > kMostLines && perMark < 1LL << 31; ++step) {
    perMark = step % 3 == 1 ? perMark / 2 * 5 : perMark * 2;  // 2, 5, 10, 20, 50 and so on
    lines = linesOf(section, perRow, perMark, label, style.glyphs);
  }
  return {perMark, std::move(lines)};
}

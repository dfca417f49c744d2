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

struct BoxGlyphs {
  const char* topLeft;
  const char* topRight;
  const char* bottomLeft;
  const char* bottomRight;
  const char* across;
  const char* down;
};

// Each of these has a sign for ASCII and one for UTF-8.
constexpr BoxGlyphs kFullBox[] = {{"#", "#", "#", "#", "=", "#"}, {"┏", "┓", "┗", "┛", "━", "┃"}};
constexpr BoxGlyphs kEmptyBox[] = {{".", ".", ".", ".", ".", "."}, {"┌", "┐", "└", "┘", "╌", "╎"}};
constexpr const char* kFull[] = {"#", "■"};
constexpr const char* kEmpty[] = {".", "□"};
constexpr const char* kGap[] = {"..", "⋯"};
constexpr const char* kSkippedRows[] = {":", "⋮"};
constexpr const char* kRule[] = {"-", "─"};
constexpr const char* kDash[] = {"-", "–"};
// None, up to a third, up to two thirds, more, all.
constexpr std::array<const char*, 5> kDensity[] = {{".", ":", "+", "*", "#"},
                                                   {"·", "░", "▒", "▓", "█"}};

/// The width of a picture, and the character set of its signs.
struct MapStyle {
  template <typename Sign>
  const Sign& of(const Sign (&signs)[2]) const {
    return signs[static_cast<std::size_t>(charset)];
  }

  int width;
  Charset charset;
};

using Lines = std::vector<std::string>;

enum class Detail { Boxes, Labels, Singles, Densities };

struct Painted {
  Detail detail;
  Lines lines;
  std::string step = {};  ///< how many addresses a mark shows, if several
};

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// Parts with three spaces between them, in as many lines as they need.
Lines joined(const Lines& parts, const MapStyle& style) {
  Lines lines;
  for (const std::string& part : parts) {
    const std::string cut = fitted(part, style.width, style.charset);
    if (!lines.empty() && columnsOf(lines.back()) + 3 + columnsOf(cut) <= style.width) {
      lines.back() += "   " + cut;
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

/// Cells side by side. `paint` gives the lines of one; the sign of a gap begins at column `gapAt`.
Lines flow(const MapSection& section, const MapStyle& style, int columns, int between, int gapAt,
           const std::function<Lines(const MapCell&)>& paint) {
  const int fitting = std::max(1, (style.width + between) / (columns + between));
  const int perRow = fitting > 10 ? fitting / 5 * 5 : fitting;
  Lines gap(paint(section.cells.front()).size(), repeated(" ", columns));
  gap[gap.size() / 2] = filledUp(repeated(" ", gapAt) + style.of(kGap), columns, style.charset);
  Lines lines;
  int inRow = 0;
  for (const MapCell* cell : section.cellsAndGaps()) {
    const Lines painted = cell == nullptr ? gap : paint(*cell);
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

/// A box for each element: with a heavy border if it is full, else a dashed one.
Lines mapBoxes(const MapSection& section, const MapStyle& style) {
  const int label = std::min(section.widest(&MapCell::label), kLongestLabel);
  const int serial = std::min(section.widest(&MapCell::serial), kLongestLabel);
  const int text = std::max({label, section.widest(&MapCell::number) + 1, serial + 1});
  const int inner = std::min(text + 2, style.width - 2);
  return flow(section, style, inner + 2, 1, inner / 2, [&](const MapCell& cell) {
    const BoxGlyphs& box = style.of(cell.isFull ? kFullBox : kEmptyBox);
    Lines lines{
        border(box.topLeft, box.topRight, box, cell.number(), inner, style.charset),
        fmt::format("{0} {1} {0}", box.down, filledUp(cell.label(), inner - 2, style.charset)),
        border(box.bottomLeft, box.bottomRight, box, cell.serial, inner, style.charset)};
    if (!cell.isFull) return lines;
    for (std::string& line : lines) line = coloured(line, section.colour, STDOUT_FILENO);
    return lines;
  });
}

/// An address and a barcode for each element.
Lines mapLabels(const MapSection& section, const MapStyle& style) {
  const int number = section.widest(&MapCell::number);
  const int label =
      std::min({section.widest(&MapCell::label), kLongestLabel, style.width - number - 3});
  return flow(section, style, number + 3 + label, 2, number - 1, [&](const MapCell& cell) {
    const std::string rest = fmt::format("{} {}", style.of(cell.isFull ? kFull : kEmpty),
                                         filledUp(cell.label(), label, style.charset));
    return Lines{fmt::format("{:>{}} {}", cell.number(), number,
                             cell.isFull ? coloured(rest, section.colour, STDOUT_FILENO) : rest)};
  });
}

/// As many marks as fit, in groups; round numbers of them, so that rows begin with round addresses.
int marksPerRow(int room) {
  const int groups = (room + 1) / (kGroup + 1);
  for (const int round : {30, 25, 20, 15, 12, 10, 8, 5, 4, 3, 2, 1}) {
    if (round <= groups) return kGroup * round;
  }
  return std::max(1, room / 5 * 5);
}

const char* markOf(std::ptrdiff_t elements, std::ptrdiff_t full, bool isSingle,
                   const MapStyle& style) {
  if (elements == 0) return " ";
  if (isSingle) return style.of(full > 0 ? kFull : kEmpty);
  const auto& density = style.of(kDensity);
  if (full == elements) return density.back();
  return density[static_cast<std::size_t>((3 * full + elements - 1) / elements)];
}

Lines linesOf(const MapSection& section, int perRow, long long perMark, int labelColumns,
              const MapStyle& style) {
  Lines lines;
  for (const MapRow& row : mapRows(section, perRow, perMark)) {
    if (row.isAfterGap) lines.push_back(repeated(" ", labelColumns - 1) + style.of(kSkippedRows));
    std::string& line =
        lines.emplace_back(fmt::format("{:>{}} ", addressText(row.address), labelColumns));
    auto at = row.cells.begin();
    for (int place = 0; place < perRow; ++place) {
      const auto first = at;
      while (at != row.cells.end() && at->place == place) ++at;
      const auto full =
          std::count_if(first, at, [](const auto& each) { return each.cell->isFull; });
      const char* const sign = markOf(at - first, full, perMark == 1, style);
      if (place % kGroup == 0) line += ' ';
      line += full > 0 ? coloured(sign, section.colour, STDOUT_FILENO) : sign;
    }
  }
  return lines;
}

/// Rows of marks, a character for one or several addresses, in few enough lines for one look.
Painted mapMarks(const MapSection& section, const MapStyle& style) {
  const int label = static_cast<int>(section.cells.back().number().size());
  const int perRow = marksPerRow(style.width - label - 2);
  Lines lines = linesOf(section, perRow, 1, label, style);
  if (lines.size() <= kMostMarkLines) return {Detail::Singles, std::move(lines)};
  long long perMark = 1;
  for (int step = 0; lines.size() > kMostMarkLines; ++step) {
    perMark = step % 3 == 1 ? perMark / 2 * 5 : perMark * 2;  // 2, 5, 10, 20, 50 and so on
    lines = linesOf(section, perRow, perMark, label, style);
  }
  return {Detail::Densities, std::move(lines),
          fmt::format("a mark shows {} {}", perMark, section.elements)};
}

std::string heading(const MapSection& section, const std::string& step, const MapStyle& style) {
  const std::string range = section.range(style.of(kDash));
  std::string text = range.empty() ? section.title : fmt::format("{} {}", section.title, range);
  if (!step.empty()) text += ", " + step;
  text = fitted(text, style.width - 4, style.charset);
  return fmt::format("{} {} {}", repeated(style.of(kRule), 2),
                     coloured(text, section.colour, STDOUT_FILENO),
                     repeated(style.of(kRule), style.width - 4 - columnsOf(text)));
}

Painted paint(const MapSection& section, const MapStyle& style) {
  Lines boxes = mapBoxes(section, style);
  const std::size_t mostBoxes = section.type == LIB_ELEM_SLOT ? kMostSlotBoxLines : kMostBoxLines;
  if (boxes.size() <= mostBoxes) return {Detail::Boxes, std::move(boxes)};
  Lines labels = mapLabels(section, style);
  const std::size_t mostLabels = section.type == LIB_ELEM_DRIVE ? kMostDriveLines : kMostLabelLines;
  if (labels.size() <= mostLabels) return {Detail::Labels, std::move(labels)};
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
  Lines pieces;
  std::set<std::string> explained;
  const auto explain = [&](const std::string& sign, const char* meaning) {
    if (explained.insert(sign).second) pieces.push_back(sign + ' ' + meaning);
  };
  if (used.contains(Detail::Labels) || used.contains(Detail::Singles)) {
    explain(style.of(kFull), "full");
    explain(style.of(kEmpty), "empty");
  } else if (used.contains(Detail::Boxes)) {
    explain(style.of(kFullBox).across, "full");
    explain(style.of(kEmptyBox).across, "empty");
  }
  if (used.contains(Detail::Densities)) {
    constexpr const char* kShares[] = {"none full", "up to 1/3", "up to 2/3", "more", "all full"};
    std::size_t share = 0;
    for (const char* const sign : style.of(kDensity)) explain(sign, kShares[share++]);
  }
  append(pieces, steps);  // a narrow heading may have no room for them
  if (hasGaps) explain(style.of(kGap), "no such address");
  Lines lines = joined(pieces, style);
  if (!lines.empty()) lines.insert(lines.begin(), "");
  return lines;
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset};
  Lines lines = header(map, style);
  std::set<Detail> used;
  Lines steps;
  bool hasGaps = false;
  for (const MapSection& section : map.sections) {
    if (section.cells.empty()) continue;
    const Painted painted = paint(section, style);
    used.insert(painted.detail);
    if (!painted.step.empty()) steps.push_back(painted.step);
    // Between marks a gap is as wide as what is missing.
    hasGaps |= painted.detail <= Detail::Labels && section.hasGap();
    append(lines, {"", heading(section, painted.step, style)});
    append(lines, painted.lines);
  }
  append(lines, legend(used, steps, hasGaps, style));
  for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
  return fmt::format("{}", fmt::join(lines, "\n"));
}

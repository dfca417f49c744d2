// The picture in the terminal. Each section is painted with as much detail as its elements leave
// room for: boxes, then an address and a barcode each, then marks.
#include <unistd.h>

#include <optional>
#include <span>

#include <fmt/ranges.h>

#include "catalogue/Elements.h"
#include "map/Map.h"

namespace {

constexpr std::size_t kMostSlotBoxLines = 24;
constexpr std::size_t kMostBoxLines = 12;
constexpr std::size_t kRowsPerHead = 20;
constexpr int kBetweenParts = 2;

struct BoxGlyphs {
  const char* top[2];  // the corners
  const char* bottom[2];
  const char* across;
  const char* down;
};

// Each of these has a sign for ASCII and one for UTF-8.
constexpr BoxGlyphs kFullBox[] = {{{"#", "#"}, {"#", "#"}, "=", "#"},
                                  {{"┏", "┓"}, {"┗", "┛"}, "━", "┃"}};
constexpr BoxGlyphs kEmptyBox[] = {{{".", "."}, {".", "."}, ".", "."},
                                   {{"┌", "┐"}, {"└", "┘"}, "╌", "╎"}};
constexpr const char* kFull[] = {"#", "■"};
constexpr const char* kEmpty[] = {".", "□"};
constexpr const char* kGap[] = {"..", "⋯"};
constexpr const char* kSkippedRows[] = {":", "⋮"};
constexpr const char* kRule[] = {"-", "─"};
constexpr const char* kDash[] = {"-", "–"};
// How full a step of addresses is: not at all, in equal parts, and wholly.
constexpr const char* kTenths[] = {".", "1", "2", "3", "4", "5", "6", "7", "8", "9", "#"};
constexpr const char* kEighths[] = {"·", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::span<const char* const> kShares[] = {kTenths, kEighths};
constexpr const char* kSomeShare[] = {"1-9 tenths", "▁–▇ partly"};

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

/// A text around the picture. It is broken only where it is wider than that.
struct Part {
  std::string text;
  std::optional<Colour> colour = {};
};

struct Painted {
  Lines lines;
  std::vector<Part> legend;
};

void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

std::string repeated(const char* sign, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += sign;
  return text;
}

/// The size of the front of `text` that is shown in one line, up to a space where it is broken.
std::size_t lineSize(const std::string& text, int columns) {
  std::size_t size = text.size();
  while (columnsOf(text.substr(0, size)) > columns) {
    const std::size_t space = text.rfind(' ', size - 1);
    if (space == std::string::npos || space == 0) return text.size();
    size = space;
  }
  return size;
}

/// Parts with spaces between them, in as many lines as they need; `rule` fills up the last one.
Lines joined(const std::vector<Part>& parts, const MapStyle& style, const char* rule = "") {
  Lines lines;
  int used = style.width;
  for (const auto& [text, colour] : parts) {
    for (std::string rest = text; !rest.empty();) {
      const std::size_t size = lineSize(rest, style.width);
      const std::string cut = fitted(rest.substr(0, size), style.width, style.charset);
      const bool isFirst = used + kBetweenParts + columnsOf(cut) > style.width;
      if (isFirst) lines.emplace_back();
      lines.back() += repeated(" ", isFirst ? 0 : kBetweenParts);
      lines.back() += colour ? coloured(cut, *colour, STDOUT_FILENO) : cut;
      used = (isFirst ? 0 : used + kBetweenParts) + columnsOf(cut);
      rest.erase(0, size + 1);
    }
  }
  lines.back() += ' ' + repeated(rule, style.width - used - 1);
  return lines;
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
    if (inRow++ % perRow == 0) lines.resize(lines.size() + painted.size());
    std::string* line = &lines[lines.size() - painted.size()];
    for (const std::string& part : painted) *line++ += part + repeated(" ", between);
  }
  return lines;
}

std::string border(const char* const (&corners)[2], const char* across, const std::string& text,
                   int inner, Charset charset) {
  const std::string inlaid = text.empty() ? "" : ' ' + fitted(text, inner - 2, charset) + ' ';
  return corners[0] + inlaid + repeated(across, inner - columnsOf(inlaid)) + corners[1];
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
        border(box.top, box.across, cell.number(), inner, style.charset),
        fmt::format("{0} {1} {0}", box.down, filledUp(cell.label(), inner - 2, style.charset)),
        border(box.bottom, box.across, cell.serial, inner, style.charset)};
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
  for (const int round : {20, 10, 5, 2, 1}) {
    if (round <= groups) return kGroup * round;
  }
  return std::max(1, room / 5 * 5);
}

const char* markOf(const MapPlace& place, bool isSingle, const MapStyle& style) {
  if (isSingle) return style.of(place.full > 0 ? kFull : kEmpty);
  const auto& shares = style.of(kShares);
  const std::size_t share = (shares.size() - 1) * place.full / place.elements;
  return shares[std::max<std::size_t>(share, place.full > 0 ? 1 : 0)];
}

/// What has to be added to the address of a row: at each group, then at each mark.
Lines columnHeads(int perRow, int step, int labelColumns) {
  Lines heads(2, repeated(" ", labelColumns + 1));
  for (int mark = 0; mark < perRow; ++mark) {
    if (mark % kGroup == 0) {
      heads[0] += fmt::format(" {:<{}}", fmt::format("+{}", mark * step), kGroup);
      heads[1] += ' ';
    }
    heads[1] += std::to_string(mark % kGroup);
  }
  return heads;
}

/// Rows of marks, a character for one or several addresses.
Lines mapMarks(const MapSection& section, const MapStyle& style) {
  const int label = static_cast<int>(section.cells.back().number().size());
  const int perRow = marksPerRow(style.width - label - 2);
  const int step = section.step();
  Lines lines;
  std::size_t rows = 0;
  for (const MapRow& row : mapRows(section, perRow)) {
    if (row.isAfterGap) lines.push_back(repeated(" ", label - 1) + style.of(kSkippedRows));
    if (rows++ % kRowsPerHead == 0) append(lines, columnHeads(perRow, step, label));
    std::string& line = lines.emplace_back(fmt::format("{:>{}} ", addressText(row.address), label));
    int used = 0;
    for (const MapPlace& place : row.places) {
      const int column = place.column + place.column / kGroup + 1;
      const char* const sign = markOf(place, step == 1, style);
      line += repeated(" ", column - used);
      line += place.full > 0 ? coloured(sign, section.colour, STDOUT_FILENO) : sign;
      used = column + 1;
    }
  }
  return lines;
}

/// The signs of full and of empty elements, with their numbers.
std::vector<Part> legend(const MapSection& section, const char* full, const char* empty) {
  const std::size_t count = section.fullCells();
  return {{fmt::format("{} {} {}", full, count, section.filled), section.colour},
          {fmt::format("{} {} empty", empty, section.cells.size() - count)}};
}

std::vector<Part> denseLegend(const MapSection& section, const MapStyle& style) {
  const auto& shares = style.of(kShares);
  return {{fmt::format("a sign is {}:", counted(kDenseStep, section.element))},
          {fmt::format("{} all {}", shares.back(), section.filled), section.colour},
          {style.of(kSomeShare), section.colour},
          {fmt::format("{} none", shares.front())}};
}

/// As much detail as there is room for.
Painted paint(const MapSection& section, const MapStyle& style) {
  if (section.step() > 1) return {mapMarks(section, style), denseLegend(section, style)};
  std::vector<Part> ofMarks = legend(section, style.of(kFull), style.of(kEmpty));
  if (section.cells.size() > kMostLabelled) return {mapMarks(section, style), std::move(ofMarks)};
  Painted painted{mapBoxes(section, style),
                  legend(section, style.of(kFullBox).across, style.of(kEmptyBox).across)};
  const std::size_t mostBoxes = section.type == LIB_ELEM_SLOT ? kMostSlotBoxLines : kMostBoxLines;
  if (painted.lines.size() > mostBoxes) painted = {mapLabels(section, style), std::move(ofMarks)};
  // Between marks a gap is as wide as what is missing.
  if (section.hasGap())
    painted.legend.push_back({style.of(kGap) + std::string(" no such address")});
  return painted;
}

Lines header(const LibraryMap& map, const MapStyle& style) {
  Lines lines = joined({{map.library, Colour::Cyan}, {map.identity, Colour::Cyan}}, style);
  std::vector<Part> summaries;
  for (const std::string& summary : map.summaries()) summaries.push_back({summary});
  append(lines, joined(summaries, style));
  if (map.status == Status{}) return lines;
  append(lines, joined({{"injected:", Colour::Red}, {statusText(map.status), Colour::Red}}, style));
  return lines;
}

}  // namespace

std::string mapText(const LibraryMap& map, int width, Charset charset) {
  const MapStyle style{std::max(width, kNarrowestMap), charset};
  Lines lines = header(map, style);
  for (const MapSection& section : map.sections) {
    if (section.cells.empty()) continue;
    auto [painted, heading] = paint(section, style);
    heading.insert(heading.begin(), {fmt::format("{} {} {}", style.of(kRule), section.title,
                                                 section.range(style.of(kDash))),
                                     section.colour});
    lines.emplace_back();
    append(lines, joined(heading, style, style.of(kRule)));
    append(lines, painted);
    if (section.step() == 1) continue;
    const int first = section.firstAddress();
    append(lines,
           joined({{fmt::format("\"tqlib map {} {}:{}-{}\" shows each", map.library,
                                elementTypeWord(section.type), first, first + kDenseStep - 1)}},
                  style));
  }
  for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
  return fmt::format("{}", fmt::join(lines, "\n"));
}

// A cell is a box with address and barcode while there are few, and a square when there are many;
// each tells its address and barcode when it is pointed at. Full is filled and empty an outline, so
// that nothing hangs on the colours.
#include "map/MapSvg.h"

#include <algorithm>

#include "TqLibEmulator.h"
#include "base/ScreenText.h"
#include "map/MapRows.h"

namespace {

constexpr int kWidth = 960;
constexpr int kMargin = 28;
constexpr int kRoom = kWidth - 2 * kMargin;
constexpr std::size_t kMostBoxes = 200;
constexpr std::size_t kMostLargeSquares = 2500;
constexpr int kBetweenBoxes = 6;
constexpr int kLongestLabel = 16;
constexpr int kLongestTitle = 200;
constexpr int kGroup = 10;  // squares between two wider gaps, so that an eye can count

constexpr char kStyle[] =
    "<style>\n"
    "text{font-family:ui-monospace,SFMono-Regular,Menlo,Consolas,'DejaVu Sans Mono',monospace;"
    "fill:#24292f}\n"
    ".name{font-size:24px;font-weight:bold}.about{font-size:15px;fill:#57606a}\n"
    ".head{font-size:14px;font-weight:bold}.count{font-size:12px;fill:#57606a}\n"
    ".at{font-size:10px;fill:#57606a}.code{font-size:12px;font-weight:bold}\n"
    ".full{stroke:none}.full text{fill:#fff}\n"
    ".empty{fill:#fff;stroke:#8c959f;stroke-width:1}.empty text{stroke:none}\n"
    ".empty .at{fill:#57606a}.thin{stroke-width:.7}\n"
    ".rule{stroke:#d0d7de}.alarm{fill:#fff1ee;stroke:#b42318}.alarmText{font-size:13px;"
    "fill:#b42318;font-weight:bold}\n"
    "</style>\n";

/// Upright rectangles, in pixels.
struct Size {
  int width;
  int height;
};

std::string escaped(const std::string& text, int columns) {
  std::string result;
  for (const char c : fitted(text, columns, Charset::Utf8)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string number(long long value) {
  return std::to_string(value);
}

std::string text(int x, int y, const char* style, const std::string& content,
                 const char* more = "") {
  return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" class=\"" + style + '"' + more +
         '>' + content + "</text>\n";
}

// Dark enough for white text, and far apart in lightness or hue for every kind of sight.
const char* colourOf(const MapSection& section) {
  switch (section.type) {
    case LIB_ELEM_DRIVE:
      return "#0b6e4f";
    case LIB_ELEM_MAIL_SLOT:
      return "#9a4f00";
    case LIB_ELEM_SHELF:
      return "#6f42a0";
    default:
      return "#0a5394";
  }
}

std::string titleOf(const MapCell& cell) {
  const std::string what = cell.isFull ? escaped(labelText(cell), kLongestTitle) : "empty";
  const std::string drive =
      cell.serial.empty() ? "" : " (drive " + escaped(cell.serial, kLongestTitle) + ')';
  return "<title>" + addressText(cell.address) + drive + ": " + what + "</title>";
}

bool hasBoxes(const MapSection& section) {
  return section.cells.size() <= kMostBoxes;
}

/// Columns of boxes, the same in all sections.
struct BoxGrid {
  int perRow;
  int width;  // of a box
};

BoxGrid boxGrid(const LibraryMap& map) {
  int label = 6;
  for (const MapSection& section : map.sections) {
    for (const MapCell& cell : section.cells) {
      if (!hasBoxes(section)) break;
      label = std::max({label, columnsOf(labelText(cell)), columnsOf(cell.serial)});
    }
  }
  constexpr int kPixelsPerTwoColumns = 15;
  const int least = std::min(label, kLongestLabel) * kPixelsPerTwoColumns / 2 + 16;
  // Rows of ten begin with round addresses.
  const int perRow = std::min((kRoom + kBetweenBoxes) / (least + kBetweenBoxes), 10);
  return {perRow, (kRoom + kBetweenBoxes) / perRow - kBetweenBoxes};
}

/// A picture that grows downwards.
class Drawing {
public:
  explicit Drawing(const LibraryMap& map) : m_grid(boxGrid(map)) {}

  void header(const LibraryMap& map);
  void section(const MapSection& section);
  std::string finish(const std::string& title) const;

private:
  void heading(const MapSection& section);
  void boxes(const MapSection& section);
  void squares(const MapSection& section);

  BoxGrid m_grid;
  std::string m_body;
  int m_y = kMargin;
};

std::string summaries(const LibraryMap& map) {
  std::string text;
  for (const std::string& summary : summaryTexts(map)) {
    text += (text.empty() ? "" : " · ") + summary;
  }
  return text;
}

/// It ends at `right`.
std::string legend(int right, int y) {
  return "<g class=\"full\" fill=\"#24292f\"><path d=\"M" + number(right - 118) + ' ' + number(y) +
         "h12v12h-12z\"/></g>\n<g class=\"empty\"><path d=\"M" + number(right - 58) + ' ' +
         number(y) + "h12v12h-12z\"/></g>\n" + text(right - 100, y + 10, "count", "full") +
         text(right - 40, y + 10, "count", "empty");
}

/// How the kinds of elements show that addresses are missing; nothing when none are.
std::string gapSigns(const LibraryMap& map) {
  bool inBoxes = false;
  bool inSquares = false;
  for (const MapSection& section : map.sections) {
    (hasBoxes(section) ? inBoxes : inSquares) |= hasGap(section);
  }
  if (!inSquares) return inBoxes ? "⋯" : "";
  return inBoxes ? "⋯, blank:" : "blank:";
}

void Drawing::header(const LibraryMap& map) {
  constexpr int kNameColumns = 28;
  constexpr double kNameAdvance = 14.6;
  const std::string name = fitted(map.library, kNameColumns, Charset::Utf8);
  const int after = kMargin + static_cast<int>((columnsOf(name) + 1) * kNameAdvance);
  m_body += text(kMargin, m_y + 20, "name", escaped(name, kNameColumns));
  m_body += text(after, m_y + 20, "about", escaped(map.identity, 34));
  m_body += text(kMargin, m_y + 46, "count", summaries(map));
  m_body += legend(kWidth - kMargin, m_y + 10);
  if (const std::string signs = gapSigns(map); !signs.empty()) {
    m_body += text(kWidth - kMargin, m_y + 37, "count", signs + " no such address",
                   " text-anchor=\"end\"");
  }
  m_y += 58;
  if (map.status == Status{}) return;
  m_body += "<rect class=\"alarm\" x=\"" + number(kMargin) + "\" y=\"" + number(m_y + 4) +
            "\" width=\"" + number(kRoom) + "\" height=\"28\" rx=\"4\"/>\n" +
            text(kMargin + 12, m_y + 23, "alarmText", "! injected " + statusText(map.status));
  m_y += 40;
}

void Drawing::heading(const MapSection& section) {
  const std::string title = section.title;
  const int after = kMargin + static_cast<int>(title.size() + 1) * 9;
  m_y += 14;
  m_body += text(kMargin, m_y + 14, "head", title) +
            text(after, m_y + 14, "count", rangeText(section, "–")) +
            text(kWidth - kMargin, m_y + 14, "count",
                 number(static_cast<long long>(section.fullCells())) + " of " +
                     number(static_cast<long long>(section.cells.size())) + ' ' + section.filled,
                 " text-anchor=\"end\"") +
            "<path class=\"rule\" d=\"M" + number(kMargin) + ' ' + number(m_y + 21) + "h" +
            number(kRoom) + "\"/>\n";
  m_y += 31;
}

std::string boxOf(const MapSection& section, const MapCell& cell, int x, int y, Size size) {
  const std::string paint =
      cell.isFull ? std::string("full\" fill=\"") + colourOf(section) : std::string("empty");
  std::string box = "<g class=\"" + paint + "\">" + titleOf(cell) + "<rect x=\"" + number(x) +
                    "\" y=\"" + number(y) + "\" width=\"" + number(size.width) + "\" height=\"" +
                    number(size.height) + "\" rx=\"4\"/>";
  box += text(x + 8, y + 14, "at", addressText(cell.address));
  if (cell.isFull) box += text(x + 8, y + 30, "code", escaped(labelText(cell), kLongestLabel));
  if (!cell.serial.empty()) {
    box += text(x + 8, y + 47, "at", escaped(cell.serial, kLongestLabel));
  }
  return box + "</g>\n";
}

void Drawing::boxes(const MapSection& section) {
  const Size size{m_grid.width, section.type == LIB_ELEM_DRIVE ? 56 : 38};
  const int across = size.width + kBetweenBoxes;
  const int down = size.height + kBetweenBoxes;
  int at = 0;
  for (const MapCell* cell : cellsAndGaps(section)) {
    const int x = kMargin + at % m_grid.perRow * across;
    const int y = m_y + at / m_grid.perRow * down;
    m_body += cell != nullptr ? boxOf(section, *cell, x, y, size)
                              : text(x + size.width / 2, y + size.height / 2 + 4, "count", "⋯",
                                     " text-anchor=\"middle\"");
    ++at;
  }
  m_y += (at + m_grid.perRow - 1) / m_grid.perRow * down;
}

std::string square(const MapCell& cell, int x, int y, int side) {
  const std::string length = number(side);
  return "<path d=\"M" + number(x) + ' ' + number(y) + 'h' + length + 'v' + length + "h-" + length +
         "z\">" + titleOf(cell) + "</path>\n";
}

struct SquareGrid {
  int pitch;
  int side;
  int perRow;
  int labelledRows;  // every so many
  int baseline;      // of a label, below the top of its row
  int skip;          // the height that stands for rows without elements
};

std::string rowLabel(int right, int y, const std::string& content) {
  return text(right, y, "at", content, " text-anchor=\"end\"");
}

// Cells of one paint stand together in the document: a paint for each would double its size.
void Drawing::squares(const MapSection& section) {
  const SquareGrid grid = section.cells.size() <= kMostLargeSquares
                              ? SquareGrid{16, 13, 50, 1, 11, 16}
                              : SquareGrid{8, 6, 100, 2, 8, 12};
  constexpr double kDigit = 6.1;
  const auto digits = addressText(section.cells.back().address).size();
  const int left = kMargin + 8 + static_cast<int>(static_cast<double>(digits) * kDigit);
  std::string full;
  std::string empty;
  std::string labels;
  int sinceGap = 0;
  for (const MapRow& row : mapRows(section, {grid.perRow})) {
    if (row.isAfterGap) {
      labels += rowLabel(left - 8, m_y + grid.skip - 3, "⋮");
      m_y += grid.skip;
      sinceGap = 0;
    }
    if (sinceGap++ % grid.labelledRows == 0) {
      labels += rowLabel(left - 8, m_y + grid.baseline, addressText(row.address));
    }
    for (const auto& [cell, place] : row.cells) {
      const int x = left + place * grid.pitch + place / kGroup * 4;
      (cell->isFull ? full : empty) += square(*cell, x, m_y, grid.side);
    }
    m_y += grid.pitch;
  }
  m_body += labels + "<g class=\"full\" fill=\"" + colourOf(section) + "\">\n" + full +
            "</g>\n<g class=\"empty thin\">\n" + empty + "</g>\n";
}

void Drawing::section(const MapSection& section) {
  heading(section);
  if (hasBoxes(section)) {
    boxes(section);
  } else {
    squares(section);
  }
}

std::string Drawing::finish(const std::string& title) const {
  const std::string size = number(kWidth) + "\" height=\"" + number(m_y + kMargin);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + number(kWidth) + ' ' +
         number(m_y + kMargin) + "\" width=\"" + size + "\" role=\"img\">\n<title>" + title +
         "</title>\n" + kStyle + "<rect width=\"" + size + "\" rx=\"8\" fill=\"#f6f8fa\"/>\n" +
         m_body + "</svg>\n";
}

}  // namespace

std::string mapSvg(const LibraryMap& map) {
  Drawing drawing(map);
  drawing.header(map);
  for (const MapSection& section : map.sections) {
    if (!section.cells.empty()) drawing.section(section);
  }
  return drawing.finish("Library " + escaped(map.library, kLongestTitle) + ": " + summaries(map));
}

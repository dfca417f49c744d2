// The picture as SVG. A cell is a box with address and barcode if there are few, otherwise a
// square; pointing at it shows both. Full is filled and empty an outline, so that no colour is
// needed. Of very many, a cell shows how full a hundred are.

#include <fmt/ranges.h>

#include "map/Map.h"

namespace {

constexpr int kWidth = 960;
constexpr int kMargin = 28;
constexpr int kRight = kWidth - kMargin;
constexpr int kRoom = kRight - kMargin;
constexpr std::size_t kMostLargeSquares = 2500;
constexpr int kBetweenBoxes = 6;
constexpr int kWiderGap = 4;
constexpr int kLongestTitle = 200;

constexpr char kHead[] =
    R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {0} {1}" width="{0}" height="{1}" role="img">
<title>{2}</title>
<style>
text{{font-family:ui-monospace,SFMono-Regular,Menlo,Consolas,'DejaVu Sans Mono',monospace;fill:#24292f}}
.name{{font-size:24px;font-weight:bold}}.about{{font-size:15px;fill:#57606a}}
.head{{font-size:14px;font-weight:bold}}.count{{font-size:12px;fill:#57606a}}
.at{{font-size:10px;fill:#57606a}}.code{{font-size:12px;font-weight:bold}}
.full{{stroke:none}}.full text{{fill:#fff}}
.empty{{fill:#fff;stroke:#8c959f;stroke-width:1}}.empty text{{stroke:none}}
.empty .at{{fill:#57606a}}.thin{{stroke-width:.7}}
.share{{font-size:11px}}.part{{stroke:none;fill-opacity:.35}}.part,text{{pointer-events:none}}
.rule{{stroke:#d0d7de}}.alarm{{fill:#fff1ee;stroke:#b42318}}.alarmText{{font-size:13px;fill:#b42318;font-weight:bold}}
</style>
<rect width="{0}" height="{1}" rx="8" fill="#f6f8fa"/>
)";

std::string escaped(const std::string& text, int columns) {
  std::string result;
  for (const char c : fitted(text, columns, Charset::Utf8)) {
    const auto at = std::string_view("&<>\"").find(c);
    constexpr const char* kEntities[] = {"&amp;", "&lt;", "&gt;", "&quot;"};
    result += at == std::string_view::npos ? std::string(1, c) : kEntities[at];
  }
  return result;
}

std::string text(int x, int y, const char* style, const std::string& content,
                 const char* anchor = "start") {
  if (content.empty()) return "";
  return fmt::format("<text x=\"{}\" y=\"{}\" class=\"{}\" text-anchor=\"{}\">{}</text>\n", x, y,
                     style, anchor, content);
}

std::string titleOf(const MapCell& cell) {
  const std::string drive =
      cell.serial.empty() ? "" : fmt::format(" (drive {})", escaped(cell.serial, kLongestTitle));
  return fmt::format("<title>{}{}: {}</title>", cell.number(), drive,
                     cell.isFull ? escaped(cell.label(), kLongestTitle) : "empty");
}

std::string titleOf(const MapSection& section, const MapRow& row, const MapPlace& place) {
  const long long first = row.address + static_cast<long long>(place.column) * section.step();
  return fmt::format("<title>{}–{}: {} of {} {}</title>", first, first + section.step() - 1,
                     place.full, place.elements, section.filled);
}

/// How cells are laid out by address.
struct Grid {
  int columns;
  int columnsPerHead;
  int width;  ///< of a cell
  int height;
  int between;
};

constexpr Grid kLargeSquares{50, 10, 13, 13, 3};
constexpr Grid kSmallSquares{100, 10, 6, 9, 2};
constexpr Grid kHundreds{20, 1, 37, 22, 4};

/// A picture that grows downwards.
class Drawing {
public:
  explicit Drawing(const LibraryMap& map) {
    int label = 6;
    for (const MapSection& section : map.sections) {
      if (section.cells.size() > kMostLabelled) continue;
      label = std::max({label, section.widest(&MapCell::label), section.widest(&MapCell::serial)});
    }
    constexpr int kPixelsPerTwoColumns = 15;
    const int least = std::min(label, kLongestLabel) * kPixelsPerTwoColumns / 2 + 16;
    // Rows of ten begin with round addresses.
    m_boxesPerRow = std::min((kRoom + kBetweenBoxes) / (least + kBetweenBoxes), 10);
    m_boxWidth = (kRoom + kBetweenBoxes) / m_boxesPerRow - kBetweenBoxes;

    const std::string summary = fmt::format("{}", fmt::join(map.summaries(), " · "));
    m_title = fmt::format("Library {}: {}", escaped(map.library, kLongestTitle), summary);
    header(map, summary);
    for (const MapSection& section : map.sections) {
      if (!section.cells.empty()) draw(section);
    }
  }

  std::string document() const {
    return fmt::format(kHead, kWidth, m_y + kMargin, m_title) + m_body + "</svg>\n";
  }

private:
  void header(const LibraryMap& map, const std::string& summary) {
    constexpr int kNameColumns = 28;
    constexpr double kNameAdvance = 14.6;
    const std::string name = fitted(map.library, kNameColumns, Charset::Utf8);
    const int after = kMargin + static_cast<int>((columnsOf(name) + 1) * kNameAdvance);
    m_body += text(kMargin, m_y + 20, "name", escaped(name, kNameColumns)) +
              text(after, m_y + 20, "about", escaped(map.identity, 34)) +
              text(kMargin, m_y + 46, "count", summary);
    if (std::ranges::any_of(map.sections, &MapSection::hasGap)) {
      m_body += text(kRight, m_y + 20, "count", "⋯ or blank: no such address", "end");
    }
    m_y += 58;
    if (map.status == Status{}) return;
    m_body += fmt::format(
                  "<rect class=\"alarm\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"28\" rx=\"4\"/>\n",
                  kMargin, m_y + 4, kRoom) +
              text(kMargin + 12, m_y + 23, "alarmText", "! injected " + statusText(map.status));
    m_y += 40;
  }

  void draw(const MapSection& section) {
    const int after = kMargin + (columnsOf(section.title) + 1) * 9;
    std::string range = section.range("–");
    if (section.step() > 1)
      range += fmt::format(", {} a box", counted(kDenseStep, section.element));
    m_body += text(kMargin, m_y + 28, "head", section.title) +
              text(after, m_y + 28, "count", range) +
              fmt::format("<path class=\"rule\" d=\"M{} {}h{}\"/>\n", kMargin, m_y + 35, kRoom);
    legend(section);
    m_y += 45;
    if (section.cells.size() <= kMostLabelled) return boxes(section);
    grid(section);
  }

  /// A square and a text for each paint, at the right end of the heading.
  void legend(const MapSection& section) {
    const std::size_t full = section.fullCells();
    int x = kRight;
    const auto explain = [&](const std::string& paint, const std::string& meaning) {
      m_body += text(x, m_y + 28, "count", meaning, "end");
      x -= static_cast<int>(columnsOf(meaning) * 7.3) + 18;
      m_body += fmt::format("<path class=\"{}\" d=\"M{} {}h12v12h-12z\"/>\n", paint, x, m_y + 18);
      x -= 14;
    };
    const std::string fill = fmt::format("\" fill=\"{}", section.svgColour);
    if (section.step() == 1) {
      explain("empty", fmt::format("{} empty", section.cells.size() - full));
      explain("full" + fill, fmt::format("{} {}", full, section.filled));
      return;
    }
    explain("empty", "none");
    explain("part" + fill, "partly, in %");
    explain("full" + fill, fmt::format("all {}", section.filled));
  }

  void boxes(const MapSection& section) {
    const int height = section.type == LIB_ELEM_DRIVE ? 56 : 38;
    int at = 0;
    for (const MapCell* cell : section.cellsAndGaps()) {
      const int x = kMargin + at % m_boxesPerRow * (m_boxWidth + kBetweenBoxes);
      const int y = m_y + at / m_boxesPerRow * (height + kBetweenBoxes);
      ++at;
      if (cell == nullptr) {
        m_body += text(x + m_boxWidth / 2, y + height / 2 + 4, "count", "⋯", "middle");
        continue;
      }
      const std::string paint =
          cell->isFull ? fmt::format("full\" fill=\"{}", section.svgColour) : "empty";
      m_body += fmt::format(
          "<g class=\"{}\">{}<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" rx=\"4\"/>", paint,
          titleOf(*cell), x, y, m_boxWidth, height);
      m_body += text(x + 8, y + 14, "at", cell->number());
      m_body += text(x + 8, y + 30, "code", escaped(cell->label(), kLongestLabel)) +
                text(x + 8, y + 47, "at", escaped(cell->serial, kLongestLabel)) + "</g>\n";
    }
    m_y += (at + m_boxesPerRow - 1) / m_boxesPerRow * (height + kBetweenBoxes);
  }

  // Cells of one paint are in one group: a paint for each would double the document's size.
  void grid(const MapSection& section) {
    const Grid grid = section.step() > 1                         ? kHundreds
                      : section.cells.size() > kMostLargeSquares ? kSmallSquares
                                                                 : kLargeSquares;
    constexpr double kDigit = 6.1;
    const auto digits = static_cast<double>(section.cells.back().number().size());
    const int left = kMargin + 8 + static_cast<int>(digits * kDigit);
    const auto xOf = [&](int column) {
      return left + column * (grid.width + grid.between) + column / kGroup * kWiderGap;
    };
    for (int column = 0; column < grid.columns; column += grid.columnsPerHead) {
      m_body += text(xOf(column), m_y + 6, "at", fmt::format("+{}", column * section.step()));
    }
    m_y += 10;
    const int length = grid.columns * section.step();
    std::string full;
    std::string empty;
    for (const MapRow& row : mapRows(section, grid.columns)) {
      if (row.address / length % kGroup == 0) m_y += kWiderGap;
      if (row.isAfterGap) {
        m_body += text(left - 8, m_y + 11, "at", "⋮", "end");
        m_y += 16;
      }
      m_body += text(left - 8, m_y + grid.height / 2 + 4, "at", addressText(row.address), "end");
      for (const MapPlace& place : row.places) {
        const int x = xOf(place.column);
        std::string& group = place.full == place.elements ? full : empty;
        const std::string title =
            section.step() == 1 ? titleOf(*place.first) : titleOf(section, row, place);
        group += fmt::format("<path d=\"M{0} {1}h{2}v{3}h-{2}z\">{4}</path>\n", x, m_y, grid.width,
                             grid.height, title);
        if (section.step() == 1 || place.full == 0) continue;
        const int share = std::max(1, static_cast<int>(place.full * 100 / place.elements));
        const int level = grid.height * share / 100;
        if (share < 100) {
          group +=
              fmt::format("<path class=\"part\" fill=\"{0}\" d=\"M{1} {2}h{3}v-{4}h-{3}z\"/>\n",
                          section.svgColour, x, m_y + grid.height, grid.width, level);
        }
        group += text(x + grid.width / 2, m_y + 15, "share", std::to_string(share), "middle");
      }
      m_y += grid.height + grid.between;
    }
    m_body +=
        fmt::format("<g class=\"full\" fill=\"{}\">\n{}</g>\n<g class=\"empty thin\">\n{}</g>\n",
                    section.svgColour, full, empty);
  }

  int m_boxesPerRow;  // the same in all sections
  int m_boxWidth;
  std::string m_title;
  std::string m_body;
  int m_y = kMargin;
};

}  // namespace

std::string mapSvg(const LibraryMap& map) {
  return Drawing(map).document();
}

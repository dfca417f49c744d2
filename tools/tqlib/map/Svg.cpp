// The picture as SVG. A cell is a box with address and barcode if there are few, otherwise a
// square; pointing at it shows both. Full is filled and empty an outline, so that no colour is
// needed.
#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "TqLibEmulator.h"
#include "map/Map.h"

namespace {

constexpr int kWidth = 960;
constexpr int kMargin = 28;
constexpr int kRight = kWidth - kMargin;
constexpr int kRoom = kRight - kMargin;
constexpr std::size_t kMostBoxes = 200;
constexpr std::size_t kMostLargeSquares = 2500;
constexpr int kBetweenBoxes = 6;
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

/// A picture that grows downwards.
class Drawing {
public:
  explicit Drawing(const LibraryMap& map) {
    int label = 6;
    for (const MapSection& section : map.sections) {
      if (section.cells.size() > kMostBoxes) continue;
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
    static constexpr char kLegend[] =
        "<g class=\"full\" fill=\"#24292f\"><path d=\"M{0} {2}h12v12h-12z\"/></g>\n"
        "<g class=\"empty\"><path d=\"M{1} {2}h12v12h-12z\"/></g>\n";
    m_body += fmt::format(kLegend, kRight - 118, kRight - 58, m_y + 10) +
              text(kRight - 100, m_y + 20, "count", "full") +
              text(kRight - 40, m_y + 20, "count", "empty");
    if (std::ranges::any_of(map.sections, &MapSection::hasGap)) {
      m_body += text(kRight, m_y + 37, "count", "⋯ or blank: no such address", "end");
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
    const std::string count =
        fmt::format("{} of {} {}", section.fullCells(), section.cells.size(), section.filled);
    m_body += text(kMargin, m_y + 28, "head", section.title) +
              text(after, m_y + 28, "count", section.range("–")) +
              text(kRight, m_y + 28, "count", count, "end") +
              fmt::format("<path class=\"rule\" d=\"M{} {}h{}\"/>\n", kMargin, m_y + 35, kRoom);
    m_y += 45;
    if (section.cells.size() <= kMostBoxes) return boxes(section);
    squares(section);
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
  void squares(const MapSection& section) {
    const bool isLarge = section.cells.size() <= kMostLargeSquares;
    const int pitch = isLarge ? 16 : 8;
    const int side = isLarge ? 13 : 6;
    constexpr double kDigit = 6.1;
    const auto digits = static_cast<double>(section.cells.back().number().size());
    const int left = kMargin + 8 + static_cast<int>(digits * kDigit);
    std::string full;
    std::string empty;
    int sinceGap = 0;
    for (const MapRow& row : mapRows(section, isLarge ? 50 : 100, 1)) {
      if (row.isAfterGap) {
        m_body += text(left - 8, m_y + 11, "at", "⋮", "end");
        m_y += 16;
        sinceGap = 0;
      }
      if (isLarge || sinceGap++ % 2 == 0) {
        m_body += text(left - 8, m_y + (isLarge ? 11 : 8), "at", addressText(row.address), "end");
      }
      for (const auto& [cell, place] : row.cells) {
        const int x = left + place * pitch + place / kGroup * 4;
        (cell->isFull ? full : empty) += fmt::format(
            "<path d=\"M{0} {1}h{2}v{2}h-{2}z\">{3}</path>\n", x, m_y, side, titleOf(*cell));
      }
      m_y += pitch;
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

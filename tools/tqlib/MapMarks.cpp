#include "MapMarks.h"

#include <unistd.h>

#include <algorithm>

namespace {

constexpr std::size_t kMostLinesOfSingles = 80;
constexpr std::size_t kMostLines = 40;
constexpr int kGroup = 10;  // marks between two blanks, so that an eye can count

struct Mark {
  int elements = 0;
  int full = 0;
};

struct MarkRow {
  long long number;
  std::vector<Mark> marks;
};

struct Layout {
  long long base;  // the address of the first mark
  int labelColumns;
  int perRow;
};

long long dividedDown(long long value, long long divisor) {
  return value >= 0 ? value / divisor : -((divisor - 1 - value) / divisor);
}

// Rows that begin with round addresses are worth some room at their end.
int roundGroups(int most) {
  constexpr int kRound[] = {30, 25, 20, 15, 12, 10, 8, 5, 4, 3, 2, 1};
  return *std::find_if(std::begin(kRound), std::end(kRound) - 1,
                       [=](int groups) { return groups <= most; });
}

Layout layoutOf(const MapSection& section, int width) {
  const auto placed = std::find_if(section.cells.begin(), section.cells.end(),
                                   [](const MapCell& cell) { return cell.address >= 0; });
  const long long base = placed == section.cells.end() ? 0 : placed->address;
  const int label = static_cast<int>(addressText(section.cells.back().address).size());
  const int room = width - label - 2;
  const int groups = (room + 1) / (kGroup + 1);
  return {base, label, groups > 0 ? kGroup * roundGroups(groups) : std::max(1, room / 5 * 5)};
}

std::vector<MarkRow> rowsOf(const MapSection& section, const Layout& layout, long long perMark) {
  std::vector<MarkRow> rows;
  for (const MapCell& cell : section.cells) {
    const long long mark = dividedDown(cell.address - layout.base, perMark);
    const long long number = dividedDown(mark, layout.perRow);
    if (rows.empty() || rows.back().number != number) {
      rows.push_back({number, std::vector<Mark>(static_cast<std::size_t>(layout.perRow))});
    }
    Mark& found = rows.back().marks[static_cast<std::size_t>(mark - number * layout.perRow)];
    ++found.elements;
    if (cell.isFull) ++found.full;
  }
  return rows;
}

const char* signOf(const Mark& mark, bool isSingle, const MapGlyphs& glyphs) {
  if (mark.elements == 0) return " ";
  if (mark.full == 0) return isSingle ? glyphs.empty : glyphs.density.front();
  if (mark.full == mark.elements) return isSingle ? glyphs.full : glyphs.density.back();
  if (3 * mark.full <= mark.elements) return glyphs.density[1];
  return 3 * mark.full <= 2 * mark.elements ? glyphs.density[2] : glyphs.density[3];
}

// A run of one colour is coloured at once: a row has room for hundreds of marks.
class RowText {
public:
  explicit RowText(Colour colour) : m_colour(colour) {}

  void add(const char* sign, bool isColoured) {
    if (isColoured != m_isColoured) flush();
    m_isColoured = isColoured;
    m_run += sign;
  }
  std::string finish() {
    if (!m_isColoured) m_run.erase(m_run.find_last_not_of(' ') + 1);
    flush();
    return m_text;
  }

private:
  void flush() {
    m_text += m_isColoured ? coloured(m_run, m_colour, STDOUT_FILENO) : m_run;
    m_run.clear();
  }

  Colour m_colour;
  bool m_isColoured = false;
  std::string m_run;
  std::string m_text;
};

std::string lineOf(const MarkRow& row, const Layout& layout, long long perMark, Colour colour,
                   const MapGlyphs& glyphs) {
  const std::string label = addressText(layout.base + row.number * layout.perRow * perMark);
  RowText text(colour);
  const int indent = std::max(0, layout.labelColumns - static_cast<int>(label.size()));
  text.add((repeated(" ", indent) + label + " ").c_str(), false);
  for (std::size_t i = 0; i < row.marks.size(); ++i) {
    if (i % kGroup == 0) text.add(" ", false);
    text.add(signOf(row.marks[i], perMark == 1, glyphs), row.marks[i].full > 0);
  }
  return text.finish();
}

Lines linesOf(const std::vector<MarkRow>& rows, const Layout& layout, long long perMark,
              Colour colour, const MapGlyphs& glyphs) {
  Lines lines;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i > 0 && rows[i].number - rows[i - 1].number > 1) {
      lines.push_back(repeated(" ", layout.labelColumns - 1) + glyphs.skippedRows);
    }
    lines.push_back(lineOf(rows[i], layout, perMark, colour, glyphs));
  }
  return lines;
}

/// 1, 2, 5, 10, 20, 50 and so on.
long long nextStep(long long step) {
  long long power = 1;
  while (power * 10 <= step) power *= 10;
  return step / power == 2 ? step / 2 * 5 : step * 2;
}

}  // namespace

MarkGrid markGrid(const MapSection& section, const MapStyle& style) {
  constexpr long long kAllAddresses = 1LL << 31;
  const Layout layout = layoutOf(section, style.width);
  for (long long perMark = 1;; perMark = nextStep(perMark)) {
    Lines lines =
        linesOf(rowsOf(section, layout, perMark), layout, perMark, colourOf(section), style.glyphs);
    const std::size_t most = perMark == 1 ? kMostLinesOfSingles : kMostLines;
    if (lines.size() <= most || perMark > kAllAddresses) return {perMark, std::move(lines)};
  }
}

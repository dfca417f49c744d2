#include "map/MapMarks.h"

#include <unistd.h>

#include <algorithm>

#include "map/MapRows.h"

namespace {

constexpr std::size_t kMostLinesOfSingles = 50;  // more are no picture to take in at one look
constexpr std::size_t kMostLines = 40;
constexpr int kGroup = 10;  // marks between two blanks, so that an eye can count

struct Mark {
  int elements = 0;
  int full = 0;
};

// Rows that begin with round addresses are worth some room at their end.
int roundGroups(int most) {
  constexpr int kRound[] = {30, 25, 20, 15, 12, 10, 8, 5, 4, 3, 2, 1};
  return *std::find_if(std::begin(kRound), std::end(kRound) - 1,
                       [=](int groups) { return groups <= most; });
}

int marksPerRow(int room) {
  const int groups = (room + 1) / (kGroup + 1);
  return groups > 0 ? kGroup * roundGroups(groups) : std::max(1, room / 5 * 5);
}

std::vector<Mark> marksOf(const MapRow& row, int perRow) {
  std::vector<Mark> marks(static_cast<std::size_t>(perRow));
  for (const PlacedCell& placed : row.cells) {
    Mark& mark = marks[static_cast<std::size_t>(placed.place)];
    ++mark.elements;
    if (placed.cell->isFull) ++mark.full;
  }
  return marks;
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

/// What the lines of a section have in common.
struct LineStyle {
  RowLayout layout;
  int labelColumns;
  Colour colour;
  const MapGlyphs& glyphs;
};

std::string lineOf(const MapRow& row, const LineStyle& style) {
  const std::string label = addressText(row.address);
  RowText text(style.colour);
  const int indent = std::max(0, style.labelColumns - static_cast<int>(label.size()));
  text.add((repeated(" ", indent) + label + " ").c_str(), false);
  int place = 0;
  for (const Mark& mark : marksOf(row, style.layout.perRow)) {
    if (place++ % kGroup == 0) text.add(" ", false);
    text.add(signOf(mark, style.layout.perPlace == 1, style.glyphs), mark.full > 0);
  }
  return text.finish();
}

Lines linesOf(const MapSection& section, const LineStyle& style) {
  Lines lines;
  for (const MapRow& row : mapRows(section, style.layout)) {
    if (row.isAfterGap) {
      lines.push_back(repeated(" ", style.labelColumns - 1) + style.glyphs.skippedRows);
    }
    lines.push_back(lineOf(row, style));
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
  const int label = static_cast<int>(addressText(section.cells.back().address).size());
  const int perRow = marksPerRow(style.width - label - 2);
  for (long long perMark = 1;; perMark = nextStep(perMark)) {
    Lines lines = linesOf(section, {{perRow, perMark}, label, colourOf(section), style.glyphs});
    const std::size_t most = perMark == 1 ? kMostLinesOfSingles : kMostLines;
    if (lines.size() <= most || perMark > kAllAddresses) return {perMark, std::move(lines)};
  }
}

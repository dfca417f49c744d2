// The operator's tool draws a library: in the terminal and as SVG.
#include <algorithm>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "ToolRun.h"

namespace {

using tests::readFile;
using Texts = std::vector<std::string>;

class MapTool : public tests::ToolRun {
protected:
  void TearDown() override { unsetenv("LC_ALL"); }

  std::string map(const std::string& locale, const std::string& options) const {
    setenv("LC_ALL", locale.c_str(), 1);
    const Result result = tqlib("map LIB1 " + options);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  }

  /// A library whose slots hold these barcodes, over and over; an empty one is an empty slot.
  void makeSlots(std::size_t count, const Texts& barcodes) const {
    std::filesystem::remove_all(path("store"));
    makeStore();
    expectDone(
        "library create LIB1 --host H --vendor ACME --model VL --drives 1 --drive-base 0 "
        "--slot-base 5 --slots " +
        std::to_string(count));
    const std::string text = readFile(libraryFile("LIB1"));
    std::string filled = text.substr(0, text.find("<Slots "));
    for (std::size_t slot = 0; slot < count; ++slot) {
      const std::string& barcode = barcodes[slot % barcodes.size()];
      filled += fmt::format(
          "<Slots IsMailSlot='false' IsOccupied='{}'><BaseAddress>{}</BaseAddress><BarCode>{}"
          "</BarCode></Slots>",
          !barcode.empty(), 5 + slot, barcode);
    }
    tests::writeFile(libraryFile("LIB1"), filled + text.substr(text.rfind("</Slots>") + 8));
  }

  std::filesystem::path drawing() const { return path("map.svg"); }
};

std::size_t countOf(const std::string& text, const std::string& wanted) {
  std::size_t count = 0;
  for (auto at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) ++count;
  return count;
}

/// What the drawing says of each cell; nothing when it is not well-formed.
Texts titlesOf(const std::string& svg) {
  xercesc::XMLPlatformUtils::Initialize();
  Texts titles;
  {
    xercesc::XercesDOMParser parser;
    parser.parse(svg.c_str());
    if (parser.getErrorCount() == 0) {
      const auto* found = parser.getDocument()->getElementsByTagName(u"title");
      const XMLSize_t count = found->getLength();  // it walks the whole document
      for (XMLSize_t i = 0; i < count; ++i)
        titles.push_back(MyTranscode(found->item(i)->getTextContent()));
    }
  }
  xercesc::XMLPlatformUtils::Terminate();
  return titles;
}

// Of what these pictures show, only the full-width letters take two columns.
int columnsOf(const std::string& line) {
  int columns = 0;
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) != 0x80) columns += byte == 0xEF ? 2 : 1;
  }
  return columns;
}

const Texts kHostile{"A1",
                     "",
                     std::string(300, 'L'),
                     "\xEF\xBC\xB7\xEF\xBC\xA9\xEF\xBC\xA4\xEF\xBC\xA5"
                     "\xEF\xBC\xB7\xEF\xBC\xA9\xEF\xBC\xA4\xEF\xBC\xA5\xEF\xBC\xB7\xEF\xBC\xA9",
                     "B\t\xC2\x9B"
                     "31m&#x7F;",
                     "\xE2\x80\xAE"
                     "C&lt;&amp;&quot;",
                     "e\xCC\x81"
                     "e"};

TEST_F(MapTool, ASmallLibraryIsBoxesWithAddressAndBarcode) {
  makeSlots(4, {"A1", ""});
  expectDone("element set LIB1 drive:0 --barcode A2");
  expectDone("element set LIB1 shelf:1 --barcode A3");
  expectDone("element set LIB1 shelf:9 --empty");
  expectDone("status set LIB1 --status 2 --asc 4 --ascq 1");
  EXPECT_EQ(map("C", "--width 44"), R"(LIB1   ACME VL
1 of 1 drive loaded   2 of 4 slots full
1 of 2 shelves full
injected:   status 0x02, asc 0x04, ascq 0x01

-- Drives 0 --------------------------------
# 0 ======#
# A2      #
# LIB1D1 =#

-- Slots 5-8 -------------------------------
# 5 =# . 6 .. # 7 =# . 8 ..
# A1 # .    . # A1 # .    .
#====# ...... #====# ......

-- Shelves 1-9 -----------------------------
# 1 =#        . 9 ..
# A3 #   ..   .    .
#====#        ......

= full   . empty   .. no such address
)");
  EXPECT_NE(map("C.UTF-8", "--width 44").find(R"(
┏ 1 ━┓        ┌ 9 ╌┐
┃ A3 ┃   ⋯    ╎    ╎
┗━━━━┛        └╌╌╌╌┘

━ full   ╌ empty   ⋯ no such address
)"),
            std::string::npos);
}

TEST_F(MapTool, NothingIsWiderThanThePictureWhateverTheBarcodes) {
  for (const std::size_t count : {1U, 30U, 130U, 700U, 2600U}) {
    makeSlots(count, kHostile);
    for (const int width : {20, 33, 80, 200}) {
      if (count > 1000 && width != 80) continue;  // many take long, and narrow is seen with fewer
      const char* locale = width == 33 ? "C" : "C.UTF-8";
      std::istringstream picture(map(locale, "--width " + std::to_string(width)));
      int lines = 0;
      for (std::string line; std::getline(picture, line); ++lines) {
        EXPECT_LE(columnsOf(line), width) << count << " slots: " << line;
        for (const char* harmful : {"\t", "\033", "\x7F", "\xE2\x80\xAE", "\xC2\x9B"})
          EXPECT_EQ(line.find(harmful), line.npos) << line;
      }
      EXPECT_LE(lines, 70) << count << " slots in " << width << " columns";
    }
    map("C", "--svg map.svg");
    EXPECT_EQ(titlesOf(drawing()).size(), count + 2) << count;  // the drive and the library too
  }
}

TEST_F(MapTool, ALegendIsWholeInANarrowPictureAndHasEachSignOnce) {
  makeSlots(2600, {"A1", ""});
  const std::string narrow = map("C", "--width 20");
  EXPECT_EQ(narrow.substr(narrow.rfind("\n\n")), R"(

= full   . empty
: up to 1/3
+ up to 2/3   * more
# all full
a mark is 10 slots
)");
  makeSlots(1, {""});
  expectDone("element remove LIB1 slot:5");
  expectDone("drive remove LIB1 LIB1D1");
  EXPECT_EQ(map("C", ""), "LIB1   ACME VL\nno elements\n");
  EXPECT_EQ(countOf(map("C", "--svg -"), "no elements"), 2U);  // in its title too
}

TEST_F(MapTool, EveryMediumIsThereOnceAndTheFullOnesCountUp) {
  const auto titlesWith = [this](const std::string& tail) {
    map("C.UTF-8", "--svg map.svg");
    return std::ranges::count_if(titlesOf(drawing()),
                                 [&](const auto& title) { return title.ends_with(": " + tail); });
  };
  makeSlots(10, {"A&amp;1", "B2", "C3", "D4", "E5", "F6", "G7", "H8", "I9", ""});
  const std::string picture = map("C.UTF-8", "");
  for (const char* barcode : {"A&1", "B2", "C3", "D4", "E5", "F6", "G7", "H8", "I9"}) {
    EXPECT_EQ(countOf(picture, barcode), 1U) << barcode << "\n" << picture;
    EXPECT_EQ(titlesWith(barcode), 1) << barcode;
  }

  makeSlots(1000, {"A1", "", "A3", "A4", "", "A6", "A7"});
  expectDone("element remove LIB1 slot:15");
  const std::string marks = map("C.UTF-8", "--width 80");
  EXPECT_EQ(ask("map LIB1")["summary"]["slots"]["full"], 713);
  EXPECT_EQ(countOf(marks, "■"), 713U + 1) << marks;  // one is the legend's
  EXPECT_EQ(countOf(marks, "□"), 286U + 1) << marks;
  EXPECT_NE(marks.find("\n   5  ■□■■□■■■□■  □■■■□■■□■"), marks.npos) << marks;
  EXPECT_EQ(titlesWith("empty"), 286 + 1);  // and the drive
}

TEST_F(MapTool, ADrawingThatCannotBeWrittenLeavesTheOldOne) {
  makeSlots(10, {"A1"});
  map("C", "--svg map.svg");
  EXPECT_EQ(map("C", "--svg -"), readFile(drawing()));
  tests::writeFile(drawing(), "old");
  letSavesFail();
  expectRefused(1, "map LIB1 --svg map.svg", "cannot write");
  EXPECT_EQ(readFile(drawing()), "old");
  const auto files = std::filesystem::directory_iterator(m_folder.path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 4);  // map.svg, out, err, store
  expectRefused(1, "map NONE", "no such library");
  expectRefused(2, "map LIB1 --width 5", "--width");
}

}  // namespace

// The operator's tool draws a library: in the terminal and as SVG.
#include <fmt/format.h>

#include "ToolRun.h"
#include "common/XercesObject.h"
#include "files/ParsedFile.h"

namespace tests {
namespace {

using Texts = std::vector<std::string>;

class MapTool : public ToolRun {
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
    tqlib("library remove LIB1 --purge --yes");
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
    writeFile(libraryFile("LIB1"), filled + text.substr(text.rfind("</Slots>") + 8));
  }

  std::string drawing() const {
    map("C.UTF-8", "--svg map.svg");
    XercesObject::instance().Init();
    EXPECT_EQ(parseFile(path("map.svg")).error, "");
    return readFile(path("map.svg"));
  }
};

std::size_t countOf(const std::string& text, const std::string& wanted) {
  std::size_t count = 0;
  for (auto at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) ++count;
  return count;
}

const Texts kHostile{"A1",
                     "",
                     std::string(300, 'L'),
                     "ＷＩＤＥＷＩＤＥＷＩ",
                     "B\t\u009B31m&#x7F;",
                     "\u202EC&lt;&amp;&quot;",
                     "e\u0301e"};

TEST_F(MapTool, ASmallLibraryIsBoxesWithAddressAndBarcode) {
  makeSlots(4, {"A1", ""});
  expectDone("element set LIB1 drive:0 --barcode A2");
  expectDone("element set LIB1 shelf:1 --new --barcode A3");
  expectDone("element set LIB1 shelf:9 --new --empty");
  expectDone("status set LIB1 --status 2 --asc 4 --ascq 1");
  EXPECT_EQ(map("C", "--width 44"), R"(LIB1  ACME VL
1 of 1 drive loaded  2 of 4 slots full
1 of 2 shelves full
injected:  status 0x02, asc 0x04, ascq 0x01

- Drives 0  = 1 loaded  . 0 empty ----------
# 0 ======#
# A2      #
# LIB1D1 =#

- Slots 5-8  = 2 full  . 2 empty -----------
# 5 =# . 6 .. # 7 =# . 8 ..
# A1 # .    . # A1 # .    .
#====# ...... #====# ......

- Shelves 1-9  = 1 full  . 1 empty
.. no such address -------------------------
# 1 =#        . 9 ..
# A3 #   ..   .    .
#====#        ......
)");
}

TEST_F(MapTool, NothingIsWiderThanThePictureWhateverTheBarcodes) {
  for (const std::size_t count : {1U, 30U, 130U, 700U, 2600U}) {
    makeSlots(count, kHostile);
    for (const int width : {20, 33, 80, 200}) {
      if (count > 1000 && width != 80) continue;  // many take long, and narrow is seen with fewer
      const char* locale = width == 33 ? "C" : "C.UTF-8";
      const std::string picture = map(locale, "--width " + std::to_string(width));
      for (const char* harmful : {"\t", "\033", "\x7F", "\u202E", "\u009B"})
        EXPECT_EQ(picture.find(harmful), picture.npos) << picture;
      writeFile(path("picture"), picture);
      const int columns = std::stoi(run("env LC_ALL=C.UTF-8 wc -L <picture").out);
      EXPECT_TRUE(columns > 0 && columns <= width) << picture;
    }
    EXPECT_EQ(countOf(drawing(), "<title>"), count + 2) << count;  // the drive and the library too
  }
}

TEST_F(MapTool, EveryMediumIsShownOnceAndTheCountsMatch) {
  makeSlots(1000, {"A1", "", "A3", "A4", "", "A6", "A7"});
  expectDone("element remove LIB1 slot:15 --force");
  const std::string marks = map("C.UTF-8", "--width 80");
  EXPECT_EQ(ask("map LIB1")["summary"]["slots"]["full"], 713);
  EXPECT_EQ(countOf(marks, "■"), 713U + 1) << marks;  // one is the legend's
  EXPECT_EQ(countOf(marks, "□"), 286U + 1) << marks;
  EXPECT_NE(marks.find("\n   0       ■□■■□ ■■■□■ □■■■ "), marks.npos) << marks;
  EXPECT_EQ(countOf(drawing(), ": A7</title>"), 142U);
  EXPECT_EQ(countOf(drawing(), ": empty</title>"), 286U + 1);  // and the drive
}

TEST_F(MapTool, BarcodesStayReadableAndFitOnAScreen) {
  makeSlots(96, {"A00001L8", ""});
  const struct {
    int width;
    std::ptrdiff_t lines;
  } screens[] = {
      {.width = 20, .lines = 110}, {.width = 40, .lines = 65}, {.width = 200, .lines = 50}};
  for (const auto& screen : screens) {
    const std::string picture = map("C.UTF-8", fmt::format("--width {}", screen.width));
    EXPECT_EQ(countOf(picture, "A00001L8"), 48U) << picture;
    EXPECT_EQ(countOf(picture, "…"), 0U) << picture;
    EXPECT_LE(std::ranges::count(picture, '\n'), screen.lines) << picture;
  }
}

TEST_F(MapTool, TenThousandAndMoreShowHowFullEachHundredIs) {
  Texts barcodes(100, "A");
  barcodes.resize(200);  // the slots begin at 5: the hundreds hold 95, 5, 50, 95 and so on
  barcodes.resize(250, "A");
  barcodes.resize(300);
  makeSlots(12000, barcodes);
  const struct {
    const char* locale;
    const char* options;
    const char* shown;
  } pictures[] = {
      {.locale = "C.UTF-8", .options = "--width 80", .shown = "\n    0  █▁▄▇▁▄▇▁▄▇ ▁▄▇▁▄▇▁▄▇▁ "},
      {.locale = "C", .options = "--width 40", .shown = "\n 2000  5915915915 9159159159\n"},
      {.locale = "C", .options = "--width 40", .shown = "\n       +0         +1000\n"},
      {.locale = "C", .options = "--width 20", .shown = "slots\nfull\n"},
      {.locale = "C", .options = "--svg -", .shown = ">100–199: 5 of 100 full<"}};
  for (const auto& picture : pictures) {
    const std::string drawn = map(picture.locale, picture.options);
    EXPECT_NE(drawn.find(picture.shown), drawn.npos) << picture.shown << drawn;
  }
  const std::string svg = drawing();
  EXPECT_EQ(countOf(svg, "<title>"), 121U + 2);
  EXPECT_EQ(countOf(svg, "class=\"part\""), 119U + 1);  // one is the legend's
  const std::string full = svg.substr(svg.rfind("<g class=\"full\""));
  EXPECT_EQ(countOf(full.substr(0, full.find("</g>")), "<title>"), 1U);
}

TEST_F(MapTool, ARangeIsDrawnAloneAndWhatIsNotThereIsRefused) {
  makeSlots(20, {"A1", ""});
  expectDone("element set LIB1 drive:0 --barcode B1");
  const struct {
    const char* elements;
    std::size_t drives;
    std::size_t slots;
  } ranges[] = {{.elements = "slot:7-9", .drives = 0, .slots = 3},
                {.elements = "slot:24-99", .drives = 0, .slots = 1},
                {.elements = "drive:lib1d1", .drives = 1, .slots = 0},
                {.elements = "B1", .drives = 1, .slots = 0}};
  for (const auto& range : ranges) {
    const auto summary = ask(std::string("map LIB1 ") + range.elements)["summary"];
    EXPECT_EQ(summary["drives"]["count"], range.drives) << range.elements;
    EXPECT_EQ(summary["slots"]["count"], range.slots) << range.elements;
  }
  expectRefused(1, "map LIB1 slot:30-40", "library LIB1 has no slot:30-40");
  expectRefused(1, "map LIB1 mail:1-9", "library LIB1 has no mail:1-9");
}

TEST_F(MapTool, TheLegendHasTheColoursOfThePicture) {
  makeSlots(2, {"A1", ""});
  const std::string text = run("env -u NO_COLOR TERM=xterm LC_ALL=C script -qec \"'" TQLIB_BINARY
                               "' map LIB1\" typescript")
                               .out;
  EXPECT_NE(text.find("\033[36m= 1 full\033[0m  . 1 empty"), text.npos) << text;
  EXPECT_NE(text.find("\033[36m# 5 =#\033[0m"), text.npos) << text;
  EXPECT_EQ(countOf(drawing(), "class=\"full\" fill=\"#0a5394\""), 2U);  // legend and slot
}

TEST_F(MapTool, AnEmptyLibraryIsDrawnAndAFailureLeavesTheOldDrawing) {
  makeSlots(1, {""});
  expectDone("element remove LIB1 slot:5");
  expectDone("drive remove LIB1 LIB1D1");
  EXPECT_EQ(map("C", ""), "LIB1  ACME VL\nno elements\n");
  EXPECT_EQ(countOf(drawing(), "no elements"), 2U);  // in its title too
  EXPECT_EQ(map("C", "--svg -"), drawing());
  writeFile(path("map.svg"), "old");
  letSavesFail();
  expectRefused(1, "map LIB1 --svg map.svg", "cannot write");
  EXPECT_EQ(readFile(path("map.svg")), "old");
  expectRefused(2, "map LIB1 --width 5", "--width");
}

}  // namespace
}  // namespace tests

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
  std::string map(const std::string& locale, const std::string& options) const {
    const Result result = run("env LC_ALL=" + locale + " '" TQLIB_BINARY "' map LIB1 " + options);
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
        EXPECT_THAT(picture, Not(HasSubstr(harmful)));
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
  EXPECT_THAT(marks, HasSubstr("\n   0       ■□■■□ ■■■□■ □■■■ "));
  EXPECT_EQ(countOf(drawing(), ": A7</title>"), 142U);
  EXPECT_EQ(countOf(drawing(), ": empty</title>"), 286U + 1);  // and the drive
}

TEST_F(MapTool, UsualBarcodesAreNotCutOff) {
  makeSlots(96, {"A00001L8", ""});
  for (const char* width : {"--width 20", "--width 40", "--width 200"})
    EXPECT_EQ(countOf(map("C.UTF-8", width), "A00001L8"), 48U) << width;
}

TEST_F(MapTool, TenThousandAndMoreShowHowFullEachHundredIs) {
  Texts barcodes(100, "A");
  barcodes.resize(200);  // the slots begin at 5: the hundreds hold 95, 5, 50, 95 and so on
  barcodes.resize(250, "A");
  barcodes.resize(300);
  makeSlots(12000, barcodes);
  EXPECT_THAT(map("C.UTF-8", "--width 80"), HasSubstr("\n    0  █▁▄▇▁▄▇▁▄▇ ▁▄▇▁▄▇▁▄▇▁ "));
  const std::string plain = map("C", "--width 40");
  EXPECT_THAT(plain, HasSubstr("\n 2000  5915915915 9159159159\n"));
  EXPECT_THAT(plain, HasSubstr("\n       +0         +1000\n"));
  const std::string svg = drawing();
  EXPECT_THAT(svg, HasSubstr(">100–199: 5 of 100 full<"));
  EXPECT_EQ(countOf(svg, "<title>"), 121U + 2);
  EXPECT_EQ(countOf(svg, "class=\"part\""), 119U + 1);  // one is the legend's
  const std::string full = svg.substr(svg.rfind("<g class=\"full\""));
  EXPECT_EQ(countOf(full.substr(0, full.find("</g>")), "<title>"), 1U);
}

TEST_F(MapTool, ARangeIsDrawnAloneAndWhatIsNotThereIsRefused) {
  makeSlots(20, {"A1", ""});
  expectDone("element set LIB1 drive:0 --barcode B1");
  const auto counts = [this](const std::string& elements) {
    const auto summary = ask("map LIB1 " + elements)["summary"];
    return std::pair<int, int>(summary["drives"]["count"], summary["slots"]["count"]);
  };
  EXPECT_EQ(counts("slot:7-9"), std::pair(0, 3));
  EXPECT_EQ(counts("slot:24-99"), std::pair(0, 1));
  EXPECT_EQ(counts("drive:lib1d1"), std::pair(1, 0));
  EXPECT_EQ(counts("B1"), std::pair(1, 0));
  expectRefused(1, "map LIB1 mail:1-9", "library LIB1 has no mail:1-9");
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

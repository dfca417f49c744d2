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
    tqlib("library remove LIB1 --purge");
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
      const std::string measured = run("env LC_ALL=C.UTF-8 wc -l -L <picture").out;
      int lines = 0;
      int columns = 0;
      std::istringstream(measured) >> lines >> columns;
      EXPECT_TRUE(columns > 0 && columns <= width) << picture;
      EXPECT_LE(lines, 70) << picture;
    }
    EXPECT_EQ(countOf(drawing(), "<title>"), count + 2) << count;  // the drive and the library too
  }
}

TEST_F(MapTool, EveryMediumIsShownOnceAndTheCountsMatch) {
  makeSlots(1000, {"A1", "", "A3", "A4", "", "A6", "A7"});
  expectDone("element remove LIB1 slot:15");
  const std::string marks = map("C.UTF-8", "--width 80");
  EXPECT_EQ(ask("map LIB1")["summary"]["slots"]["full"], 713);
  EXPECT_EQ(countOf(marks, "■"), 713U + 1) << marks;  // one is the legend's
  EXPECT_EQ(countOf(marks, "□"), 286U + 1) << marks;
  EXPECT_NE(marks.find("\n   5  ■□■■□■■■□■  □■■■□■■□■"), marks.npos) << marks;
  EXPECT_EQ(countOf(drawing(), ": A7</title>"), 142U);
  EXPECT_EQ(countOf(drawing(), ": empty</title>"), 286U + 1);  // and the drive
}

TEST_F(MapTool, AnEmptyLibraryIsDrawnAndAFailureLeavesTheOldDrawing) {
  makeSlots(1, {""});
  expectDone("element remove LIB1 slot:5");
  expectDone("drive remove LIB1 LIB1D1");
  EXPECT_EQ(map("C", ""), "LIB1   ACME VL\nno elements\n");
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

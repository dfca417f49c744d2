// The tool, run as an operator runs it: media are added, found and moved, one or many.
#include "ToolRun.h"

namespace tests {
namespace {

class ToolMedia : public ToolRun {
protected:
  ToolMedia() {
    makeLibrary("LIB0");
    makeLibrary("LIB1");
    expectDone("element set LIB0 slot:1000 --barcode OTHER");
    expectDone("element set LIB1 slot:1000-1001 --barcode-pattern 'A{08..09}L8'");
  }
  std::string media() const {
    return listed("elements", {"element", "barcode"}, "elements LIB1 --full");
  }
};

const struct {
  const char* arguments;
  const char* reason;
  int exitCode = 1;
} kSlips[] = {
    {"element set LIB1 slot:1000 --barcode B", "slot:1000 holds A08L8"},
    {"element set LIB1 slot:1002 --barcode A09L8", "A09L8 is in slot:1001 of library LIB1\n"},
    {"element set LIB1 slot:1002 --barcode slot:1", "name of an element"},
    {"element set LIB1 slot:1002 --barcode ' B'", "white space"},
    {"find ''", "empty", 2},
    {"element set LIB1 slot:1002 --barcode x/y", "x/y"},
    {"element set LIB1 slot:1003 --barcode B", "no slot:1003"},
    {"element set LIB1 shelf:1 --barcode B", "no shelf:1"},
    {"element set LIB1 slot:999-1000 --empty", "no slot:999"},
    {"element set LIB1 slot:1002 --barcodes two", "2 barcodes for 1 element", 2},
    {"element set LIB1 mail:10-11 --replace --barcodes twice", "B is given twice"},
    {"element set LIB1 slot:1002 --barcode-pattern 'B{2..1}'", "0 barcodes", 2},
    {"element set LIB1 slot:1002 --barcode B --empty", "give one of", 2},
    {"element set LIB1 slot:5-4 --empty", "slot:5-4", 2},
    {"element set LIB1 slot:0-2000000000 --empty", "200000", 2},
    {"element set LIB1 slot:1002 --barcode-pattern 'B{0..99999999}'", "200000", 2},
    {"element remove LIB1 slot:1000-1002", "holds A08L8"},
    {"load LIB1 OTHER", "no medium OTHER"},
    {"load LIB1 A08L8 slot:1002", "slot:1002 is not a drive"},
    {"load LIB1 A08L8 drive:nine", "no drive:nine"},
    {"unload LIB1 A08L8", "slot:1000 is not a drive"},
    {"move LIB1 A08L8 slot:1001", "slot:1001 holds A09L8"},
    {"move LIB1 slot:1000 slot:7", "has no slot:7"},
    {"move LIB1 --file pairs",
     "pairs, line 3: cannot move slot:1000 to slot:1002: slot:1000 is empty"},
    {"move LIB1 slot:1000", "TO", 2},
    {"elements LIB1 slot:7-9", "no slot:7-9"},
};

TEST_F(ToolMedia, ASlipLosesAndDoublesNoMedium) {
  const std::string before = readFile(libraryFile("LIB1"));
  writeFile(path("two"), "A\nB\n");
  writeFile(path("twice"), "B\nB\n");
  writeFile(path("pairs"), "A08L8 drive:500\n\nslot:1000 slot:1002\n");
  for (const auto& one : kSlips) expectRefused(one.exitCode, one.arguments, one.reason);
  EXPECT_EQ(readFile(libraryFile("LIB1")), before);
}

TEST_F(ToolMedia, ALibraryThatCannotBeReadMayHaveTheMedium) {
  const std::string whole = readFile(libraryFile("LIB0"));
  writeFile(libraryFile("LIB0"), whole.substr(0, whole.find("OTHER") + 9));
  for (const char* command :
       {"element set LIB1 slot:1002 --barcode OTHER", "volume remove OTHER --yes"}) {
    tqlib("volume write OTHER --mark 0 --new --yes </dev/null");
    expectRefused(1, command, "library LIB0 cannot be read, and may have that medium");
  }
  expectDone("element set LIB1 slot:1002 --barcode NEW");
  writeFile(libraryFile("LIB0"), whole);
  fs::remove(path("store/LibEmulator/LibraryList.xml"));
  expectRefused(1, "volume remove OTHER --yes", "OTHER is in slot:1000 of library LIB0");
  expectRefused(1, "drive add LIB1 lib0d1 --host H", "another library has a drive");
}

TEST_F(ToolMedia, NoElementIsChosenAmongSeveralOfOneAddress) {
  run("sed -i 's/>1002</>1001</' store/LibEmulator/Lib_LIB1.xml");
  for (const char* command : {"element set LIB1 slot:1001 --barcode B --replace",
                              "element remove LIB1 slot:1001 --force", "unload LIB1 slot:1001"})
    expectRefused(1, command, "two elements are slot:1001");
}

TEST_F(ToolMedia, AnElementThatIsMarkedEmptyKeepsItsBarcode) {
  run("sed -i '0,/Occupied=\"true\"/s//Occupied=\"0\"/' store/LibEmulator/Lib_LIB1.xml");
  const std::string text = readFile(libraryFile("LIB1"));
  for (const char* command :
       {"element set LIB1 slot:1000 --barcode B", "element remove LIB1 slot:1000-1002 --force",
        "move LIB1 A09L8 slot:1000", "load LIB1 slot:1000"})
    expectRefused(1, command, "slot:1000 is marked empty, but has the barcode A08L8");
  expectRefused(1, "element set LIB0 slot:1001 --barcode A08L8", "slot:1000 of library LIB1");
  EXPECT_EQ(readFile(libraryFile("LIB1")), text);
}

TEST_F(ToolMedia, ManyElementsAreSetInOneStep) {
  writeFile(path("barcodes"),
            "\xEF\xBB\xBF"
            "A09L8\n\n  A08L8 \n");
  expectDone("element set LIB1 slot:1000-1001 --barcodes barcodes --replace");
  expectDone("element set LIB1 slot:2000 --barcode NEW --new");
  EXPECT_EQ(media(), "slot:1000/A09L8 slot:1001/A08L8 slot:2000/NEW ");
  expectDone("element set LIB1 A08L8 --empty");
  expectDone("element remove LIB1 slot:1001-2000 --force");
  EXPECT_EQ(media(), "slot:1000/A09L8 ");
  EXPECT_EQ(listed("elements", {"element"}, "elements LIB1 slot:1000-1999"), "slot:1000 ");
  EXPECT_EQ(listed("elements", {"element"}, "elements LIB1 mail:10"), "mail:10 ");
  EXPECT_EQ(listed("elements", {"element"}, "elements LIB1 --barcode 'A*8'"), "slot:1000 ");
  EXPECT_EQ(listed("elements", {"element"}, "elements LIB1 --empty"),
            "drive:500 drive:501 mail:10 mail:11 ");
}

TEST_F(ToolMedia, MediaAreMovedByBarcodeAndDriveBySerialNumber) {
  const std::pair<const char*, const char*> kSteps[] = {
      {"load LIB1 A09L8", "drive:500/A09L8 slot:1000/A08L8 "},
      {"load LIB1 slot:1000", "drive:500/A09L8 drive:501/A08L8 "},
      {"unload LIB1 drive:lib1d1", "drive:501/A08L8 slot:1000/A09L8 "},
      {"unload LIB1 A08L8 mail:11", "mail:11/A08L8 slot:1000/A09L8 "},
      {"move LIB1 slot:1000 slot:1001", "mail:11/A08L8 slot:1001/A09L8 "},
      {"move LIB1 A09L8 drive:LIB1D2", "drive:501/A09L8 mail:11/A08L8 "},
      {"move LIB1 --file pairs", "drive:500/A09L8 drive:501/A08L8 "},
  };
  writeFile(path("pairs"), "drive:501 slot:1002\nA08L8\tdrive:501\nA09L8  drive:500\n");
  for (const auto& [command, expected] : kSteps) {
    expectDone(command);
    EXPECT_EQ(media(), expected) << command;
  }
}

TEST_F(ToolMedia, AMediumIsFoundInEveryLibraryAndAmongTheVolumes) {
  expectDone("element set LIB0 slot:1001 --barcode 'A&B'");
  run("printf abc | '" TQLIB_BINARY "' volume write A08L8 --mark 0");
  EXPECT_EQ(
      listed("media", {"barcode", "library", "element", "filemarks", "bytes"}, "find A08L8 'A&B'"),
      "A&B/LIB0/slot:1001/null/null A08L8/LIB1/slot:1000/1/3 ");
  expectRefused(1, "find NONE", "NONE");
  writeFile(libraryFile("LIB0"), "A08L8 <broken");
  const Result unread = tqlib("find A08L8");
  EXPECT_EQ(unread.exitCode, 1);
  EXPECT_THAT(unread.err, HasSubstr("LIB0"));
  EXPECT_THAT(unread.out, HasSubstr("slot:1000"));
  run("sed -i s/A09L8/A08L8/ store/LibEmulator/Lib_LIB1.xml");
  expectRefused(1, "load LIB1 A08L8", "A08L8 is in slot:1000 and in slot:1001");
}

}  // namespace
}  // namespace tests

#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

const std::string kEmptyMailSlot = "<Slots IsOccupied='false'><BaseAddress>";
const std::string kLibrary =
    documentOf("[4@500 4@501:D1 3@1 2@1:T1 " + kEmptyMailSlot +
               "2</BaseAddress><BarCode>X</BarCode></Slots>"
               "<Slots><BaseAddress>3</BaseAddress><BarCode/></Slots>"
               "<Slots><BaseAddress>4</BaseAddress><BarCode><x/></BarCode></Slots>" +
               kEmptyMailSlot + "5</BaseAddress></Slots>" + kEmptyMailSlot +
               "6</BaseAddress><BarCode><x/></BarCode></Slots>] 5@1");

struct Refusal {
  const char* name;
  const char* from;
  const char* to;
  int code;
  const char* reason;  // of a failed move; of an element not found, which one
};

LibElement place(const char* text) {
  return described(text)[0];
}

bool move(TqLibEmulator& emulator, const LibElement& from, const LibElement& to) {
  return emulator.MoveVirtualLibraryElement("A", from.elementType, from.elementAddress,
                                            to.elementType, to.elementAddress);
}

class MediumMove : public testing::TestWithParam<Refusal> {};

TEST_P(MediumMove, IsRefusedWithItsReasonAndLeavesTheFileUntouched) {
  const Refusal& c = GetParam();
  TempCatalogue catalogue;
  writeFile(catalogue.libraryFile("A"), kLibrary);
  TqLibEmulator emulator;
  EXPECT_FALSE(move(emulator, place(c.from), place(c.to)));
  EXPECT_EQ(emulator.getErrorCode(), c.code);
  const auto named = [](const char* text) {
    return " of Type " + std::string(1, *text) + ", Address " + (text + 2);
  };
  const std::string file = " in XML File " + catalogue.libraryFile("A") + " for Library Lib_A.xml";
  if (c.code == 50009) {
    const bool isSource = std::string(c.reason) == "Source";
    EXPECT_EQ(lastError(emulator), "Cannot Find " + std::string(c.reason) + " LibElement" +
                                       named(isSource ? c.from : c.to) + file);
    EXPECT_TRUE(catalogue.logged(lastError(emulator)));
  } else {
    EXPECT_EQ(lastError(emulator), "Failed to move element from Source Element" + named(c.from) +
                                       " to Destination LibElement" + named(c.to) + file +
                                       " due to error " + c.reason);
    EXPECT_EQ(catalogue.log(), "");
  }
  EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", kLibrary}}));
}

const Refusal kRefusals[] = {
    {"EmptySource", "3@1", "4@500", 40018, ""},
    {"EmptySourceBeforeOccupiedDestination", "3@1", "4@501", 40018, ""},
    {"OccupiedDrive", "2@1", "4@501", 40006, ""},
    {"OntoItself", "2@1", "2@1", 40006, ""},
    {"NoSource", "2@9", "4@500", 50009, "Source"},
    {"SourceOfAnUnknownType", "7@1", "9@9", 50009, "Source"},
    {"NoDestination", "2@1", "4@9", 50009, "Destination"},
    {"DestinationOfAnUnknownType", "2@1", "0@1", 50009, "Destination"},
    {"SourceWithoutBarCode", "3@3", "4@500", 0, ""},
    {"UnreadableSource", "3@4", "4@500", 0, "Failed to read value for Source Element BarCode"},
    {"EmptyDestinationWithBarCode", "2@1", "3@2", 0, ""},
    {"DestinationWithoutBarCodeElement", "2@1", "3@5", 0, ""},
    {"UnreadableDestination", "2@1", "3@6", 0,
     "Failed to read value for Destination Element BarCode"}};

INSTANTIATE_TEST_SUITE_P(Table, MediumMove, testing::ValuesIn(kRefusals),
                         [](const auto& test) { return test.param.name; });

TEST(MediumMoves, CarryTheBarCodeFromPlaceToPlace) {
  TempCatalogue catalogue;
  LibraryBuilder("A").mailSlots(10, 1).slots(1000, 2).drives(500, 1).build();
  TqLibEmulator emulator;
  ASSERT_TRUE(emulator.SetVirtualLibraryElement("A", described("2@1000:T1 5@1"), false));
  const std::string file = compact(readFile(catalogue.libraryFile("A")));
  LibElement from = place("2@1000");
  for (const LibElement& to : described("4@500 3@10 5@1 2@1001 2@1000")) {
    ASSERT_TRUE(move(emulator, from, to));
    std::vector<std::string> expected{"4@500", "3@10", "2@1000", "2@1001", "5@1"};
    for (std::string& e : expected)
      if (e == describe(to)) e += ":T1";
    EXPECT_EQ(elements("A"), expected);
    from = to;
  }
  EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), file);  // nothing is left behind
  EXPECT_EQ(emulator.getErrorCode(), 0);
}

TEST(MediumMoves, NeedTheRightLibraryUnlessBothPlacesAreShelves) {
  const std::string many = "More than one Library node found in the XML Document";
  for (const auto& [libraries, message] :
       {std::pair<std::string, std::string>{"", many},
        {"[][]", many},
        {"<Library Name=\"Lib_a\"/>", "Library A not found in the XML Doc"}}) {
    TempCatalogue catalogue;
    const std::string xml = documentOf(libraries + "5@1:T1 5@2");
    writeFile(catalogue.libraryFile("A"), xml);
    TqLibEmulator emulator;
    EXPECT_FALSE(move(emulator, place("5@1"), place("3@2")));
    EXPECT_FALSE(move(emulator, place("4@1"), place("5@2")));
    EXPECT_EQ(emulator.getErrorCode(), 50008);
    EXPECT_EQ(lastError(emulator), "");
    EXPECT_TRUE(catalogue.logged(message)) << catalogue.log();
    EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
    EXPECT_TRUE(move(emulator, place("5@1"), place("5@2")));
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), documentOf(libraries + "5@1 5@2:T1"));
  }
  TempCatalogue empty;
  TqLibEmulator emulator;
  EXPECT_FALSE(move(emulator, place("5@1"), place("5@2")));
  EXPECT_TRUE(empty.files().empty());
}

}  // namespace
}  // namespace tests

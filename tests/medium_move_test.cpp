#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

const std::string kLibrary = R"(<Devices>
<Library Name="Lib_A">
  <Drive IsOccupied="false"><BarCode/><BaseAddress>500</BaseAddress></Drive>
  <Drive IsOccupied="true"><BarCode>D1</BarCode><BaseAddress>501</BaseAddress></Drive>
  <Slots IsMailSlot="true" IsOccupied="false"><BaseAddress>1</BaseAddress><BarCode/></Slots>
  <Slots IsMailSlot="false" IsOccupied="true">
    <BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots>
  <Slots IsMailSlot="false" IsOccupied="false">
    <BaseAddress>2</BaseAddress><BarCode>X</BarCode></Slots>
  <Slots IsMailSlot="false" IsOccupied="true"><BaseAddress>3</BaseAddress><BarCode/></Slots>
  <Slots IsMailSlot="false" IsOccupied="true">
    <BaseAddress>4</BaseAddress><BarCode><x/></BarCode></Slots>
  <Slots IsMailSlot="false" IsOccupied="false"><BaseAddress>5</BaseAddress></Slots>
  <Slots IsMailSlot="false" IsOccupied="false">
    <BaseAddress>6</BaseAddress><BarCode><x/></BarCode></Slots>
</Library>
<Shelf IsOccupied="false"><BaseAddress>1</BaseAddress><BarCode/></Shelf>
</Devices>)";

struct Place {
  int type;
  int address;
};

struct Refusal {
  const char* name;
  Place from;
  Place to;
  int code;
  const char* reason;  // of a failed move; null when an element is not found
  const char* missing = "";
};

class MediumMove : public testing::TestWithParam<Refusal> {};

std::string place(const Place& p) {
  return "Type " + std::to_string(p.type) + ", Address " + std::to_string(p.address);
}

TEST_P(MediumMove, IsRefusedWithItsReasonAndLeavesTheFileUntouched) {
  const Refusal& c = GetParam();
  TempCatalogue catalogue;
  writeFile(catalogue.libraryFile("A"), kLibrary);
  TqLibEmulator emulator;
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", c.from.type, c.from.address, c.to.type,
                                                  c.to.address));
  EXPECT_EQ(emulator.getErrorCode(), c.code);
  const std::string file = " in XML File " + catalogue.libraryFile("A") + " for Library Lib_A.xml";
  const std::string text = lastError(emulator);
  if (c.reason != nullptr) {
    EXPECT_EQ(text, "Failed to move element from Source Element of " + place(c.from) +
                        " to Destination LibElement of " + place(c.to) + file + " due to error " +
                        c.reason);
    EXPECT_EQ(catalogue.log(), "");
  } else {
    const bool source = std::string(c.missing) == "Source";
    EXPECT_EQ(text, "Cannot Find " + std::string(c.missing) + " LibElement of " +
                        place(source ? c.from : c.to) + file);
    EXPECT_TRUE(catalogue.logged(text));
  }
  EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", kLibrary}}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, MediumMove,
    testing::Values(
        Refusal{"EmptySource", {3, 1}, {4, 500}, 40018, ""},
        Refusal{"EmptySourceBeforeOccupiedDestination", {3, 1}, {4, 501}, 40018, ""},
        Refusal{"OccupiedDrive", {2, 1}, {4, 501}, 40006, ""},
        Refusal{"OntoItself", {2, 1}, {2, 1}, 40006, ""},
        Refusal{"NoSource", {2, 9}, {4, 500}, 50009, nullptr, "Source"},
        Refusal{"SourceOfAnUnknownType", {7, 1}, {9, 9}, 50009, nullptr, "Source"},
        Refusal{"NoDestination", {2, 1}, {4, 9}, 50009, nullptr, "Destination"},
        Refusal{"DestinationOfAnUnknownType", {2, 1}, {0, 1}, 50009, nullptr, "Destination"},
        Refusal{"OccupiedSourceWithoutBarCode", {2, 3}, {4, 500}, 0, ""},
        Refusal{"UnreadableSource",
                {2, 4},
                {4, 500},
                0,
                "Failed to read value for Source Element BarCode"},
        Refusal{"EmptyDestinationWithBarCode", {2, 1}, {2, 2}, 0, ""},
        Refusal{"DestinationWithoutBarCodeElement", {2, 1}, {2, 5}, 0, ""},
        Refusal{"UnreadableDestination",
                {2, 1},
                {2, 6},
                0,
                "Failed to read value for Destination Element BarCode"}),
    [](const auto& test) { return test.param.name; });

TEST(MediumMoves, CarryTheBarCodeFromPlaceToPlace) {
  TempCatalogue catalogue;
  LibraryBuilder("A").mailSlots(10, 1).slots(1000, 2).drives(500, 1).build();
  TqLibEmulator emulator;
  ASSERT_TRUE(emulator.SetVirtualLibraryElement(
      "A", std::vector<LibElement>{element(2, 1000, "T1"), element(5, 1)}, false));
  const Place path[] = {{2, 1000}, {4, 500}, {3, 10}, {5, 1}, {2, 1001}, {2, 1000}};
  const std::string file = compact(readFile(catalogue.libraryFile("A")));
  for (std::size_t i = 1; i < std::size(path); ++i) {
    ASSERT_TRUE(emulator.MoveVirtualLibraryElement("A", path[i - 1].type, path[i - 1].address,
                                                   path[i].type, path[i].address));
    std::vector<std::string> expected{"4@500", "3@10", "2@1000", "2@1001", "5@1"};
    for (std::string& e : expected)
      if (e == describe(element(path[i].type, path[i].address))) e += ":T1";
    EXPECT_EQ(elements("A"), expected);
  }
  EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))),
            file);  // a round trip leaves nothing behind
  EXPECT_EQ(emulator.getErrorCode(), 0);
}

TEST(MediumMoves, NeedTheRightLibraryUnlessBothPlacesAreShelves) {
  const std::string shelves =
      R"(<Shelf IsOccupied="true"><BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Shelf>)"
      R"(<Shelf IsOccupied="false"><BaseAddress>2</BaseAddress><BarCode/></Shelf>)";
  const std::pair<const char*, const char*> cases[] = {
      {"", "More than one Library node found in the XML Document"},
      {"<Library Name='Lib_A'/><Library/>", "More than one Library node found in the XML Document"},
      {"<Library Name='Lib_a'/>", "Library A not found in the XML Doc"}};
  for (const auto& [libraries, message] : cases) {
    TempCatalogue catalogue;
    const std::string xml = "<Devices>" + std::string(libraries) + shelves + "</Devices>";
    writeFile(catalogue.libraryFile("A"), xml);
    TqLibEmulator emulator;
    EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 5, 1, 2, 2));
    EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 4, 1, 5, 2));
    EXPECT_EQ(emulator.getErrorCode(), 50008);
    EXPECT_EQ(lastError(emulator), "");
    EXPECT_TRUE(catalogue.logged(message)) << catalogue.log();
    EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
    EXPECT_TRUE(emulator.MoveVirtualLibraryElement("A", 5, 1, 5, 2));
    const std::string moved = compact(readFile(catalogue.libraryFile("A")));
    EXPECT_NE(moved.find("<BaseAddress>2</BaseAddress><BarCode>T1</BarCode>"), std::string::npos);
    EXPECT_NE(moved.find("<BaseAddress>1</BaseAddress><BarCode/>"), std::string::npos);
  }
  TempCatalogue empty;
  TqLibEmulator emulator;
  EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 5, 1, 5, 2));
  EXPECT_TRUE(empty.files().empty());
  EXPECT_FALSE(emulator.setElemText(nullptr, emulator.m_sLibFile));
}

}  // namespace
}  // namespace tests

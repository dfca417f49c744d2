// The elements of a library: queries, changes, moves.
#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

TEST(ElementQuery, ReportsDrivesThenSlotsThenShelvesAndAppends) {
  TempCatalogue catalogue;
  const std::string xml = R"(<Devices>
<Shelf IsOccupied="true"><BaseAddress>7</BaseAddress><BarCode>S1</BarCode></Shelf>
<Library Name="Lib_A">
  <Slots IsMailSlot="false" IsOccupied="FALSE"><BaseAddress>2</BaseAddress><BarCode>X</BarCode></Slots>
  <Slots IsMailSlot="true"><BaseAddress>1ab</BaseAddress><BarCode>T1</BarCode></Slots>
  <Drive IsOccupied="0x1"><BarCode>X</BarCode></Drive>
  <Slots IsOccupied="no"><BaseAddress><x/></BaseAddress></Slots>
  <Slots IsOccupied=""><BaseAddress>-3</BaseAddress><a><BarCode> &lt;</BarCode></a><BarCode>Y</BarCode></Slots>
  <Slots IsOccupied=" false"><BaseAddress><!--c-->9</BaseAddress><barCode>X</barCode></Slots>
  <Shelf IsOccupied="f"><BaseAddress>ab</BaseAddress></Shelf>
</Library></Devices>)";
  writeFile(catalogue.libraryFile("A"), xml);
  TqLibEmulator emulator;
  std::vector<LibElement> found(1);
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  ASSERT_TRUE(emulator.GetVirtualLibraryElements("A", found));
  const std::vector<std::string> once{
      "4@0", "2@2", "3@1:T1", "3@-1:", "3@-3: <", "3@-1:", "5@7:S1", "5@0"};
  ASSERT_EQ(found.size(), 1 + 2 * once.size());
  EXPECT_FALSE(found[0].isValid);
  for (std::size_t i = 1; i < found.size(); ++i) {
    EXPECT_EQ(describe(found[i]), once[(i - 1) % once.size()]);
    EXPECT_TRUE(found[i].isValid);
    EXPECT_TRUE(found[i].isOccupied || found[i].barCode.empty());
  }
  EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
}

TEST(ElementQuery, SaysInTextAndLogWhyItIsRefused) {
  const std::string unloaded = "Failed to Load XML Document ";
  const std::string many = "More than one library node in XML Files ";
  const struct {
    const char* xml;  // null: no file
    int code;
    std::string text;  // ahead of the path
    const char* tail;  // behind it
  } cases[] = {{nullptr, 0, unloaded, " for Library A"},
               {"<Devices>", 50005, unloaded, " for Library A"},
               {"", 50005, unloaded, " for Library A"},
               {"<Devices/>", 0, many, ""},
               {"<Devices><Library Name='Lib_A'/><Library/></Devices>", 0, many, ""},
               {"<Devices><Library Name='Lib_a'/></Devices>", 50008,
                "Library Node not found in XML File ", " for Library Lib_A.xml"}};
  for (const auto& c : cases) {
    TempCatalogue catalogue;
    if (c.xml != nullptr) writeFile(catalogue.libraryFile("A"), c.xml);
    TqLibEmulator emulator;
    std::vector<LibElement> found;
    EXPECT_FALSE(emulator.GetVirtualLibraryElements("A", found));
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(emulator.getErrorCode(), c.code);
    EXPECT_EQ(lastError(emulator), c.text + catalogue.libraryFile("A") + c.tail);
    EXPECT_TRUE(catalogue.logged(lastError(emulator)));
    EXPECT_TRUE(catalogue.logged("TqLibEmulator::GetVirtualLibraryElements"));
  }
}

/// What a change leaves begins with "!" when the change fails.
struct Change {
  const char* name;
  std::string before;
  const char* records;
  std::string after;          // one record at a time
  std::string afterAll = "";  // all in one batch; empty: the same
  std::string error = "";
  bool remove = false;
};

const std::string kUnreadable = "Failed to read value for Element BaseAddress";
const std::string kSlot = "[<Slots IsOccupied=\"true\"><BaseAddress>5</BaseAddress>";
const std::string kNoBarCode = kSlot + "</Slots>]";
const std::string kOddBarCode = kSlot + "<BarCode><x/></BarCode></Slots>]";

std::string twoBarCodes(const std::string& first, const std::string& second) {
  return kSlot + "<BarCode>" + first + "</BarCode><a><BarCode>" + second +
         "</BarCode></a></Slots>]";
}

const Change kChanges[] = {
    {"FirstShelfFollowsTheLibrary", "[] <A/>", "5@1:T 5@2", "[] 5@1:T 5@2 <A/>"},
    {"ShelvesAreKeptTogether", "[] 5@1 <A/> 5@2", "5@3", "[] 5@1 <A/> 5@2 5@3"},
    {"AShelfIsAChildOfTheRoot", "<W>[] 5@2</W> <A/>", "5@3 5@4", "<W>[] 5@2</W> 5@3 5@4 <A/>"},
    {"AnUnreadableAddressFails", "[? 4@1]", "4@1:T1", "![? 4@1]", "", kUnreadable},
    {"AlsoBehindInABatch", "[4@1 ?]", "4@1:T1", "[4@1:T1 ?]", "![4@1 ?]", kUnreadable},
    {"AMissingBarCodeFails", kNoBarCode, "3@5:T1", "!" + kNoBarCode},
    {"AnElementInABarCodeFails", kOddBarCode, "3@5:T1", "!" + kOddBarCode},
    {"EveryBarCodeBelowIsSet", twoBarCodes("X", ""), "3@5:T", twoBarCodes("T", "T")},
    {"ItsOwnNameReplacesNoBarCode", "[2@1:X 2@2]", "2@1:bARcODE 2@2:barcode",
     "[2@1:X 2@2:barcode]"},
    {"TwoLibrariesAreRefused", "[] []", "2@1", "![] []"},
    {"AShelfNeedsALibraryInABatchOnly", "<Z/>", "5@1", "<Z/> 5@1", "!<Z/>"},
    {"TwoRecordsForANewAddress", "[]", "2@9:T1 2@9:T2", "[2@9:T2]", "[2@9:T1 2@9:T2]"},
    {"ABatchFindsSlotsByAddressAlone", "[2@1 3@2]", "3@1:T 2@2:U", "[2@1 3@2 3@1:T 2@2:U]",
     "[2@1:T 3@2:U]"},
    {"ABatchTakesTheLaterSlot", "[2@1 3@1]", "2@1:T1", "[2@1:T1 3@1]", "[2@1 3@1:T1]"},
    {"ABatchTakesTheLaterShelf", "[] 5@7 5@7", "5@7:T", "[] 5@7:T 5@7", "[] 5@7 5@7:T"},
    {"ABatchFindsADriveBesideTheLibrary", "[] 4@7", "4@7:T1", "![] 4@7", "[] 4@7:T1"},
    {"InvalidOnRemoval", "[2@1]", "0@1 2@1", "![]", "![2@1]", "Invalid Element Type 0", true}};

class ElementChange : public testing::TestWithParam<Change> {};

TEST_P(ElementChange, DoesTheSameAsOneRecordAndAsManyButForTheKnownDifferences) {
  const Change& c = GetParam();
  TempCatalogue catalogue;
  const std::string path = catalogue.libraryFile("A");
  const std::string before = documentOf(c.before);
  const auto expectLeft = [&path](bool result, const std::string& after) {
    EXPECT_EQ(result, after[0] != '!');
    EXPECT_EQ(compact(readFile(path)), documentOf(after.substr(after[0] == '!' ? 1 : 0)));
  };
  writeFile(path, before);
  TqLibEmulator emulator;
  bool result = true;
  for (const LibElement& record : described(c.records))
    result = emulator.SetVirtualLibraryElement("A", record, c.remove) && result;
  expectLeft(result, c.after);

  writeFile(path, before);
  result = emulator.SetVirtualLibraryElement("A", described(c.records), c.remove);
  expectLeft(result, c.afterAll.empty() ? c.after : c.afterAll);
  EXPECT_TRUE(result || readFile(path) == before);
  EXPECT_EQ(lastError(emulator), c.error);
  EXPECT_EQ(emulator.getErrorCode(), 0);
  EXPECT_EQ(catalogue.files().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Table, ElementChange, testing::ValuesIn(kChanges), nameOfParam);

TEST(ElementChanges, KeepTheBarCodeOfANewEmptyElementThoughNoQueryTellsIt) {
  TempCatalogue catalogue;
  LibraryBuilder("A").build();
  ASSERT_TRUE(TqLibEmulator().SetVirtualLibraryElement("A", {2, 7, false, false, "X"}, false));
  EXPECT_NE(readFile(catalogue.libraryFile("A")).find("<BarCode>X<"), std::string::npos);
  EXPECT_EQ(elements("A").back(), "2@7");
}

const std::string kEmptyMailSlot = "<Slots IsOccupied='false'><BaseAddress>";
const std::string kLibrary =
    documentOf("[4@500 4@501:D1 3@1 2@1:T1 " + kEmptyMailSlot +
               "2</BaseAddress><BarCode>X</BarCode></Slots>"
               "<Slots><BaseAddress>3</BaseAddress><BarCode/></Slots>"
               "<Slots><BaseAddress>4</BaseAddress><BarCode><x/></BarCode></Slots>" +
               kEmptyMailSlot + "5</BaseAddress></Slots>" + kEmptyMailSlot +
               "6</BaseAddress><BarCode><x/></BarCode></Slots>] 5@1");

LibElement place(const char* text) {
  return described(text)[0];
}

bool move(TqLibEmulator& emulator, const LibElement& from, const LibElement& to) {
  return emulator.MoveVirtualLibraryElement("A", from.elementType, from.elementAddress,
                                            to.elementType, to.elementAddress);
}

std::string named(const char* element) {
  return " of Type " + std::string(1, *element) + ", Address " + (element + 2);
}

TEST(MediumMove, IsRefusedWithItsReasonAndLeavesTheFileUntouched) {
  const std::string unread = "Failed to read value for ";
  const struct {
    const char *from, *to;
    int code;
    std::string reason;  // of a failed move; of an element not found, which one
  } cases[] = {{"3@1", "4@500", 40018, ""},
               {"3@1", "4@501", 40018, ""},  // the source is looked at first
               {"2@1", "4@501", 40006, ""},
               {"2@1", "2@1", 40006, ""},
               {"2@9", "4@500", 50009, "Source"},
               {"7@1", "9@9", 50009, "Source"},
               {"2@1", "4@9", 50009, "Destination"},
               {"2@1", "0@1", 50009, "Destination"},
               {"3@3", "4@500", 0, ""},  // no barcode to carry
               {"3@4", "4@500", 0, unread + "Source Element BarCode"},
               {"2@1", "3@2", 0, ""},  // a barcode in the way
               {"2@1", "3@5", 0, ""},  // no place for a barcode
               {"2@1", "3@6", 0, unread + "Destination Element BarCode"}};
  for (const auto& c : cases) {
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), kLibrary);
    TqLibEmulator emulator;
    EXPECT_FALSE(move(emulator, place(c.from), place(c.to)));
    EXPECT_EQ(emulator.getErrorCode(), c.code) << c.from << " to " << c.to;
    const bool isMissing = c.code == 50009;
    const char* missing = c.reason == "Source" ? c.from : c.to;
    const std::string file =
        " in XML File " + catalogue.libraryFile("A") + " for Library Lib_A.xml";
    EXPECT_EQ(lastError(emulator),
              isMissing ? "Cannot Find " + c.reason + " LibElement" + named(missing) + file
                        : "Failed to move element from Source Element" + named(c.from) +
                              " to Destination LibElement" + named(c.to) + file + " due to error " +
                              c.reason);
    EXPECT_TRUE(isMissing ? catalogue.logged(lastError(emulator)) : catalogue.log().empty());
    EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", kLibrary}}));
  }
}

TEST(MediumMove, NeedsTheRightLibraryUnlessBothPlacesAreShelves) {
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
    EXPECT_TRUE(catalogue.logged(message));
    EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
    EXPECT_TRUE(move(emulator, place("5@1"), place("5@2")));
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), documentOf(libraries + "5@1 5@2:T1"));
  }
}

}  // namespace
}  // namespace tests

#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

/// What a change leaves begins with "!" when the change fails.
struct Change {
  const char* name;
  std::string before;
  const char* records;
  bool remove;
  std::string after;     // one record at a time
  std::string afterAll;  // all in one batch; empty: the same
  std::string error = "";
};

const std::string kUnreadable = "Failed to read value for Element BaseAddress";

const std::string kSlot = "<Slots IsOccupied=\"true\"><BaseAddress>5</BaseAddress>";

const Change kChanges[] = {
    {"FirstShelfFollowsTheLibrary", "[] <A/>", "5@1:T 5@2", false, "[] 5@1:T 5@2 <A/>", ""},
    {"ShelvesAreKeptTogether", "[] 5@1 <A/> 5@2", "5@3", false, "[] 5@1 <A/> 5@2 5@3", ""},
    {"RemovingTwiceIsSkipped", "[2@1 2@2] 5@7", "3@9 2@1 3@1 5@7 5@7", true, "[2@2]", ""},
    {"AnUnreadableAddressFails", "[? 4@1]", "4@1:T1", false, "![? 4@1]", "", kUnreadable},
    {"AlsoBehindInABatch", "[4@1 ?]", "4@1:T1", false, "[4@1:T1 ?]", "![4@1 ?]", kUnreadable},
    {"AMissingBarCodeFails", "[" + kSlot + "</Slots>]", "3@5:T1", false, "![" + kSlot + "</Slots>]",
     ""},
    {"AnElementInABarCodeFails", "[" + kSlot + "<BarCode><x/></BarCode></Slots>]", "3@5:T1", false,
     "![" + kSlot + "<BarCode><x/></BarCode></Slots>]", ""},
    {"EveryBarCodeBelowIsSet", "[" + kSlot + "<BarCode>X</BarCode><a><BarCode/></a></Slots>]",
     "3@5:T", false, "[" + kSlot + "<BarCode>T</BarCode><a><BarCode>T</BarCode></a></Slots>]", ""},
    {"ItsOwnNameDoesNotReplaceABarCode", "[2@1:X 2@2]", "2@1:bARcODE 2@2:barcode", false,
     "[2@1:X 2@2:barcode]", ""},
    {"TwoLibrariesAreRefused", "[] []", "2@1", false, "![] []", ""},
    {"AShelfNeedsALibraryInABatchOnly", "<Z/>", "5@1", false, "<Z/> 5@1", "!<Z/>"},
    {"TwoRecordsForANewAddress", "[]", "2@9:T1 2@9:T2", false, "[2@9:T2]", "[2@9:T1 2@9:T2]"},
    {"ABatchFindsSlotsByAddressAlone", "[2@1 3@2]", "3@1:T1 2@2:T2", false,
     "[2@1 3@2 3@1:T1 2@2:T2]", "[2@1:T1 3@2:T2]"},
    {"ABatchTakesTheLaterSlot", "[2@1 3@1]", "2@1:T1", false, "[2@1:T1 3@1]", "[2@1 3@1:T1]"},
    {"ABatchTakesTheLaterShelf", "[] 5@7 5@7", "5@7:T", false, "[] 5@7:T 5@7", "[] 5@7 5@7:T"},
    {"ABatchFindsADriveBesideTheLibrary", "[] 4@7", "4@7:T1", false, "![] 4@7", "[] 4@7:T1"},
    {"AFailureDropsWhatCameBefore", "[2@1]", "2@1:T1 6@1", false, "![2@1:T1]", "![2@1]",
     "Invalid Element Type 6"},
    {"InvalidOnRemoval", "[2@1]", "0@1 2@1", true, "![]", "![2@1]", "Invalid Element Type 0"}};

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

INSTANTIATE_TEST_SUITE_P(Table, ElementChange, testing::ValuesIn(kChanges),
                         [](const auto& test) { return test.param.name; });

TEST(ElementChanges, KeepTheBarCodeOfANewEmptyElementThoughNoQueryTellsIt) {
  TempCatalogue catalogue;
  LibraryBuilder("A").build();
  ASSERT_TRUE(TqLibEmulator().SetVirtualLibraryElement("A", {2, 7, false, false, "X"}, false));
  EXPECT_NE(readFile(catalogue.libraryFile("A")).find("<BarCode>X<"), std::string::npos);
  EXPECT_EQ(elements("A").back(), "2@7");
}

}  // namespace
}  // namespace tests

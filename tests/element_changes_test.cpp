#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

std::string node(const char* tag, int address, const std::string& barCode, const char* mail = "") {
  const std::string prefix = std::string(tag) == "Slots" ? "Slot" : tag;
  return "<" + std::string(tag) + mail + " IsOccupied=\"" + (barCode.empty() ? "false" : "true") +
         "\" Name=\"" + prefix + "_" + std::to_string(address) + "\"><BaseAddress>" +
         std::to_string(address) + "</BaseAddress>" +
         (barCode.empty() ? "<BarCode/>" : "<BarCode>" + barCode + "</BarCode>") + "</" + tag + ">";
}
std::string slot(int address, const std::string& barCode = "") {
  return node("Slots", address, barCode, " IsMailSlot=\"false\"");
}
std::string mail(int address, const std::string& barCode = "") {
  return node("Slots", address, barCode, " IsMailSlot=\"true\"");
}
std::string drive(int address, const std::string& barCode = "") {
  return node("Drive", address, barCode);
}
std::string shelf(int address, const std::string& barCode = "") {
  return node("Shelf", address, barCode);
}

/// A library of another name: changes look at its number only.
std::string library(const std::string& inside, const std::string& behind = "") {
  return compact("<Devices><Library Name=\"Lib_X\">" + inside + "</Library>" + behind +
                 "</Devices>");
}

constexpr bool kSet = false;
constexpr bool kRemove = true;

struct Change {
  const char* name;
  std::string before;
  std::vector<LibElement> records;
  bool remove;
  bool single;          // result of the form for one record, each record in turn
  std::string after;    // what it leaves
  bool batch;           // result of the form for many
  std::string afterAll;  // what that leaves
};

class ElementChange : public testing::TestWithParam<Change> {};

TEST_P(ElementChange, DoesTheSameAsOneRecordAndAsManyButForTheKnownDifferences) {
  const Change& c = GetParam();
  TempCatalogue catalogue;
  const std::string file = catalogue.libraryFile("A");
  writeFile(file, c.before);
  TqLibEmulator emulator;
  bool result = true;
  for (const LibElement& record : c.records)
    result = emulator.SetVirtualLibraryElement("A", record, c.remove) && result;
  EXPECT_EQ(result, c.single);
  EXPECT_EQ(compact(readFile(file)), c.after);

  writeFile(file, c.before);
  EXPECT_EQ(emulator.SetVirtualLibraryElement("A", c.records, c.remove), c.batch);
  EXPECT_EQ(compact(readFile(file)), c.afterAll);
  if (!c.batch) {
    EXPECT_EQ(readFile(file), c.before);
  }
  EXPECT_EQ(emulator.getErrorCode(), 0);
  EXPECT_EQ(catalogue.files().size(), 1U);
}

const std::string kBare = library("<SlotCount>0</SlotCount>");
const std::string kUnreadableDrive = "<Drive><BaseAddress><x/></BaseAddress></Drive>";
const std::string kBroken = library(kUnreadableDrive + drive(501));
const std::string kOutside = library(slot(1), drive(700));
const std::string kNoBarCode =
    library("<Slots IsMailSlot=\"false\"><BaseAddress>5</BaseAddress></Slots>");

LibElement occupied(int type, int address) {
  return {type, address, false, true, ""};
}
LibElement leftOver(int type, int address) {
  return {type, address, false, false, "X"};
}

INSTANTIATE_TEST_SUITE_P(
    Table, ElementChange,
    testing::Values(
        Change{"SlotsGoToTheEnd", library(slot(1) + drive(500)),
               {element(2, 12, "T1"), element(3, 13)}, kSet, true,
               library(slot(1) + drive(500) + slot(12, "T1") + mail(13)), true,
               library(slot(1) + drive(500) + slot(12, "T1") + mail(13))},
        Change{"KeepsABarCodeOfAnEmptyElement", kBare, {leftOver(3, 4)}, kSet, true,
               library("<SlotCount>0</SlotCount><Slots IsMailSlot=\"true\" IsOccupied=\"false\" "
                       "Name=\"Slot_4\"><BaseAddress>4</BaseAddress><BarCode>X</BarCode></Slots>"),
               true,
               library("<SlotCount>0</SlotCount><Slots IsMailSlot=\"true\" IsOccupied=\"false\" "
                       "Name=\"Slot_4\"><BaseAddress>4</BaseAddress><BarCode>X</BarCode></Slots>")},
        Change{"FirstShelfFollowsTheLibrary", library("", "<Other/>"),
               {element(5, 1, "T1"), element(5, 2)}, kSet, true,
               library("", shelf(1, "T1") + shelf(2) + "<Other/>"), true,
               library("", shelf(1, "T1") + shelf(2) + "<Other/>")},
        Change{"NewShelfFollowsTheLast", library("", shelf(1) + "<Other/>" + shelf(2) + "<Z/>"),
               {element(5, 3)}, kSet, true,
               library("", shelf(1) + "<Other/>" + shelf(2) + shelf(3) + "<Z/>"), true,
               library("", shelf(1) + "<Other/>" + shelf(2) + shelf(3) + "<Z/>")},
        Change{"ShelvesAloneNeedALibraryInABatchOnly", "<Devices><Z/></Devices>", {element(5, 1)},
               kSet, true, "<Devices><Z/>" + shelf(1) + "</Devices>", false,
               "<Devices><Z/></Devices>"},
        Change{"UpdatesWhatIsThere", library(drive(500) + slot(1, "A") + mail(2), shelf(3)),
               {element(4, 500, "D"), element(2, 1), element(3, 2, "M"), element(5, 3, "S")}, kSet,
               true, library(drive(500, "D") + slot(1) + mail(2, "M"), shelf(3, "S")), true,
               library(drive(500, "D") + slot(1) + mail(2, "M"), shelf(3, "S"))},
        Change{"TwoRecordsForANewAddress", kBare, {element(2, 9, "T1"), element(2, 9, "T2")}, kSet,
               true, library("<SlotCount>0</SlotCount>" + slot(9, "T2")), true,
               library("<SlotCount>0</SlotCount>" + slot(9, "T1") + slot(9, "T2"))},
        Change{"ABatchFindsSlotsByAddressAlone", library(slot(1) + mail(2)),
               {element(3, 1, "T1"), element(2, 2, "T2")}, kSet, true,
               library(slot(1) + mail(2) + mail(1, "T1") + slot(2, "T2")), true,
               library(slot(1, "T1") + mail(2, "T2"))},
        Change{"ABatchTakesTheLaterOfTwoKinds", library(slot(1) + mail(1)), {element(2, 1, "T1")},
               kSet, true, library(slot(1, "T1") + mail(1)), true,
               library(slot(1) + mail(1, "T1"))},
        Change{"AnUnknownDriveIsSkippedInABatch", library(slot(1)),
               {element(4, 9, "T1"), element(2, 1, "T2")}, kSet, false, library(slot(1, "T2")),
               true, library(slot(1, "T2"))},
        Change{"ADriveBesideTheLibraryIsFoundInABatch", kOutside, {element(4, 700, "T1")}, kSet,
               false, kOutside, true, library(slot(1), drive(700, "T1"))},
        Change{"AnUnreadableDriveAddressFails", kBroken, {element(4, 501, "T1")}, kSet, false,
               kBroken, false, kBroken},
        Change{"AMissingBarCodeFails", kNoBarCode, {occupied(2, 5)}, kSet, false, kNoBarCode,
               false, kNoBarCode},
        Change{"AFailureDropsWhatCameBefore", library(slot(1)),
               {element(2, 1, "T1"), element(6, 1)}, kSet, false, library(slot(1, "T1")), false,
               library(slot(1))},
        Change{"RemovesSlotsAndShelves", library(slot(1) + mail(1) + slot(2), shelf(1) + shelf(2)),
               {element(3, 1), element(5, 1)}, kRemove, true, library(slot(1) + slot(2), shelf(2)),
               true, library(slot(1) + slot(2), shelf(2))},
        Change{"RemovingNothingSucceeds", library(slot(1)), {element(2, 9), element(5, 9)},
               kRemove, true, library(slot(1)), true, library(slot(1))},
        Change{"RemovingTwiceIsSkipped", library(slot(1) + slot(2), shelf(7)),
               {element(2, 1), element(2, 1), element(5, 7), element(5, 7)}, kRemove, true,
               library(slot(2)), true, library(slot(2))},
        Change{"DrivesStay", library(drive(500) + slot(1)), {element(4, 500), element(2, 1)},
               kRemove, false, library(drive(500)), true, library(drive(500))},
        Change{"TwoLibrariesAreRefused", "<Devices><Library/><Library/></Devices>",
               {element(2, 1)}, kSet, false, "<Devices><Library/><Library/></Devices>", false,
               "<Devices><Library/><Library/></Devices>"}),
    [](const auto& test) { return test.param.name; });

TEST(ElementChanges, AnInvalidTypeIsNamedInABatchAndSavesNothing) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  const auto before = catalogue.files();
  for (const int type : {1, 0, 6, -2, 99}) {
    for (const bool remove : {false, true}) {
      TqLibEmulator emulator;
      const std::vector<LibElement> records{element(type, 1000), element(2, 1000, "T1")};
      EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", records[0], remove));
      EXPECT_EQ(lastError(emulator), "");
      EXPECT_FALSE(emulator.SetVirtualLibraryElement("A", records, remove));
      EXPECT_EQ(lastError(emulator), "Invalid Element Type " + std::to_string(type));
      EXPECT_EQ(catalogue.files(), before);
    }
  }
}

TEST(ElementChanges, StoreEveryTextAsGiven) {
  TempCatalogue catalogue;
  LibraryBuilder("A").slots(1000, 1).build();
  for (const std::string& text :
       {std::string(" <&>\"']]> "), std::string("\xC3\x84\xE2\x82\xAC\xF0\x9F\x93\xBC"),
        std::string(5000, 'x'), std::string("&amp;"), std::string("a\tb")}) {
    ASSERT_TRUE(TqLibEmulator().SetVirtualLibraryElement("A", element(2, 1000, text), false));
    EXPECT_EQ(elements("A"), std::vector<std::string>{"2@1000:" + text});
  }
}

}  // namespace
}  // namespace tests

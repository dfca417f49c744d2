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
  bool single;           // result of the form for one record, each record in turn
  std::string after;     // what it leaves
  bool batch;            // result of the form for many
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

using Records = std::vector<LibElement>;

/// Both forms succeed and leave the same.
Change done(const char* name, const std::string& before, const Records& records, bool remove,
            const std::string& after) {
  return {name, before, records, remove, true, after, true, after};
}
/// Both forms fail and leave the file alone.
Change refused(const char* name, const std::string& before, const Records& records) {
  return {name, before, records, kSet, false, before, false, before};
}

const std::string kUnreadableDrive = "<Drive><BaseAddress><x/></BaseAddress></Drive>";
const std::string kNoBarCode = "<Slots IsMailSlot=\"false\"><BaseAddress>5</BaseAddress></Slots>";
const std::string kLeftOver =
    "<Slots IsMailSlot=\"true\" IsOccupied=\"false\" Name=\"Slot_4\">"
    "<BaseAddress>4</BaseAddress><BarCode>X</BarCode></Slots>";

const Change kChanges[] = {
    done("SlotsGoToTheEnd", library(slot(1) + drive(500)), {element(2, 12, "T1"), element(3, 13)},
         kSet, library(slot(1) + drive(500) + slot(12, "T1") + mail(13))),
    done("KeepsABarCodeOfAnEmptyElement", library("<A/>"), {{3, 4, false, false, "X"}}, kSet,
         library("<A/>" + kLeftOver)),
    done("FirstShelfFollowsTheLibrary", library("", "<A/>"), {element(5, 1, "T1"), element(5, 2)},
         kSet, library("", shelf(1, "T1") + shelf(2) + "<A/>")),
    done("NewShelfFollowsTheLast", library("", shelf(1) + "<A/>" + shelf(2) + "<Z/>"),
         {element(5, 3)}, kSet, library("", shelf(1) + "<A/>" + shelf(2) + shelf(3) + "<Z/>")),
    done("UpdatesWhatIsThere", library(drive(500) + slot(1, "A") + mail(2), shelf(3)),
         {element(4, 500, "D"), element(2, 1), element(3, 2, "M"), element(5, 3, "S")}, kSet,
         library(drive(500, "D") + slot(1) + mail(2, "M"), shelf(3, "S"))),
    done("RemovesSlotsAndShelves", library(slot(1) + mail(1) + slot(2), shelf(1) + shelf(2)),
         {element(3, 1), element(5, 1)}, kRemove, library(slot(1) + slot(2), shelf(2))),
    done("RemovingNothingSucceeds", library(slot(1)), {element(2, 9), element(5, 9)}, kRemove,
         library(slot(1))),
    done("RemovingTwiceIsSkipped", library(slot(1) + slot(2), shelf(7)),
         {element(2, 1), element(2, 1), element(5, 7), element(5, 7)}, kRemove, library(slot(2))),
    refused("AnUnreadableDriveAddressFails", library(kUnreadableDrive + drive(501)),
            {element(4, 501, "T1")}),
    refused("AMissingBarCodeFails", library(kNoBarCode), {{2, 5, false, true, ""}}),
    refused("TwoLibrariesAreRefused", "<Devices><Library/><Library/></Devices>", {element(2, 1)}),
    {"ShelvesAloneNeedALibraryInABatchOnly", "<Devices><Z/></Devices>", Records{element(5, 1)},
     kSet, true, "<Devices><Z/>" + shelf(1) + "</Devices>", false, "<Devices><Z/></Devices>"},
    {"TwoRecordsForANewAddress", library("<A/>"), Records{element(2, 9, "T1"), element(2, 9, "T2")},
     kSet, true, library("<A/>" + slot(9, "T2")), true,
     library("<A/>" + slot(9, "T1") + slot(9, "T2"))},
    {"ABatchFindsSlotsByAddressAlone", library(slot(1) + mail(2)),
     Records{element(3, 1, "T1"), element(2, 2, "T2")}, kSet, true,
     library(slot(1) + mail(2) + mail(1, "T1") + slot(2, "T2")), true,
     library(slot(1, "T1") + mail(2, "T2"))},
    {"ABatchTakesTheLaterOfTwoKinds", library(slot(1) + mail(1)), Records{element(2, 1, "T1")},
     kSet, true, library(slot(1, "T1") + mail(1)), true, library(slot(1) + mail(1, "T1"))},
    {"AnUnknownDriveIsSkippedInABatch", library(slot(1)),
     Records{element(4, 9, "T1"), element(2, 1, "T2")}, kSet, false, library(slot(1, "T2")), true,
     library(slot(1, "T2"))},
    {"ADriveBesideTheLibraryIsFoundInABatch", library(slot(1), drive(700)),
     Records{element(4, 700, "T1")}, kSet, false, library(slot(1), drive(700)), true,
     library(slot(1), drive(700, "T1"))},
    {"AFailureDropsWhatCameBefore", library(slot(1)), Records{element(2, 1, "T1"), element(6, 1)},
     kSet, false, library(slot(1, "T1")), false, library(slot(1))},
    {"DrivesStay", library(drive(500) + slot(1)), Records{element(4, 500), element(2, 1)}, kRemove,
     false, library(drive(500)), true, library(drive(500))}};

INSTANTIATE_TEST_SUITE_P(Table, ElementChange, testing::ValuesIn(kChanges),
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

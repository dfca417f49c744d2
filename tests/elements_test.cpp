// Queries, changes and moves of elements, on small library files that are compared as text.
#include <gtest/gtest.h>

#include "SmallLibrary.h"

namespace tests {
namespace {

using namespace std::string_literals;

TEST(ElementQuery, AppendsDrivesThenSlotsThenShelves) {
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
}

enum class Refused { Never, AsSingleRecords, AsABatch, Always };

struct Change {
  std::string before;
  const char* set = "";
  const char* remove = "";
  std::string after = "";       // set one by one; empty: as before
  std::string afterBatch = "";  // set together; empty: as one by one
  Refused refused = Refused::Never;
  std::string error = "";  // of the batch
};

const std::string kSlot = "[<Slots IsOccupied=\"true\"><BaseAddress>5</BaseAddress>";

const Change kChanges[] = {
    // Shelves are children of the root, behind the library and its other shelves.
    {.before = "[] <A/>", .set = "5@1:T 5@2", .after = "[] 5@1:T 5@2 <A/>"},
    // An unreadable address counts in a batch, also behind the element.
    {.before = "[4@1 ?]",
     .set = "4@1:T1",
     .after = "[4@1:T1 ?]",
     .refused = Refused::AsABatch,
     .error = "Failed to read value for Element BaseAddress"},
    // A slot needs a place for its barcode. Every such place below it is set.
    {.before = kSlot + "</Slots>]", .set = "3@5:T1", .refused = Refused::Always},
    {.before = kSlot + "<BarCode>X</BarCode><a><BarCode/></a></Slots>]",
     .set = "3@5:T",
     .after = kSlot + "<BarCode>T</BarCode><a><BarCode>T</BarCode></a></Slots>]"},
    // A single shelf needs no library.
    {.before = "<Z/>", .set = "5@1", .after = "<Z/> 5@1", .refused = Refused::AsABatch},
    // A batch makes two slots of two records for a new address, finds slots by address alone, the
    // last one of an address, and a drive beside the library.
    {.before = "[]", .set = "2@9:A 2@9:B", .after = "[2@9:B]", .afterBatch = "[2@9:A 2@9:B]"},
    {.before = "[2@1 3@2]",
     .set = "3@1:T 2@2:U",
     .after = "[2@1 3@2 3@1:T 2@2:U]",
     .afterBatch = "[2@1:T 3@2:U]"},
    {.before = "[] 5@7 5@7", .set = "5@7:T", .after = "[] 5@7:T 5@7", .afterBatch = "[] 5@7 5@7:T"},
    {.before = "[] 4@7",
     .set = "4@7:T",
     .afterBatch = "[] 4@7:T",
     .refused = Refused::AsSingleRecords},
    // An unknown type is refused; single records ahead of it and behind it count.
    {.before = "[2@1]",
     .remove = "0@1 2@1",
     .after = "[]",
     .refused = Refused::Always,
     .error = "Invalid Element Type 0"}};

TEST(ElementChange, OfABatchEqualsThatOfItsRecordsExceptKnownDifferences) {
  for (const Change& c : kChanges) {
    SCOPED_TRACE(c.before + ", set " + c.set + ", remove " + c.remove);
    const TempCatalogue catalogue;
    const std::string path = catalogue.libraryFile("A");
    const std::string before = documentOf(c.before);
    const std::string after = c.after.empty() ? before : documentOf(c.after);
    const bool isRemoval = *c.remove != '\0';
    const std::vector<LibElement> records = described(isRemoval ? c.remove : c.set);
    TqLibEmulator emulator;
    writeFile(path, before);
    bool isDone = true;
    for (const LibElement& record : records)
      isDone = emulator.SetVirtualLibraryElement("A", record, isRemoval) && isDone;
    EXPECT_EQ(isDone, c.refused == Refused::Never || c.refused == Refused::AsABatch);
    EXPECT_EQ(compact(readFile(path)), after);

    writeFile(path, before);
    isDone = c.refused == Refused::Never || c.refused == Refused::AsSingleRecords;
    EXPECT_EQ(emulator.SetVirtualLibraryElement("A", records, isRemoval), isDone);
    const std::string afterBatch = c.afterBatch.empty() ? after : documentOf(c.afterBatch);
    if (isDone) {
      EXPECT_EQ(compact(readFile(path)), afterBatch);
    } else {
      EXPECT_EQ(readFile(path), before);
    }
    EXPECT_EQ(lastError(emulator), c.error);
    EXPECT_EQ(emulator.getErrorCode(), 0);
    EXPECT_EQ(catalogue.files().size(), 1U);
  }
}

bool move(TqLibEmulator& emulator, const char* from, const char* to) {
  const LibElement source = described(from)[0];
  const LibElement destination = described(to)[0];
  return emulator.MoveVirtualLibraryElement("A", source.elementType, source.elementAddress,
                                            destination.elementType, destination.elementAddress);
}

std::string named(const char* element) {
  return " of Type " + std::string(1, *element) + ", Address " + (element + 2);
}

/// The import/export slots with the addresses 2 to 6 are faulty.
const std::string kLibrary = documentOf(R"([4@500 4@501:D1 3@1 2@1:T1
  <Slots IsOccupied='false'><BaseAddress>2</BaseAddress><BarCode>X</BarCode></Slots>
  <Slots><BaseAddress>3</BaseAddress><BarCode/></Slots>
  <Slots><BaseAddress>4</BaseAddress><BarCode><x/></BarCode></Slots>
  <Slots IsOccupied='false'><BaseAddress>6</BaseAddress><BarCode><x/></BarCode></Slots>] 5@1)");

const struct {
  const char* from;
  const char* to;
  int code = 0;
  std::string missing = "";
  std::string reason = "";  // if nothing is missing
} kRefusedMoves[] = {
    {.from = "3@1", .to = "4@501", .code = 40018},  // the source is checked first
    {.from = "2@1", .to = "4@501", .code = 40006},
    {.from = "2@9",
     .to = "4@500",
     .code = 50009,
     .missing = "Source LibElement of Type 2, Address 9"},
    {.from = "2@1",
     .to = "0@1",
     .code = 50009,
     .missing = "Destination LibElement of Type 0, Address 1"},
    {.from = "3@3", .to = "4@500"},  // occupied, without a barcode
    {.from = "3@4", .to = "4@500", .reason = "Failed to read value for Source Element BarCode"},
    {.from = "2@1", .to = "3@2"},  // empty, with a barcode
    {.from = "2@1", .to = "3@6", .reason = "Failed to read value for Destination Element BarCode"}};

TEST(MediumMove, IsRefusedWithItsReasonAndLeavesTheFileUntouched) {
  for (const auto& c : kRefusedMoves) {
    SCOPED_TRACE(c.from + std::string(" to ") + c.to);
    TempCatalogue catalogue;
    writeFile(catalogue.libraryFile("A"), kLibrary);
    TqLibEmulator emulator;
    EXPECT_FALSE(move(emulator, c.from, c.to));
    EXPECT_EQ(emulator.getErrorCode(), c.code);
    const std::string file = " in XML File CATALOGUE/Lib_A.xml for Library Lib_A.xml";
    const std::string failure = "Failed to move element from Source Element" + named(c.from) +
                                " to Destination LibElement" + named(c.to) + file +
                                " due to error " + c.reason;
    const std::string error = c.missing.empty() ? failure : "Cannot Find " + c.missing + file;
    EXPECT_EQ(catalogue.shortened(lastError(emulator)), error);
    EXPECT_EQ(catalogue.logged(error), !c.missing.empty());
    EXPECT_EQ(catalogue.files(), (std::map<std::string, std::string>{{"Lib_A.xml", kLibrary}}));
  }
}

TEST(MediumMove, NeedsTheRightLibraryUnlessBothPlacesAreShelves) {
  for (const auto& [libraries, logged] :
       {std::pair{"[][]"s, "More than one Library node found in the XML Document"},
        {"<Library Name=\"Lib_a\"/>", "Library A not found in the XML Doc"}}) {
    TempCatalogue catalogue;
    const std::string xml = documentOf(libraries + "5@1:T1 5@2");
    writeFile(catalogue.libraryFile("A"), xml);
    TqLibEmulator emulator;
    EXPECT_FALSE(move(emulator, "5@1", "3@2"));
    EXPECT_FALSE(move(emulator, "4@1", "5@2"));
    EXPECT_EQ(emulator.getErrorCode(), 50008);
    EXPECT_EQ(lastError(emulator), "");
    EXPECT_TRUE(catalogue.logged(logged));
    EXPECT_EQ(readFile(catalogue.libraryFile("A")), xml);
    EXPECT_TRUE(move(emulator, "5@1", "5@2"));
    EXPECT_EQ(compact(readFile(catalogue.libraryFile("A"))), documentOf(libraries + "5@1 5@2:T1"));
  }
}

}  // namespace
}  // namespace tests

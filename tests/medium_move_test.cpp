#include <gtest/gtest.h>

#include "SmallLibrary.h"

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

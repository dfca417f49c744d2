#include <gtest/gtest.h>

#include "LoadedDocument.h"

namespace tests {
namespace {

/// `N`, an attribute the catalogue does not know, tells the elements apart.
const char* const kElements = R"(<Devices>
<Library Name="Lib_abc">
  <Drive N="d1"><BaseAddress>7</BaseAddress></Drive>
  <Drive N="d2"><BaseAddress><x/></BaseAddress></Drive>
  <Drive N="d3"><BaseAddress>8</BaseAddress></Drive>
  <Slots N="mail" IsMailSlot="true"><BaseAddress>10</BaseAddress></Slots>
  <Slots N="slot" IsMailSlot="false"><BaseAddress>10</BaseAddress></Slots>
  <Slots N="unmarked"><BaseAddress>11</BaseAddress></Slots>
</Library>
<Shelf N="s1"><BaseAddress>7</BaseAddress></Shelf>
<Shelf N="s2"><BaseAddress>7</BaseAddress></Shelf>
</Devices>)";

std::string mark(xercesc::DOMNode* node) {
  if (node == nullptr) return "none";
  return MyTranscode(dynamic_cast<xercesc::DOMElement*>(node)->getAttribute(u"N"));
}

struct Search {
  int type;
  int address;
  bool ran;
  const char* found;
  const char* text;
};

class ElementLookup : public testing::TestWithParam<Search> {};

TEST_P(ElementLookup, FindsTheFirstOfTheKindWithTheAddress) {
  const Search& c = GetParam();
  LoadedDocument doc(kElements);
  xercesc::DOMNode* found = nullptr;
  EXPECT_EQ(doc.emulator.findLibElemNode(doc.root(), c.type, c.address, found), c.ran);
  EXPECT_EQ(mark(found), c.found);
  EXPECT_EQ(lastError(doc.emulator), c.text);
  EXPECT_EQ(doc.emulator.getErrorCode(), 0);
}

const char* const kUnreadable = "Failed to read value for Element BaseAddress";

INSTANTIATE_TEST_SUITE_P(
    Table, ElementLookup,
    testing::Values(Search{4, 7, true, "d1", ""},  // ahead of the unreadable one
                    Search{4, 8, false, "none", kUnreadable}, Search{5, 7, true, "s1", ""},
                    Search{5, 8, true, "none", ""}, Search{2, 10, true, "slot", ""},
                    Search{3, 10, true, "mail", ""}, Search{3, 11, true, "unmarked", ""},
                    Search{2, 11, true, "none", ""},
                    Search{1, 10, false, "none", "Invalid Element Type 1"},
                    Search{6, 10, false, "none", "Invalid Element Type 6"},
                    Search{-1, 10, false, "none", "Invalid Element Type -1"}));

TEST(ElementLookup, MapsAllOfAKindAndLetsTheLastOfAnAddressWin) {
  LoadedDocument doc(kElements);
  TqLibEmulator& e = doc.emulator;
  ElementMap map{{1, nullptr}};
  for (const int type : {2, 3}) {
    EXPECT_TRUE(e.getElementMap(doc.root(), type, map));
    EXPECT_EQ(map.size(), 2U);
    EXPECT_EQ(mark(map[10]) + mark(map[11]), "slotunmarked");
  }
  EXPECT_TRUE(e.getElementMap(doc.root(), 5, map));
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(mark(map[7]), "s2");
  EXPECT_FALSE(e.getElementMap(doc.root(), 4, map));
  EXPECT_EQ(lastError(e), kUnreadable);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(mark(map[7]), "d1");
  EXPECT_TRUE(e.getElementMap(doc.at(u"Shelf"), 2, map));
  EXPECT_TRUE(map.empty());
  EXPECT_FALSE(e.getElementMap(doc.root(), 0, map));
  EXPECT_EQ(lastError(e), "Invalid Element Type 0");

  xercesc::DOMNode* untouched = doc.root();
  EXPECT_FALSE(e.findLibElemNode(nullptr, 9, 1, untouched));
  EXPECT_EQ(untouched, doc.root());
  EXPECT_EQ(lastError(e), "Invalid Element Type 0");
}

TEST(ElementLookup, ComparesLibraryNamesExactlyAndTheParentsTagInAnyCase) {
  LoadedDocument doc(
      "<Devices><Library Name='Lib_abc'><Drive/></Library><Drive/>"
      "<library><Drive/></library></Devices>");
  for (const char* name : {"ABC", "", "Lib_abc", "ab"})
    EXPECT_FALSE(doc.emulator.isLibraryPresent(doc.at(u"Library"), name)) << name;
  EXPECT_TRUE(doc.emulator.isLibraryPresent(doc.at(u"Library"), "abc"));
  EXPECT_TRUE(doc.emulator.doesDriveBelongToLibrary(doc.at(u"Drive", 0)));
  EXPECT_FALSE(doc.emulator.doesDriveBelongToLibrary(doc.at(u"Drive", 1)));
  EXPECT_TRUE(doc.emulator.doesDriveBelongToLibrary(doc.at(u"Drive", 2)));
  EXPECT_FALSE(doc.emulator.doesDriveBelongToLibrary(doc.document()));
}

}  // namespace
}  // namespace tests

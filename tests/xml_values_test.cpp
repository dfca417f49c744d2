#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "LoadedDocument.h"

namespace tests {
namespace {

struct Reading {
  const char* xml;
  bool textRead;
  const char* text;
  bool numberRead;
  int number;
};

class XmlValues : public testing::TestWithParam<Reading> {};

TEST_P(XmlValues, ReadsMissingAndOddValuesLeniently) {
  const Reading& c = GetParam();
  LoadedDocument doc(c.xml);
  std::string text = "before";
  int number = 7;
  EXPECT_EQ(doc.emulator.extractValuesFromChildNode(doc.root(), u"Lun", text), c.textRead);
  EXPECT_EQ(text, c.text);
  EXPECT_EQ(doc.emulator.extractValuesFromChildNode(doc.root(), u"Lun", number), c.numberRead);
  EXPECT_EQ(number, c.number);
}

INSTANTIATE_TEST_SUITE_P(
    Table, XmlValues,
    testing::Values(Reading{"<U><Lun>-3</Lun></U>", true, "-3", true, -3},
                    Reading{"<U/>", true, "", true, 0}, Reading{"<U><Lun/></U>", true, "", true, 0},
                    Reading{"<U><Lun><x/></Lun></U>", false, "", false, -1},
                    Reading{"<U><Lun>12ab</Lun></U>", true, "12ab", true, 12},
                    Reading{"<U><Lun>ab</Lun></U>", true, "ab", true, 0},
                    Reading{"<U><lun>5</lun></U>", true, "", true, 0},
                    Reading{"<U><a><Lun>4</Lun></a><Lun>5</Lun></U>", true, "4", true, 4},
                    Reading{"<U><Lun><!--c-->9</Lun></U>", false, "", false, -1},
                    Reading{"<U><Lun> \xC3\x84&lt;</Lun></U>", true, " \xC3\x84<", true, 0}));

struct Change {
  const char* xml;  // its root is changed
  const char* value;
  bool updated;
  const char* afterUpdate;
  bool added;
  const char* afterAdd;
};

class XmlValueChange : public testing::TestWithParam<Change> {};

TEST_P(XmlValueChange, ReplacesTheTextUnlessItSpellsTheElementsName) {
  const Change& c = GetParam();
  LoadedDocument update(c.xml);
  EXPECT_EQ(update.emulator.updateTextNode(update.document(), update.root(), c.value), c.updated);
  EXPECT_EQ(update.text(), c.afterUpdate);
  LoadedDocument add(c.xml);
  EXPECT_EQ(add.emulator.addTextNode(add.document(), add.root(), c.value), c.added);
  EXPECT_EQ(add.text(), c.afterAdd);
}

INSTANTIATE_TEST_SUITE_P(
    Table, XmlValueChange,
    testing::Values(
        Change{"<Name>abc</Name>", "x<", true, "<Name>x&lt;</Name>", true, "<Name>x&lt;</Name>"},
        Change{"<Name/>", "x", true, "<Name>x</Name>", true, "<Name>x</Name>"},
        Change{"<Name>abc</Name>", "", true, "<Name/>", true, "<Name/>"},
        Change{"<Name/>", "", true, "<Name/>", true, "<Name/>"},
        Change{"<Name>abc</Name>", "nAME", true, "<Name>abc</Name>", true, "<Name>abc</Name>"},
        Change{"<Name/>", "name", true, "<Name>name</Name>", true, "<Name>name</Name>"},
        Change{"<Name><x/></Name>", "v", false, "<Name><x/></Name>", false, "<Name><x/></Name>"},
        Change{"<Name><x/></Name>", "", false, "<Name><x/></Name>", false, "<Name><x/></Name>"}));

TEST(XmlValue, RewritesEveryDescendantOfTheNameAndFailsWithoutOne) {
  LoadedDocument doc("<R><Count>1</Count><a><Count/></a><b><Count><x/></Count></b></R>");
  TqLibEmulator& e = doc.emulator;
  EXPECT_FALSE(e.updateDOMElementValue(doc.document(), doc.root(), u"Absent", "2"));
  EXPECT_FALSE(e.updateDOMElementValue(doc.document(), doc.root(), u"Count", "2"));
  EXPECT_EQ(doc.text(), "<R><Count>2</Count><a><Count>2</Count></a><b><Count><x/></Count></b></R>");
  EXPECT_TRUE(e.updateDOMElementValue(doc.document(), doc.at(u"a"), u"Count", "3"));
  EXPECT_EQ(doc.text(), "<R><Count>2</Count><a><Count>3</Count></a><b><Count><x/></Count></b></R>");

  EXPECT_TRUE(e.removeTextNode(doc.at(u"Count"), "not looked at"));
  EXPECT_FALSE(e.removeTextNode(doc.at(u"Count"), ""));     // empty now
  EXPECT_FALSE(e.removeTextNode(doc.at(u"Count", 2), ""));  // holds an element
  EXPECT_FALSE(e.updateTextNode(doc.document(), nullptr, "v"));
  EXPECT_FALSE(e.addTextNode(doc.document(), nullptr, "v"));
  xercesc::DOMDocument* none = nullptr;
  EXPECT_FALSE(e.addTextNode(none, doc.at(u"Count"), "v"));
  EXPECT_EQ(e.newDOMElementWithValue(nullptr, u"A", u"v"), nullptr);
  EXPECT_FALSE(e.newDOMElementWithValue(doc.document(), u"A", nullptr)->hasChildNodes());
  EXPECT_TRUE(e.newDOMElementWithValue(doc.document(), u"A", u"")->hasChildNodes());
}

TEST(XmlValue, JudgesATruthByItsFirstCharacter) {
  TqLibEmulator emulator;
  for (const XMLCh* text : {u"False", u"FALSE", u"0", u"f", u"0x1", u"fine"})
    EXPECT_FALSE(emulator.ConvertTobool(text)) << MyTranscode(text);
  for (const XMLCh* text : {u"true", u"1", u"No", u"", u" false", u"yes"})
    EXPECT_TRUE(emulator.ConvertTobool(text)) << MyTranscode(text);
  EXPECT_FALSE(emulator.ConvertTobool(nullptr));
}

TEST(XmlText, KeepsEveryCharacterAndCutsOnlyNames) {
  const std::string text = "A \xC3\x84 \xE2\x82\xAC \xF0\x9F\x93\xBC";
  EXPECT_EQ(MyTranscode(GetConstXMLCh(MyTranscode(text.c_str()).c_str())), text);
  EXPECT_EQ(MyTranscode(static_cast<const XMLCh*>(nullptr)), "");
  EXPECT_THROW(MyTranscode("A\xFF"), std::range_error);

  const XMLCh* first = GetConstXMLCh(std::wstring(5000, L'a').c_str());
  EXPECT_EQ(MyTranscode(GetConstXMLCh1(L"second")), "second");
  EXPECT_EQ(MyTranscode(first), std::string(1023, 'a'));
  char digits[21];
  EXPECT_STREQ(itoa(255, digits, 16), "255");
  EXPECT_STREQ(itoa(-9223372036854775807L - 1, digits, 10), "-9223372036854775808");
}

}  // namespace
}  // namespace tests

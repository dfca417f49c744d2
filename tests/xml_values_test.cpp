#include <gtest/gtest.h>

#include <stdexcept>

#include "TqLibEmulator.h"

namespace {

TEST(XmlText, IsRefusedWhenMalformedAndCutInNamesOnly) {
  EXPECT_EQ(MyTranscode(static_cast<const XMLCh*>(nullptr)), "");
  EXPECT_THROW(MyTranscode("A\xED\xA0\x80"), std::range_error);

  const XMLCh* first = GetConstXMLCh(std::wstring(5000, L'a').c_str());
  EXPECT_EQ(MyTranscode(GetConstXMLCh1(L"second")), "second");
  EXPECT_EQ(MyTranscode(first), std::string(1023, 'a'));
  char digits[21];
  EXPECT_STREQ(itoa(255, digits, 16), "255");
  EXPECT_STREQ(itoa(-9223372036854775807L - 1, digits, 10), "-9223372036854775808");
}

}  // namespace

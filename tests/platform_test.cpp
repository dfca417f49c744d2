// The embedded platform: configuration, log and last error.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "TempCatalogue.h"
#include "TqLibEmulator.h"
#include "TqPlatform/PlatformInfo.h"

namespace tests {
namespace {

class Configuration : public testing::Test {
protected:
  void write(const std::string& text) { writeFile(m_catalogue.path() / "tqlib.ini", text); }

  static std::string text(const char* section, const char* key, int room = 64) {
    char buffer[64] = "unchanged";
    int length = room;
    const int found = TQPlatformInfo().getString(section, key, buffer, &length);
    const std::string value = buffer;
    EXPECT_EQ(length, found == 0 ? room : static_cast<int>(value.size()));
    return value;
  }
  static std::string number(const char* key, TQPlatformInfo&& info = TQPlatformInfo()) {
    unsigned long value = 4711;
    if (info.getNumber("Base", key, &value) != 0) return std::to_string(value);
    return "none";
  }

  TempCatalogue m_catalogue;
};

TEST_F(Configuration, ReadsNamesAndValuesUnchanged) {
  write("; comment\n[a.b]\nc.d = D:\\Lib\\\nlong=12345678\nempty=\n[Base]\nc.d=x = y ; z\n");
  EXPECT_EQ(text("a.b", "c.d"), "D:\\Lib\\");
  EXPECT_EQ(text("Base", "c.d"), "x = y ; z");
  EXPECT_EQ(text("a.b", "empty"), "");
  EXPECT_EQ(text("a", "b.c.d"), "unchanged");
  EXPECT_EQ(text("a.b", "C.D"), "unchanged");
  EXPECT_EQ(text("a.b", "long", 9), "12345678");
  EXPECT_EQ(text("a.b", "long", 8), "unchanged");
  EXPECT_TRUE(m_catalogue.logged("Value of long in section a.b is longer than 7 bytes"));
}

TEST_F(Configuration, ReadsOnlyUnsignedDecimalNumbers) {
  write("[Base]\nmost=18446744073709551615\nover=18446744073709551616\nminus=-1\nhex=0x10\nno=\n");
  EXPECT_EQ(number("most"), "18446744073709551615");
  EXPECT_EQ(number("missing"), "none");
  for (const char* const key : {"over", "minus", "hex", "no"}) {
    EXPECT_EQ(number(key), "none") << key;
    EXPECT_TRUE(m_catalogue.logged("Value of " + std::string(key) + " in section Base is not a"));
  }
}

TEST_F(Configuration, ShowsAChangeToTheNextObjectOnlyAndIgnoresAnUnusableFile) {
  const std::string file = (m_catalogue.path() / "tqlib.ini").string();
  write("[Base]\nn=1\n");
  TQPlatformInfo before;
  write("[Base]\nn=9\n");
  EXPECT_EQ(number("n", std::move(before)), "1");
  EXPECT_EQ(number("n"), "9");
  fs::remove(file);
  EXPECT_EQ(number("n"), "none");
  write("[Base]\nn=1\nno assignment\n");
  EXPECT_EQ(number("n"), "9");
  EXPECT_TRUE(m_catalogue.logged("Failed to parse " + file + ", line 3, error: "));
}

TEST(Log, HasALineForEachErrorInItsFileOrElseOnStandardErrorAndLeavesErrnoUnchanged) {
  const TempCatalogue catalogue;
  EvDebug::Error(debugHandler, "here", "%s {} %d", "D:\\a\nb\x01\xc3\xa4", 42);
  EvDebug::Error(debugHandler, "there", "%s", std::string(20000, 'x').c_str());
  EXPECT_TRUE(catalogue.logged(" [error] [here] D:\\a\\nb\\x01\xc3\xa4 {} 42\n"));
  EXPECT_TRUE(catalogue.logged("[there] " + std::string(20000, 'x') + "\n"));
  for (const std::string& path :
       {catalogue.path().string() + "/missing/log", std::string("/dev/full"), std::string()}) {
    setenv("TQ_PLATFORM_LOG", path.c_str(), 1);
    testing::internal::CaptureStderr();
    errno = EDOM;
    EvDebug::Error(debugHandler, "origin", "text");
    EXPECT_EQ(errno, EDOM);
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_NE(line.find("[error] [origin] text\n"), std::string::npos) << path;
  }
}

TEST(LastError, IsCopiedWithinTheBufferGiven) {
  MMS2BaseError failing;
  std::strcpy(failing.m_szErrorText, "out of tape");
  for (const int size : {12, 11, 1, 0, -1}) {
    std::string text(13, '#');
    std::string expected = text;
    std::snprintf(expected.data(), static_cast<unsigned>(std::max(size, 0)), "out of tape");
    failing.getLastError(text.data(), size);
    EXPECT_EQ(text, expected) << size;
  }
  failing.getLastError(nullptr, 16);
}

}  // namespace
}  // namespace tests

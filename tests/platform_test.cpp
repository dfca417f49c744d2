#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <thread>

#include "TempCatalogue.h"
#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"
#include "TqPlatform/PlatformInfo.h"

namespace {

namespace fs = std::filesystem;
using tests::TempCatalogue;
using tests::writeFile;

std::string configured(TQPlatformInfo& info, const char* section, const char* key, int room = 64) {
  char buffer[64] = "unchanged";
  int length = room;
  const int found = info.getString(section, key, buffer, &length);
  EXPECT_EQ(length, found != 0 ? static_cast<int>(std::string(buffer).size()) : room);
  return buffer;
}

std::string number(TQPlatformInfo& info, const char* key) {
  unsigned long value = 4711;
  const int found = info.getNumber("Base", key, &value);
  return found != 0 ? std::to_string(value) : value == 4711 ? "none" : "spoilt";
}

class Configuration : public testing::Test {
protected:
  void write(const std::string& text) { writeFile(catalogue.path() / "tqlib.ini", text); }

  TempCatalogue catalogue;
};

TEST_F(Configuration, TakesNamesAndValuesAsTheyStand) {
  write("; comment\n[a.b]\nc.d = D:\\Lib\\\nlong=12345678\nempty=\n[Base]\nc.d=x = y ; z\n");
  TQPlatformInfo info;
  info.setFocus(TQPI_Focus::getFocus());
  EXPECT_EQ(configured(info, "a.b", "c.d"), "D:\\Lib\\");
  EXPECT_EQ(configured(info, "Base", "c.d"), "x = y ; z");
  EXPECT_EQ(configured(info, "a.b", "empty"), "");
  for (const auto& [section, key] : {std::pair{"a", "b"}, {"a", "b.c.d"}, {"a.b", "C.D"}})
    EXPECT_EQ(configured(info, section, key), "unchanged") << section << key;
  EXPECT_EQ(configured(info, "a.b", "long", 9), "12345678");
  EXPECT_EQ(catalogue.log(), "");
  EXPECT_EQ(configured(info, "a.b", "long", 8), "unchanged");
  EXPECT_TRUE(catalogue.logged("Value of long in section a.b is longer than 7 bytes"));
}

TEST_F(Configuration, ReadsOnlyUnsignedDecimalNumbers) {
  write(
      "[Base]\nzero=0\nmost=18446744073709551615\nover=18446744073709551616\nminus=-1\n"
      "plus=+1\nhex=0x10\nunit=5 MB\nempty=\n");
  TQPlatformInfo info;
  EXPECT_EQ(number(info, "zero"), "0");
  EXPECT_EQ(number(info, "most"), "18446744073709551615");
  EXPECT_EQ(number(info, "missing"), "none");
  EXPECT_EQ(catalogue.log(), "");
  for (const char* const key : {"over", "minus", "plus", "hex", "unit", "empty"}) {
    EXPECT_EQ(number(info, key), "none") << key;
    EXPECT_TRUE(catalogue.logged("Value of " + std::string(key) + " in section Base is not a"));
  }
}

TEST_F(Configuration, AChangeIsSeenByTheNextObjectOnly) {
  for (const char* const value : {"1", "2", "3"}) {
    write("[Base]\nn=" + std::string(value) + "\n");
    TQPlatformInfo before;
    write("[Base]\nn=9\n");
    EXPECT_EQ(number(before, "n"), value);
    TQPlatformInfo after;
    EXPECT_EQ(number(after, "n"), "9");
  }
  fs::remove(catalogue.path() / "tqlib.ini");
  TQPlatformInfo without;
  EXPECT_EQ(number(without, "n"), "none");
  EXPECT_EQ(catalogue.log(), "");
}

TEST_F(Configuration, AFileThatCannotBeUsedIsLoggedAndConfiguresNothing) {
  write("[Base]\nn=1\nno assignment\n");
  const std::string file = (catalogue.path() / "tqlib.ini").string();
  TQPlatformInfo malformed;
  EXPECT_EQ(number(malformed, "n"), "none");
  EXPECT_TRUE(catalogue.logged("Failed to parse " + file + ", line 3, error: "));
  fs::remove(file);
  fs::create_directory(file);
  TQPlatformInfo folder;
  EXPECT_EQ(number(folder, "n"), "none");
  EXPECT_TRUE(catalogue.logged("Failed to read " + file + ", error: Is a directory"));
}

TEST(Log, KeepsEachErrorOnOneLine) {
  const TempCatalogue catalogue;
  EvDebug::Error(debugHandler, "here", "%s {} %d", "D:\\a\nb\x01\xc3\xa4", 42);
  EvDebug::Error(debugHandler, "there", "%s", std::string(20000, 'x').c_str());
  EXPECT_TRUE(catalogue.logged(" [error] [here] D:\\a\\nb\\x01\xc3\xa4 {} 42\n"));
  EXPECT_TRUE(catalogue.logged("[there] " + std::string(20000, 'x') + "\n"));
  const std::string log = catalogue.log();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
}

TEST(Log, GoesToStandardErrorWhenItsFileCannotBeWrittenAndLeavesErrnoAlone) {
  const TempCatalogue catalogue;
  const std::string missing = (catalogue.path() / "missing" / "log").string();
  for (const char* const path : {missing.c_str(), "/dev/full", ""}) {
    setenv("TQ_PLATFORM_LOG", path, 1);
    testing::internal::CaptureStderr();
    errno = EDOM;
    EvDebug::Error(debugHandler, "origin", "text");
    EXPECT_EQ(errno, EDOM);
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_NE(line.find("[error] [origin] text\n"), std::string::npos) << path;
  }
}

TEST(LastError, IsCopiedWithinTheBufferGiven) {
  struct Failing : MMS2BaseError {
    void fail() { std::snprintf(m_szErrorText, sizeof m_szErrorText, "out of tape"); }
  } failing;
  char text[] = "################";
  failing.getLastError(text, 16);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(failing.getErrorCode(), 0);
  failing.fail();
  for (const auto& [size, expected] :
       {std::pair{16, "out of tape"}, {12, "out of tape"}, {11, "out of tap"}, {1, ""}}) {
    std::fill_n(text, 16, '#');
    failing.getLastError(text, size);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(text[std::string(expected).size() + 1], '#');
  }
  std::fill_n(text, 16, '#');
  failing.getLastError(text, 0);
  failing.getLastError(text, -1);
  failing.getLastError(nullptr, 16);
  EXPECT_EQ(text[0], '#');
}

std::set<std::string> listed(const fs::path& folder, const char* pattern, bool allEntries) {
  CNuDirectory directory;
  std::set<std::string> names;
  EXPECT_FALSE(directory.Open(folder.c_str(), pattern, allEntries).IsError());
  SNuDirEntry entry;
  for (bool end = false; !directory.GetEntry(&entry, end).IsError() && !end;)
    names.insert(entry.name);
  EXPECT_FALSE(directory.Close().IsError());
  return names;
}

TEST(DirectoryListing, YieldsWhatThePatternAndTheKindAdmit) {
  const tests::TempFolder folder;
  for (const char* const name : {"00000000", "00000001", "ABC"})
    writeFile(folder.path() / name, "");
  EXPECT_FALSE(CNuDirectory::Create((folder.path() / "A").c_str(), false).IsError());
  using Names = std::set<std::string>;
  EXPECT_EQ(listed(folder.path(), "*", true), (Names{"00000000", "00000001", "A", "ABC"}));
  EXPECT_EQ(listed(folder.path(), "A*", true), (Names{"A", "ABC"}));
  EXPECT_EQ(listed(folder.path(), "A*", false), (Names{"ABC"}));

  CNuDirectory directory;
  const CNuError missing = directory.Open((folder.path() / "none").c_str(), "*", true);
  EXPECT_EQ(missing.GetErrorCode(), ENOENT);
  EXPECT_EQ(missing.AsString(), "No such file or directory");
  bool end = false;
  EXPECT_EQ(directory.GetEntry(nullptr, end).GetErrorCode(), EBADF);
  EXPECT_EQ(CNuDirectory::Create((folder.path() / "a/b").c_str(), false).GetErrorCode(), ENOENT);
}

TEST(CatalogueLock, LetsItsHolderInAgainAndKeepsOthersOut) {
  int steps = 0;
  const auto work = [&steps] {
    for (int round = 0; round < 20000; ++round) {
      const TqCriticalSectionLock outer(&gCriticalSection);
      const TqCriticalSectionLock inner(&gCriticalSection);
      const TqCriticalSectionLock none(nullptr);
      ++steps;
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(steps, 40000);
}

}  // namespace

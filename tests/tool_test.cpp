// The operator's tool, run as an operator runs it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

class Tool : public tests::ToolRun {
protected:
  json report(const std::string& arguments) const {
    return json::parse(tqlib(arguments + " --json").out);
  }
  void makeLibrary() const {
    makeStore();
    ToolRun::makeLibrary("LIB1");
  }
  std::string media() const {
    std::string all;
    const json inventory = report("elements LIB1");
    for (const json& e : inventory["elements"])
      all += e["element"].get<std::string>() + "=" + e["barcode"].get<std::string>() + " ";
    return all;
  }
};

TEST_F(Tool, InitWritesAConfigurationOnceAndEveryCommandNeedsOne) {
  expectRefused(1, "elements LIB1", "tqlib init");
  EXPECT_EQ(report("init store")["config"], path("store/tqlib.ini").string());
  EXPECT_TRUE(fs::is_directory(path("store/LibEmulator")) && fs::is_directory(path("store/tapes")));
  writeFile(path("store/tqlib.ini"), "mine");
  expectRefused(1, "init store", "configuration already");
  EXPECT_EQ(readFile(path("store/tqlib.ini")), "mine");
  expectRefused(1, "--config nowhere.ini elements LIB1", "nowhere.ini");
}

TEST_F(Tool, ALibraryIsCreatedOnceAndItsMediaAreSetMovedAndTakenOut) {
  makeLibrary();
  EXPECT_NE(tqlib("elements LIB1").out.find("drive:501"), std::string::npos);
  const std::string file = readFile(path("store/LibEmulator/Lib_LIB1.xml"));
  EXPECT_NE(file.find("LIB1D2"), std::string::npos);
  expectRefused(1, "library create LIB1 --host HOST2", "exists already");
  EXPECT_EQ(tqlib("library create LIB1 --host HOST2").err.find("--purge"), std::string::npos);
  EXPECT_EQ(readFile(path("store/LibEmulator/Lib_LIB1.xml")), file);
  expectDone("library create LIB2 --host H --drive-serial SA --drive-serial SB --drive-base 7");
  EXPECT_EQ(report("elements LIB2")["elements"][1]["address"], 8);

  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  expectDone("element set LIB1 shelf:7 --barcode A00002L6");
  expectDone("move LIB1 slot:1000 drive:500");
  expectRefused(1, "move LIB1 slot:1000 slot:1001", "40018");
  expectRefused(1, "move LIB1 shelf:7 slot:99", "50009");
  const std::string slots = "mail:10= mail:11= slot:1000= slot:1001= slot:1002= ";
  EXPECT_EQ(media(), "drive:500=A00001L6 drive:501= " + slots + "shelf:7=A00002L6 ");
  expectRefused(1, "element set LIB1 drive:500 --barcode barcode", "holds A00001L6");
  expectDone("element set LIB1 drive:500 --empty");
  expectDone("element remove LIB1 shelf:7");
  EXPECT_EQ(media(), "drive:500= drive:501= " + slots);
}

TEST_F(Tool, AChangeThatCannotBeSavedIsAFailure) {
  makeLibrary();
  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  const std::string before = readFile(path("store/LibEmulator/Lib_LIB1.xml"));
  letSavesFail();
  for (const char* change :
       {"element set LIB1 slot:1001 --barcode A00002L6", "element set LIB1 slot:1000 --empty",
        "element set LIB1 slot:1000 --barcode A00002L6", "element set LIB1 shelf:1 --empty",
        "element remove LIB1 slot:1002", "move LIB1 slot:1000 drive:500",
        "status set LIB1 --status 2 --asc 4 --ascq 1", "drive remove LIB1 LIB1D1",
        "drive add LIB1 NEW --host HOST1", "library create LIB2 --host HOST1 --slots 3"}) {
    expectRefused(1, change, "was not saved");
  }
  EXPECT_EQ(readFile(path("store/LibEmulator/Lib_LIB1.xml")), before);
}

TEST_F(Tool, RefusalsNameTheirReasonAndChangeNothing) {
  makeLibrary();
  writeFile(path("data"), "data");
  const std::string before = readFile(path("store/LibEmulator/Lib_LIB1.xml"));
  const struct {
    int exitCode;
    const char* arguments;
    const char* reason;
  } kCases[] = {
      {2, "", "subcommand"},
      {2, "elements ../LIB1", "file name"},
      {2, "elements $(printf '\\377')", "UTF-8"},
      {2, "element set LIB1 slot:x --empty", "slot:x"},
      {2, "element set LIB1 slot:-1 --empty", "slot:-1"},
      {2, "element set LIB1 slot:1000", "--barcode"},
      {2, "element set LIB1 slot:1000 --barcode $(printf 'A\\001')", "control character"},
      {2, "element remove LIB1 drive:500", "drive remove"},
      {2, "status set LIB1 --status 0 --asc 0x00 --ascq 0", "no status"},
      {2, "library create L2 --host H --slots -1", "--slots"},
      {2, "library create L2 --host H --slots 5 --mail-slots 5 --mail-base 1004", "overlap"},
      {2, "library create L2 --host H --slots 9 --slot-base 2147483640", "too large"},
      {2, "library create L2 --host H --drives 1 --drive-serial 'A|B'", "|"},
      {2, "library create L2 --host H --drive-serial ab --drive-serial AB", "serial number"},
      {2, "volume write V data", "--mark"},
      {2, "volume write V --mark 1 --block-size 2G data", "--block-size"},
      {1, "elements NONE", "no such library"},
      {1, "element set LIB1 drive:900 --empty", "drive add"},
      {1, "element set LIB1 slot:10 --empty", "mail:10"},
      {1, "element remove LIB1 slot:900", "no such element"},
      {1, "volume write V --mark 1 absent", "absent"},
      {1, "volume write V --mark 1 store", "store"},
      {1, "volume read V --mark 1", "no such volume"},
      {1, "volume info V", "no such volume"},
      {1, "volume erase V", "no such volume"},
  };
  for (const auto& one : kCases) expectRefused(one.exitCode, one.arguments, one.reason);
  EXPECT_EQ(readFile(path("store/LibEmulator/Lib_LIB1.xml")), before);
  EXPECT_FALSE(fs::exists(path("store/LibEmulator/Lib_L2.xml")));
  EXPECT_TRUE(fs::is_empty(path("store/tapes")));
}

TEST_F(Tool, DataOfAnyLengthComesBackInBlocksOfAnySizeWithoutTheTailOfLongerData) {
  makeLibrary();
  for (const std::size_t length : {300000U, 4097U, 4096U, 1U, 0U}) {
    for (const std::string block : {"1000", "4K", "1M"}) {
      std::string data(length, '\0');
      for (std::size_t i = 0; i < length; ++i) data[i] = static_cast<char>(i * 31 % 251);
      writeFile(path("in"), data);
      const std::string options = " V --mark 1 --block-size " + block;
      expectDone("volume write" + options + " <in");
      expectDone("volume read" + options + " back");
      EXPECT_TRUE(readFile(path("back")) == data) << length << " in blocks of " << block;
      EXPECT_TRUE(tqlib("volume read" + options).out == data) << length << ", standard output";
    }
  }
}

TEST_F(Tool, MarkZeroStartsTheVolumeAnewAndAnErasedOneIsEmpty) {
  makeLibrary();
  writeFile(path("data"), std::string(5000, 'x'));
  for (const char number : {'0', '1', '2'})
    expectDone(std::string("volume write V data --mark ") + number);
  const auto used = [this] {
    const json info = report("volume info V");
    return std::pair(info["nextMark"].get<int>(), info["bytes"].get<int>());
  };
  EXPECT_EQ(used(), std::pair(3, 15000));
  expectRefused(2, "volume write V --mark 1 store/tapes/V/00000001", "itself");
  expectDone("volume write V --mark 0 </dev/null");
  EXPECT_EQ(used(), std::pair(1, 0));
  expectDone("volume erase V");
  EXPECT_TRUE(fs::is_empty(path("store/tapes/V")));
}

TEST_F(Tool, AFailedTransferIsToldAndAnOlderFileSurvivesIt) {
  makeLibrary();
  writeFile(path("big"), std::string((1U << 20) + 1, 'x'));
  writeFile(path("older"), "older");
  expectRefused(1, "volume write V --mark 1 big", "785");
  expectRefused(1, "volume read V --mark 9 older", "no file mark 9");
  EXPECT_FALSE(fs::exists(path("store/tapes/V/00000009")));
  fs::create_directory(path("store/tapes/V/00000003"));
  expectRefused(1, "volume read V --mark 3 older", "");
  EXPECT_EQ(readFile(path("older")), "older");
  const fs::directory_iterator left(m_folder.path());
  EXPECT_EQ(std::distance(begin(left), end(left)), 5) << "store, big, older, out and err";
  EXPECT_EQ(tqlib("volume read V --mark 1 /dev/full").exitCode, 1);
  fs::remove_all(path("store/tapes"));
  for (const char* command : {"write V --mark 1 older", "read V --mark 1", "info V", "erase V"}) {
    expectRefused(1, std::string("volume ") + command, "sVirtualTapeDirectory");
  }
}

}  // namespace

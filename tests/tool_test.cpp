// The operator's tool, run as an operator runs it.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "TempCatalogue.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

struct Result {
  int exitCode;
  std::string out;
  std::string err;
};

class Tool : public testing::Test {
protected:
  fs::path path(const std::string& name) const { return m_folder.path() / name; }
  fs::path mark(const std::string& volume, const std::string& file) const {
    return path("store/tapes") / volume / file;
  }

  // `arguments` is shell text, so that a test reads as what is typed.
  Result tqlib(const std::string& arguments) const {
    const std::string command =
        "cd '" + m_folder.path().string() + "' && unset TQ_PLATFORM_LOG && " +
        "TQ_PLATFORM_CONFIG=store/tqlib.ini '" TQLIB_BINARY "' " + arguments + " >out 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(path("out")),
            readFile(path("err"))};
  }

  void expectDone(const std::string& arguments) const {
    const Result result = tqlib(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments << "\n" << result.err;
  }
  void expectRefused(int exitCode, const std::string& arguments, const std::string& reason) const {
    const Result result = tqlib(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << arguments << "\n" << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << arguments << "\n" << result.err;
    EXPECT_EQ(result.out, "") << arguments;
  }

  void makeStore() const { expectDone("init store --volume-size-mb 1"); }
  void makeLibrary() const {
    makeStore();
    expectDone("library create LIB1 --host HOST1 --drives 2 --slots 3 --mail-slots 2");
  }

  std::string barcodeOf(const std::string& element) const {
    const json inventory = json::parse(tqlib("elements LIB1 --json").out);
    for (const json& entry : inventory["elements"]) {
      if (entry["element"] == element) return entry["barcode"];
    }
    return "no such element";
  }

  tests::TempFolder m_folder;
};

TEST_F(Tool, InitWritesAConfigurationOnceAndEveryCommandNeedsOne) {
  expectRefused(1, "elements LIB1", "tqlib init");
  const json paths = json::parse(tqlib("init store --json").out);
  EXPECT_EQ(paths["config"], path("store/tqlib.ini").string());
  EXPECT_TRUE(fs::is_directory(path("store/LibEmulator")));
  EXPECT_TRUE(fs::is_directory(path("store/tapes")));

  writeFile(path("store/tqlib.ini"), "mine");
  expectRefused(1, "init store", "configuration already");
  EXPECT_EQ(readFile(path("store/tqlib.ini")), "mine");
  expectRefused(1, "--config nowhere.ini elements LIB1", "nowhere.ini");
}

TEST_F(Tool, ALibraryComesWithItsElementsAndIsNeverCreatedTwice) {
  makeLibrary();
  const std::string table = tqlib("elements LIB1").out;
  for (const char* element : {"drive:500", "drive:501", "slot:1000", "slot:1002", "mail:10"}) {
    EXPECT_NE(table.find(element), std::string::npos) << table;
  }
  EXPECT_EQ(json::parse(tqlib("elements LIB1 --json").out)["elements"].size(), 7U);

  const std::string file = readFile(path("store/LibEmulator/Lib_LIB1.xml"));
  EXPECT_NE(file.find("LIB1D2"), std::string::npos);
  expectRefused(1, "library create LIB1 --host HOST2", "exists already");
  EXPECT_EQ(readFile(path("store/LibEmulator/Lib_LIB1.xml")), file);

  expectDone("library create LIB2 --host H --drive-serial SA --drive-serial SB --drive-base 7");
  EXPECT_EQ(json::parse(tqlib("elements LIB2 --json").out)["elements"][1]["address"], 8);
}

TEST_F(Tool, AMediumIsSetMovedAndTakenOut) {
  makeLibrary();
  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  expectDone("element set LIB1 shelf:7 --barcode A00002L6");
  expectDone("move LIB1 slot:1000 drive:500");
  EXPECT_EQ(barcodeOf("slot:1000"), "");
  EXPECT_EQ(barcodeOf("drive:500"), "A00001L6");
  EXPECT_EQ(barcodeOf("shelf:7"), "A00002L6");

  expectRefused(1, "move LIB1 slot:1000 slot:1001", "40018");
  expectRefused(1, "move LIB1 shelf:7 drive:500", "40006");
  expectRefused(1, "move LIB1 shelf:7 slot:99", "50009");
  expectDone("element set LIB1 drive:500 --empty");
  expectDone("element remove LIB1 shelf:7");
  EXPECT_EQ(barcodeOf("drive:500"), "");
  EXPECT_EQ(barcodeOf("shelf:7"), "no such element");
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
      {2, "elements", "LIBRARY"},
      {2, "elements ../LIB1", "file name"},
      {2, "elements $(printf '\\377')", "UTF-8"},
      {2, "element set LIB1 slot:x --empty", "slot:x"},
      {2, "element set LIB1 slot:-1 --empty", "slot:-1"},
      {2, "element set LIB1 slot:1000", "--barcode"},
      {2, "element set LIB1 slot:1000 --empty --barcode A", "--barcode"},
      {2, "element set LIB1 slot:1000 --barcode $(printf 'A\\001')", "control character"},
      {2, "element remove LIB1 drive:500", "drive:500"},
      {2, "library create L2 --host H --slots -1", "--slots"},
      {2, "library create L2 --host H --slots 5 --mail-slots 5 --mail-base 1004", "overlap"},
      {2, "library create L2 --host H --slots 9 --slot-base 2147483640", "too large"},
      {2, "library create L2 --host H --drives 1 --drive-serial 'A|B'", "|"},
      {2, "library create L2 --host H --drive-serial ab --drive-serial AB", "serial number"},
      {2, "library create L2 --slots 5", "--host"},
      {2, "volume write V data", "--mark"},
      {2, "volume write V --mark 1 --block-size 2G data", "--block-size"},
      {1, "elements NONE", "no such library"},
      {1, "element set LIB1 drive:900 --empty", "no such drive"},
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

TEST_F(Tool, DataOfAnyLengthComesBackWholeInBlocksOfAnySize) {
  makeStore();
  for (const std::size_t length : {0U, 1U, 4096U, 4097U, 300000U}) {
    for (const char* block : {"1000", "4K", "1M"}) {
      std::string data(length, '\0');
      for (std::size_t i = 0; i < length; ++i) data[i] = static_cast<char>(i * 31 % 251);
      writeFile(path("in"), data);
      const std::string options = std::string(" V --mark 1 --block-size ") + block;
      expectDone("volume write" + options + " <in");
      expectDone("volume read" + options + " back");
      EXPECT_TRUE(readFile(path("back")) == data) << length << " in blocks of " << block;
      EXPECT_TRUE(tqlib("volume read" + options).out == data) << length << ", standard output";
    }
  }
}

TEST_F(Tool, AShorterWriteLeavesNoTailAndMarkZeroStartsTheVolumeAnew) {
  makeStore();
  writeFile(path("long"), std::string(5000, 'x'));
  writeFile(path("short"), "new");
  for (const char* number : {"0", "1", "2"}) {
    expectDone(std::string("volume write V long --mark ") + number);
  }
  expectDone("volume write V short --mark 1");
  EXPECT_EQ(readFile(mark("V", "00000001")), "new");
  json info = json::parse(tqlib("volume info V --json").out);
  EXPECT_EQ(info["nextMark"], 3);
  EXPECT_EQ(info["bytes"], 10003);

  expectRefused(2, "volume write V --mark 1 store/tapes/V/00000001", "itself");
  expectDone("volume write V --mark 0 </dev/null");
  info = json::parse(tqlib("volume info V --json").out);
  EXPECT_EQ(info["nextMark"], 1);
  EXPECT_EQ(info["bytes"], 0);
  expectDone("volume erase V");
  EXPECT_TRUE(fs::is_empty(path("store/tapes/V")));
}

TEST_F(Tool, AFailedTransferIsToldAndAnOlderFileSurvivesIt) {
  makeStore();
  writeFile(path("big"), std::string((1U << 20) + 1, 'x'));
  writeFile(path("older"), "older");
  expectRefused(1, "volume write V --mark 1 big", "785");
  expectRefused(1, "volume read V --mark 9 older", "no file mark 9");
  EXPECT_FALSE(fs::exists(mark("V", "00000009")));

  fs::create_directory(mark("V", "00000003"));
  expectRefused(1, "volume read V --mark 3 older", "");
  EXPECT_EQ(readFile(path("older")), "older");
  const fs::directory_iterator left(m_folder.path());
  EXPECT_EQ(std::distance(begin(left), end(left)), 5) << "store, big, older, out and err";

  EXPECT_EQ(tqlib("volume read V --mark 1 /dev/full").exitCode, 1);
  fs::remove_all(path("store/tapes"));
  expectRefused(1, "volume write V --mark 1 older", "tape folder");
}

}  // namespace

// The tool, run as an operator runs it: libraries, media, transfers, completion.
#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

class Tool : public tests::ToolRun {
protected:
  void makeLibrary() const {
    makeStore();
    ToolRun::makeLibrary("LIB1");
  }
  std::string media() const {
    std::string all;
    const json inventory = ask("elements LIB1");
    for (const json& e : inventory["elements"])
      all += e["element"].get<std::string>() + "=" + e["barcode"].get<std::string>() + " ";
    return all;
  }
};

TEST_F(Tool, InitWritesAConfigurationOnceAndEveryCommandNeedsOne) {
  expectRefused(1, "elements LIB1", "tqlib init");
  EXPECT_EQ(ask("init store")["config"], path("store/tqlib.ini").string());
  EXPECT_TRUE(fs::is_directory(path("store/LibEmulator")) && fs::is_directory(path("store/tapes")));
  writeFile(path("store/tqlib.ini"), "mine");
  expectRefused(1, "init store", "configuration already");
  EXPECT_EQ(readFile(path("store/tqlib.ini")), "mine");
  expectRefused(1, "--config nowhere.ini elements LIB1", "nowhere.ini");
}

TEST_F(Tool, ALibraryIsCreatedOnceAndItsMediaAreSetMovedAndRemoved) {
  makeLibrary();
  const std::string file = readFile(libraryFile("LIB1"));
  expectRefused(1, "library create LIB1 --host HOST2", "exists already");
  EXPECT_EQ(tqlib("library create LIB1 --host HOST2").err.find("--purge"), std::string::npos);
  EXPECT_EQ(readFile(libraryFile("LIB1")), file);
  expectDone("library create LIB2 --host H --drive-serial SA --drive-serial SB --drive-base 7");
  EXPECT_EQ(ask("elements LIB2")["elements"][1]["address"], 8);

  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  expectDone("element set LIB1 shelf:7 --barcode A00002L6");
  expectDone("move LIB1 slot:1000 drive:500");
  expectRefused(1, "move LIB1 slot:1000 slot:1001", "40018");
  expectRefused(1, "move LIB1 shelf:7 slot:99", "50009");
  expectRefused(1, "element set LIB1 drive:500 --barcode barcode", "holds A00001L6");
  const std::string slots = "mail:10= mail:11= slot:1000= slot:1001= slot:1002= ";
  EXPECT_EQ(media(), "drive:500=A00001L6 drive:501= " + slots + "shelf:7=A00002L6 ");
  expectDone("element set LIB1 drive:500 --empty");
  expectDone("element remove LIB1 shelf:7");
  EXPECT_EQ(media(), "drive:500= drive:501= " + slots);
}

TEST_F(Tool, AChangeThatCannotBeSavedIsAFailure) {
  makeLibrary();
  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  const std::string before = readFile(libraryFile("LIB1"));
  letSavesFail();
  for (const char* change :
       {"element set LIB1 slot:1001 --barcode A00002L6", "element set LIB1 slot:1000 --empty",
        "element set LIB1 slot:1000 --barcode A00002L6", "element set LIB1 shelf:1 --empty",
        "element remove LIB1 slot:1002", "move LIB1 slot:1000 drive:500",
        "status set LIB1 --status 2 --asc 4 --ascq 1", "drive remove LIB1 LIB1D1",
        "drive add LIB1 NEW --host HOST1", "library create LIB2 --host HOST1 --slots 3"}) {
    expectRefused(1, change, "was not saved");
  }
  EXPECT_EQ(readFile(libraryFile("LIB1")), before);
}

TEST_F(Tool, RefusalsNameTheirReasonAndChangeNothing) {
  makeLibrary();
  writeFile(path("data"), "data");
  const std::string before = readFile(libraryFile("LIB1"));
  const struct {
    int exitCode;
    const char* arguments;
    const char* reason;
  } kCases[] = {
      {2, "", "subcommand"},
      {2, "elements ../LIB1", "file name"},
      {2, "elements $(printf '\\377')", "UTF-8"},
      {2, "element set LIB1 slot:x --empty", "slot:x"},
      {2, "element set LIB1 slot:1000", "--barcode"},
      {2, "element set LIB1 slot:1000 --barcode $(printf 'A\\001')", "control character"},
      {2, "element remove LIB1 drive:500", "drive remove"},
      {2, "bogus", "bogus"},
      {2, "status set LIB1 --status 0 --asc 0x00 --ascq 0", "no status"},
      {2, "status set LIB1 --status 256 --asc 0 --ascq 0", "256"},
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
  };
  for (const auto& one : kCases) expectRefused(one.exitCode, one.arguments, one.reason);
  EXPECT_EQ(readFile(libraryFile("LIB1")), before);
  EXPECT_FALSE(fs::exists(libraryFile("L2")));
  EXPECT_TRUE(fs::is_empty(path("store/tapes")));
}

TEST_F(Tool, DataOfAnyLengthComesBackInBlocksOfAnySizeWithoutTheTailOfLongerData) {
  makeStore();
  for (const std::size_t length : {300000U, 4097U, 4096U, 1U, 0U}) {
    std::string data(length, '\0');
    for (std::size_t i = 0; i < length; ++i) data[i] = static_cast<char>(i * 31 % 251);
    writeFile(path("in"), data);
    for (const std::string block : {"1000", "4K", "1M"}) {
      const std::string options = " V --mark 1 --block-size " + block;
      expectDone("volume write" + options + " <in");
      expectDone("volume read" + options + " back");
      EXPECT_TRUE(readFile(path("back")) == data) << length << " in blocks of " << block;
      EXPECT_TRUE(tqlib("volume read" + options).out == data) << length << ", standard output";
    }
  }
}

TEST_F(Tool, AFailedTransferIsReportedAndKeepsTheOlderFile) {
  makeStore();
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

class DeviceTool : public tests::ToolRun {
protected:
  void SetUp() override {
    makeStore();
    EXPECT_EQ(ask("library list"), json::parse(R"({"libraries": []})"));
    makeLibrary("LIB0");
    makeLibrary("LIB1");
  }
  std::string states() const {
    std::string text;
    const json answer = ask("library list");
    for (const json& library : answer["libraries"]) {
      text += library["library"].get<std::string>() + " " + library["state"].get<std::string>() +
              (library["listed"] != false ? "\n" : " unlisted\n");
    }
    return text;
  }
  std::string serials(const std::string& arguments) const {
    std::string text;
    const json answer = ask("devices " + arguments);
    for (const json& device : answer["devices"]) text += device["serial"].get<std::string>() + " ";
    return text;
  }
};

TEST_F(DeviceTool, ARemovalLeavesAFileThatAPurgeDeletesUnlessItCannotBeRead) {
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 ok\n");
  const std::string whole = readFile(libraryFile("LIB1"));
  writeFile(libraryFile("LIB1"), whole.substr(0, whole.size() / 2));
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 unreadable\n");
  expectRefused(1, "library remove LIB1 --purge", "50005");
  writeFile(libraryFile("LIB1"), whole);

  EXPECT_NE(tqlib("library remove LIB1").out.find("Lib_LIB1.xml"), std::string::npos);
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 removed unlisted\n");
  for (const char* command : {"library remove LIB1", "library create LIB1 --host H",
                              "elements LIB1", "library show LIB1"}) {
    expectRefused(1, command, "tqlib library remove LIB1 --purge");
  }
  expectDone("library remove LIB1 --purge");
  EXPECT_FALSE(fs::exists(libraryFile("LIB1")));
  makeLibrary("LIB1");

  const std::string listFile = path("store/LibEmulator/LibraryList.xml");
  std::string list = readFile(listFile);  // with two entries; a purge removes both
  writeFile(listFile, list.insert(list.rfind("</"), R"(<Library Id="LIB1">x</Library>)"));
  fs::remove(libraryFile("LIB1"));  // an entry without a file fails the query over all libraries
  expectRefused(1, "devices HOST1", "LIB1");
  expectDone("library remove LIB1 --purge");
  EXPECT_EQ(serials("HOST1"), "LIB0D1 LIB0D2 LIB0 ");
  EXPECT_EQ(states(), "LIB0 ok\n");
}

TEST_F(DeviceTool, ABrokenListIsReportedOnceAndHidesNoLibrary) {
  writeFile(path("store/LibEmulator/LibraryList.xml"), "<LibraryList><Libr");
  const Result list = tqlib("library list");
  EXPECT_EQ(list.exitCode, 1);
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 ok\n");
  EXPECT_EQ(ask("library list")["libraries"][0]["listed"], json());
  const auto at = list.err.find("LibraryList.xml");
  ASSERT_NE(at, std::string::npos) << list.err;
  EXPECT_EQ(list.err.find("LibraryList.xml", at + 1), std::string::npos) << list.err;
  EXPECT_NE(list.err.find("fix the list"), std::string::npos) << list.err;
  EXPECT_NE(list.out.find("LIB0     ok  "), std::string::npos) << list.out;
  expectRefused(1, "library remove LIB1", "fix the list");
}

TEST_F(DeviceTool, ADriveIsAddedRemovedAndReportsItsMedium) {
  EXPECT_EQ(ask("drive add LIB1 NEW --host HOST1 --model M1")["address"], 502);
  EXPECT_EQ(ask("drive add LIB1 NEW --host HOST2 --path /dev/nst7")["number"], 3);
  EXPECT_EQ(ask("devices HOST2")["devices"][0]["model"], "M1");
  expectRefused(1, "drive add LIB1 OTHER --host HOST1 --number 501", "slot:1000");
  expectRefused(2, "drive add LIB1 LIB1 --host HOST1", "its library");
  expectDone("element set LIB1 drive:502 --barcode A00001L6");
  EXPECT_EQ(tqlib("drive volume NEW").out, "A00001L6\n");
  expectRefused(1, "drive volume NONE", "NONE");

  expectRefused(1, "drive remove LIB1 NEW --host HOST3", "HOST3");
  expectRefused(2, "drive remove LIB1 LIB1", "library remove");
  EXPECT_EQ(ask("drive remove LIB1 NEW --host host1")["removed"], false);
  EXPECT_EQ(serials("HOST1 LIB1") + "| " + serials("HOST2 LIB1"), "LIB1D1 LIB1D2 LIB1 | NEW ");
  EXPECT_EQ(ask("drive remove LIB1 NEW")["removed"], true);
  expectRefused(1, "drive remove LIB1 NEW", "no such drive");
}

class ToolCompletion : public tests::ToolRun {
protected:
  ToolCompletion() {
    makeStore();
    makeLibrary("LIB001");
    expectDone("element set LIB001 slot:1000 --barcode A00001");
    expectDone("volume write A00001 --mark 0 </dev/null");
  }
};

TEST_F(ToolCompletion, OffersWhatMayComeNext) {
  const struct {
    const char* line;
    const char* candidates;
  } kCases[] = {
      {"tqlib lib", "library\n"},
      {"tqlib element ", "list\nmove\nremove\nset\n"},
      {"tqlib library show ", "LIB001\n"},
      {"tqlib --config store/tqlib.ini library show L", "LIB001\n"},
      {"tqlib element move LIB001 ", "slot:1000\n"},
      {"tqlib element move LIB001 slot:1000 slot:", "slot:1001\nslot:1002\n"},
      {"tqlib drive remove LIB001 ", "LIB001D1\nLIB001D2\n"},
      {"tqlib drive remove LIB001 LIB001D1 --ho", "--host\n"},
      {"tqlib device list ", "HOST1\n"},
      {"tqlib volume write A00001 ", ""},
      {"tqlib element list NONE slot:", ""},
      {"tar -c . | tqlib volume copy A", "A00001\n"},
      {"tqlib --config=store/tqlib.ini 'element' list L", "LIB001\n"},
      {"tqlib drive remove LIB001 LIB001D1 --host=H", "HOST1\n"},
  };
  for (const auto& [line, candidates] : kCases) {
    const Result result = tqlib("complete \"" + std::string(line) + "\"");
    EXPECT_EQ(result.exitCode, 0) << line;
    EXPECT_EQ(result.out, candidates) << line;
  }
}

TEST_F(ToolCompletion, WorksInBash) {
  writeFile(path("type"), tqlib("completion bash").out + R"(tqlib() { ')" TQLIB_BINARY R"(' "$@"; }
COMP_LINE='tqlib element move LIB001 slot:1000 slot:1001'
COMP_POINT=${#COMP_LINE}
_tqlib tqlib && echo "${COMPREPLY[*]}"
)");
  tqlib("--version >/dev/null; TQ_PLATFORM_CONFIG=store/tqlib.ini bash type");
  EXPECT_EQ(readFile(path("out")), "1001\n");
}

TEST_F(ToolCompletion, ErrorsShowCodeTextAndNextStep) {
  const std::string command = "element move LIB001 slot:1001 drive:500";
  expectRefused(1, command, "the source is empty (error 40018)");
  expectRefused(1, command, "\nnext: \"tqlib element list LIBRARY\"");
  expectRefused(1, "--json " + command, R"("code": 40018,)");
  expectRefused(1, "--json " + command, R"("next": "\"tqlib element list LIBRARY\" shows)");
}

// A terminal is what script(1) makes for the command.
TEST_F(ToolCompletion, ColoursAreForTerminalsAlone) {
  const std::string command = "'" TQLIB_BINARY "' library show NONE";
  for (const std::string environment : {"TERM=xterm", "TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
    tqlib("--version >/dev/null; env -u NO_COLOR TQ_PLATFORM_CONFIG=store/tqlib.ini " +
          environment + " script -qc \"" + command + "\" /dev/null");
    const std::string shown = readFile(path("out"));
    EXPECT_NE(shown.find("no such library"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("\033[") != std::string::npos, environment == "TERM=xterm");
  }
  EXPECT_EQ(tqlib("library show NONE").err.find('\033'), std::string::npos);
}

}  // namespace

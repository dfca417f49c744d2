// The operator's tool on devices: libraries, drives, what hosts see of them, injected status.
#include <nlohmann/json.hpp>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class DeviceTool : public tests::ToolRun {
protected:
  fs::path libraryFile() const { return path("store/LibEmulator/Lib_LIB1.xml"); }
  json ask(const std::string& arguments) const {
    return json::parse(tqlib(arguments + " --json").out, nullptr, false);
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

TEST_F(DeviceTool, ARemovedLibraryLeavesAFileThatAPurgeDeletesUnlessItCannotBeRead) {
  makeStore();
  EXPECT_EQ(ask("library list"), json::parse(R"({"libraries": []})"));
  makeLibrary("LIB0"), makeLibrary("LIB1");
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 ok\n");
  const std::string whole = tests::readFile(libraryFile());
  tests::writeFile(libraryFile(), whole.substr(0, whole.size() / 2));
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 unreadable\n");
  expectRefused(1, "library remove LIB1 --purge", "50005");
  tests::writeFile(libraryFile(), whole);

  EXPECT_NE(tqlib("library remove LIB1").out.find("Lib_LIB1.xml"), std::string::npos);
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 removed unlisted\n");
  for (const char* command : {"library remove LIB1", "library create LIB1 --host H",
                              "elements LIB1", "library show LIB1"}) {
    expectRefused(1, command, "tqlib library remove LIB1 --purge");
  }
  expectDone("library remove LIB1 --purge");
  EXPECT_FALSE(fs::exists(libraryFile()));
  makeLibrary("LIB1");

  fs::remove(libraryFile());  // an entry without a file fails the query over all libraries
  expectRefused(1, "devices HOST1", "LIB1");
  expectDone("library remove LIB1 --purge");
  EXPECT_EQ(serials("HOST1"), "LIB0D1 LIB0D2 LIB0 ");
  EXPECT_EQ(states(), "LIB0 ok\n");
}

TEST_F(DeviceTool, ABrokenListIsToldOnceAndHidesNoLibrary) {
  makeStore(), makeLibrary("LIB0"), makeLibrary("LIB1");
  tests::writeFile(path("store/LibEmulator/LibraryList.xml"), "<LibraryList><Libr");
  const Result list = tqlib("library list");
  EXPECT_EQ(list.exitCode, 1);
  EXPECT_EQ(states(), "LIB0 ok\nLIB1 ok\n");
  EXPECT_EQ(ask("library list")["libraries"][0]["listed"], json());
  const auto at = list.err.find("LibraryList.xml");
  ASSERT_NE(at, std::string::npos) << list.err;
  EXPECT_EQ(list.err.find("LibraryList.xml", at + 1), std::string::npos) << list.err;
  EXPECT_NE(list.err.find("mend the list"), std::string::npos) << list.err;
  EXPECT_NE(list.out.find("LIB0     ok  "), std::string::npos) << list.out;
  expectRefused(1, "library remove LIB1", "mend the list");
}

TEST_F(DeviceTool, ADriveJoinsAndLeavesALibraryAndTellsItsMedium) {
  makeStore(), makeLibrary("LIB1");
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

TEST_F(DeviceTool, AnInjectedStatusIsUsedUpByReadsAndAWrongWordIsNamed) {
  makeStore(), makeLibrary("LIB1");
  expectRefused(2, "status set LIB1 --status 256 --asc 0 --ascq 0", "256");
  expectDone("status set LIB1 --status 0x02 --asc 4 --ascq 0x1F --count 2");
  const std::string words = "status 0x02, asc 0x04, ascq 0x1f\n";
  for (const char* get : {"status get LIB1 --peek", "status get LIB1", "status get LIB1"}) {
    EXPECT_EQ(tqlib(get).out, words);
  }
  EXPECT_EQ(tqlib("status get LIB1").out, "no status\n");
  expectRefused(2, "bogus", "bogus");
}

}  // namespace

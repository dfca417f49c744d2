// The tool, run as an operator runs it: libraries, media, completion.
#include "SmallLibrary.h"
#include "ToolRun.h"

namespace tests {
namespace {

class Tool : public ToolRun {
protected:
  Tool() {
    makeLibrary("LIB0");
    makeLibrary("LIB1");
  }
  std::string states() const {
    return listed("libraries", {"library", "state", "listed"}, "library list");
  }
  std::string serials(const std::string& arguments) const {
    return listed("devices", {"serial"}, "devices " + arguments);
  }
};

TEST_F(Tool, InitWritesAConfigurationOnceAndEveryCommandNeedsOne) {
  writeFile(path("store/tqlib.ini"), "mine");
  expectRefused(1, "init store", "configuration already");
  EXPECT_EQ(readFile(path("store/tqlib.ini")), "mine");
  expectRefused(1, "--config nowhere.ini elements LIB1", "nowhere.ini");
  fs::remove_all(path("store"));
  expectRefused(1, "elements LIB1", "tqlib init");
  EXPECT_EQ(ask("init store")["config"], path("store/tqlib.ini").string());
  EXPECT_EQ(ask("library list").dump(), R"({"libraries":[]})");
}

TEST_F(Tool, AChangeThatCannotBeSavedIsAFailure) {
  expectDone("element set LIB1 slot:1000 --barcode A00001L6");
  const std::string before = readFile(libraryFile("LIB1"));
  letSavesFail();
  for (const char* change :
       {"element set LIB1 slot:1000 --empty", "element set LIB1 shelf:1 --new --empty",
        "element remove LIB1 slot:1002", "move LIB1 slot:1000 drive:500",
        "status set LIB1 --status 2 --asc 4 --ascq 1", "drive remove LIB1 LIB1D1",
        "drive add LIB1 NEW --host HOST1", "library create LIB2 --host HOST1 --slots 3"})
    expectRefused(1, change, "File too large");
  EXPECT_EQ(readFile(libraryFile("LIB1")), before);
}

const std::tuple<int, const char*, const char*> kRefusals[] = {
    {2, "elements ../LIB1", "file name"},
    {2, "elements $(printf '\\377')", "UTF-8"},
    {2, "element set LIB1 slot:1000 --barcode $(printf 'A\\001')", "control character"},
    {2, "element remove LIB1 drive:500", "drive remove"},
    {2, "status set LIB1 --status 0 --asc 0x00 --ascq 0", "no status"},
    {2, "library create L2 --host H --slots 5 --mail-slots 5 --mail-base 1004", "overlap"},
    {2, "volume write V --mark 1 --block-size 2G data", "--block-size"},
    {2, "help bogus", "unknown command or argument: bogus"},
    {2, "volume bogus --help", "unknown command or argument: bogus"},
    {1, "element set LIB1 drive:900 --empty", "drive add"},
    {1, "element set LIB1 slot:10 --empty", "mail:10"},
    {1, "volume write V --mark 1 absent", "absent"},
    {1, "move LIB1 slot:1001 drive:500", "to drive:500: slot:1001 is empty\n"},
    {1, "--json move LIB1 slot:1001 drive:500", R"("code": 40018,)"},
    {1, "volume read V --mark 1", "no such volume"},
    {1, "devices NONE LIB1", "NONE sees no device of library LIB1\nnext: \"tqlib host list\""},
    {1, "devices HOST1 NONE", "no such library"},
    {1, "status list NONE", "no such library"},
    {1, "status clear NONE", "no such library"},
    {1, "drive edit LIB1 LIB1D1 --model model", "cannot hold"},
    {1, "drive edit LIB1 LIB1D1 --host NONE --lun 1", "LIB1D1"},
    {2, "drive edit LIB1 LIB1D1 --lun 1", "--host"},
    {2, "library edit LIB1", "--model"},
    {1, "library remove LIB1 --purge", "LIB1, which has 0 media"},
};

TEST_F(Tool, RefusalsNameTheirReasonAndChangeNothing) {
  const std::string before = readFile(libraryFile("LIB1"));
  for (const auto& [exitCode, arguments, reason] : kRefusals)
    expectRefused(exitCode, arguments, reason);
  EXPECT_EQ(readFile(libraryFile("LIB1")), before);
  EXPECT_FALSE(fs::exists(libraryFile("L2")));
  EXPECT_TRUE(fs::is_empty(path("store/tapes")));
}

TEST_F(Tool, ARemovalLeavesAFileThatAPurgeDeletesUnlessItCannotBeRead) {
  const std::string whole = readFile(libraryFile("LIB1"));
  writeFile(libraryFile("LIB1"), whole.substr(0, whole.size() / 2));
  EXPECT_EQ(states(), "LIB0/ok/true LIB1/unreadable/true ");
  expectRefused(1, "library remove LIB1 --purge --yes", "50005");
  writeFile(libraryFile("LIB1"), whole);

  expectDone("library remove LIB1");
  EXPECT_EQ(states(), "LIB0/ok/true LIB1/removed/false ");
  for (const char* command :
       {"library remove LIB1", "drive list LIB1", "status get LIB1", "library create LIB1 --host H",
        "library edit LIB1 --model M", "elements LIB1"})
    expectRefused(1, command, "tqlib library remove LIB1 --purge");
  expectDone("library remove LIB1 --purge --yes");
  EXPECT_FALSE(fs::exists(libraryFile("LIB1")));
  makeLibrary("LIB1");

  fs::remove(libraryFile("LIB1"));  // an entry without a file fails the query over all libraries
  expectRefused(1, "devices HOST1", "LIB1");
  expectDone("library remove LIB1 --purge --yes");
  EXPECT_EQ(serials("HOST1"), "LIB0D1 LIB0D2 LIB0 ");
}

TEST_F(Tool, ABrokenListIsReportedAndHidesNoLibrary) {
  writeFile(path("store/LibEmulator/LibraryList.xml"), "<LibraryList><Libr");
  EXPECT_EQ(states(), "LIB0/ok/null LIB1/ok/null ");
  const Result list = tqlib("library list");
  EXPECT_EQ(list.exitCode, 1);
  EXPECT_THAT(list.err, HasSubstr("fix the list"));
  expectRefused(1, "library remove LIB1", "fix the list");
}

TEST_F(Tool, ADriveIsAddedRemovedAndReportsItsMedium) {
  EXPECT_EQ(ask("drive add LIB1 NEW --host HOST1 --model M1")["address"], 502);
  expectDone("drive add LIB1 NEW --host HOST2 --path /dev/nst7");
  expectRefused(1, "drive add LIB1 OTHER --host HOST1 --number 501", "slot:1000");
  expectRefused(2, "drive add LIB1 LIB1 --host HOST1", "its library");
  expectDone("element set LIB1 drive:502 --barcode A00001L6");
  EXPECT_EQ(tqlib("drive volume NEW").out, "A00001L6\n");

  EXPECT_EQ(listed("drives", {"serial", "element", "barcode", "hosts"}, "drive list LIB1"),
            R"(LIB1D1/drive:500//["HOST1"] LIB1D2/drive:501//["HOST1"] )"
            R"(NEW/drive:502/A00001L6/["HOST1","HOST2"] )");
  EXPECT_EQ(listed("hosts", {"host", "libraries", "devices"}, "host list"),
            R"(HOST1/["LIB0","LIB1"]/7 HOST2/["LIB1"]/1 )");
  expectRefused(1, "drive remove LIB1 NEW --host HOST3", "HOST3");
  expectRefused(2, "drive remove LIB1 LIB1", "library remove");
  EXPECT_EQ(ask("drive remove LIB1 NEW --host host1")["removed"], false);
  EXPECT_EQ(serials("HOST1 LIB1") + "| " + serials("HOST2 LIB1"), "LIB1D1 LIB1D2 LIB1 | NEW ");
  expectRefused(1, "drive remove LIB1 NEW", "drive:502 holds A00001L6");
  expectRefused(1, "drive remove LIB1 NEW --host HOST2", "drive:502 holds A00001L6");
  EXPECT_EQ(ask("drive remove LIB1 NEW --force")["removed"], true);
  expectRefused(1, "drive remove LIB1 NEW", "has no drive NEW");
}

TEST_F(Tool, AnEditChangesOnlyWhatItIsGiven) {
  expectDone("drive add LIB1 LIB1D1 --host HOST2 --path /dev/nst7 --port 2 --lun 3 --model M1");
  expectDone("element set LIB1 drive:500 --barcode A00001L6");
  const struct {
    const char* arguments;
    const char* from;  // the first such text in the file changes, and nothing else
    const char* to;
  } kCases[] = {
      {"drive edit LIB1 LIB1D1 --model M2", "<Model>M1<", "<Model>M2<"},
      {"drive edit LIB1 LIB1D1 --host host2 --lun 4", "<Lun>3<", "<Lun>4<"},
      {"library edit LIB1 --vendor V1", "<Manufacturer/>", "<Manufacturer>V1</Manufacturer>"},
      {"library edit LIB1 --vendor V2", "<Manufacturer>V1<", "<Manufacturer>V2<"},
      {"library edit LIB1 --host HOST1 --path /dev/sg3", "<AccessPath/>",
       "<AccessPath>/dev/sg3</AccessPath>"},
  };
  for (const auto& one : kCases) {
    std::string expected = compact(readFile(libraryFile("LIB1")));
    expected.replace(expected.find(one.from), std::string(one.from).size(), one.to);
    expectDone(one.arguments);
    EXPECT_EQ(compact(readFile(libraryFile("LIB1"))), expected) << one.arguments;
  }
}

TEST_F(Tool, AnInjectedStatusIsListedWithWhatIsLeftUntilItIsCleared) {
  const auto left = [this] {
    return listed("injections", {"library", "status", "reports"}, "status list");
  };
  expectDone("status set LIB0 --status 8 --asc 0 --ascq 0 --count 0");
  expectDone("status set LIB1 --status 2 --asc 4 --ascq 1 --count 3");
  expectDone("status get LIB1");
  EXPECT_EQ(left(), "LIB0/8/null LIB1/2/2 ");
  EXPECT_EQ(left(), "LIB0/8/null LIB1/2/2 ");
  run("sed -i 's/ExpireTime=\"[0-9]*/ExpireTime=\"9/' store/LibEmulator/Lib_LIB1.xml");
  EXPECT_EQ(listed("injections", {"reports", "seconds"}, "status list LIB1"), "1/0 ");
  EXPECT_EQ(ask("status clear LIB1")["cleared"], true);
  EXPECT_EQ(ask("status clear LIB1")["cleared"], false);
  EXPECT_EQ(left(), "LIB0/8/null ");
}

TEST_F(Tool, CompletionOffersWhatMayComeNext) {
  expectDone("element set LIB1 slot:1000 --barcode A00001");
  expectDone("volume write A00001 --mark 0 </dev/null");
  const std::pair<std::string, const char*> kCases[] = {
      {"tqlib element ", "list\nmove\nremove\nset\n"},
      {"tqlib --config=store/tqlib.ini 'library' show L", "LIB0\nLIB1\n"},
      {"tqlib element move LIB1 slot:1000 slot:", "slot:1001\nslot:1002\n"},
      {"tqlib drive remove LIB1 LIB1D1 --host=H", "HOST1\n"},
      {"tqlib element list LIB1 A00001 ", ""},
      {"tqlib volume write A00001 ", ""},
      {"tqlib element list LIB1 A", "A00001\n"},
      {"tar -c . | tqlib volume copy A", "A00001\n"},
  };
  for (const auto& [line, candidates] : kCases)
    EXPECT_EQ(tqlib("complete \"" + line + "\"").out, candidates) << line;
  writeFile(path("type"), tqlib("completion bash").out + R"(tqlib() { ')" TQLIB_BINARY R"(' "$@"; }
COMP_LINE='tqlib element move LIB1 slot:1000 slot:1001'
COMP_POINT=${#COMP_LINE}
_tqlib tqlib && echo "${COMPREPLY[*]}"
)");
  EXPECT_EQ(run("bash type").out, "1001\n");
}

// A terminal is what script(1) makes for the command.
TEST_F(Tool, ColoursAreForTerminalsOnly) {
  for (const std::string environment : {"TERM=xterm", "TERM=xterm NO_COLOR=1", "TERM=dumb"}) {
    const Result result = run("env -u NO_COLOR " + environment +
                              " script -qc \"'" TQLIB_BINARY "' library show NONE\" /dev/null");
    EXPECT_THAT(result.out, HasSubstr("no such library"));
    EXPECT_EQ(result.out.find("\033[") != std::string::npos, environment == "TERM=xterm");
  }
  EXPECT_EQ(tqlib("library show NONE").err.find('\033'), std::string::npos);
}

}  // namespace
}  // namespace tests

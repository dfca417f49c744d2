// The volume commands of the tool: checksums, copies, questions, and transfers that are stopped.
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <csignal>

#include "ToolRun.h"

namespace tests {
namespace {

class ToolVolume : public ToolRun {
protected:
  ToolVolume() {
    writeFile(path("data"), "data");
    expectDone("volume write A data --mark 0 --checksum --new");
    expectDone("volume write A data --mark 1 --checksum");
  }

  /// Runs a command on a terminal, as script(1) makes one, with `input` typed.
  Result onTerminal(const std::string& arguments, const std::string& input) const {
    return run("printf '" + input + "' | script -qc \"'" TQLIB_BINARY "' " + arguments +
               "\" --return /dev/null");
  }

  /// The marks of A with their sizes, and whether they have a checksum.
  std::string marks() const {
    return listed("marks", {"mark", "bytes", "checksum"}, "volume info A");
  }
  std::map<std::string, std::string> tapes() const { return treeOf(path("store/tapes")); }

  /// Feeds a command `count` bytes, interrupts it when it has taken them all, and returns the
  /// signal that it ended by.
  int interrupt(const std::string& arguments, std::size_t count) const {
    // A background job ignores the signal, and so would what it starts.
    const std::string command =
        inFolder("echo $$ >pid && exec env --default-signal=INT '" TQLIB_BINARY "' " + arguments);
    std::FILE* input = popen(command.c_str(), "w");
    std::fputs(std::string(count, 'x').c_str(), input);
    std::fflush(input);
    pollfd end{fileno(input), 0, 0};
    for (int left = 1; left > 0 && poll(&end, 1, 0) == 0;) ioctl(end.fd, FIONREAD, &left);
    kill(std::stoi(readFile(path("pid"))), SIGINT);
    return WTERMSIG(pclose(input));
  }
};

TEST_F(ToolVolume, DataOfAnyLengthComesBackInBlocksOfAnySizeWithoutTheTailOfLongerData) {
  for (const std::size_t length : {300000U, 4097U, 4096U, 1U, 0U}) {
    std::string data(length, '\0');
    for (std::size_t i = 0; i < length; ++i) data[i] = static_cast<char>(i * 31 % 251);
    writeFile(path("in"), data);
    for (const std::string block : {"1000", "4K", "1M"}) {
      const std::string options = " --mark 1 --block-size " + block;
      expectDone("volume write V --new --yes" + options + " <in");
      EXPECT_TRUE(tqlib("volume read V" + options).out == data)
          << length << " in blocks of " << block;
    }
  }
}

TEST_F(ToolVolume, AFailedReadKeepsTheOlderFile) {
  writeFile(path("older"), "older");
  expectRefused(1, "volume read A --mark 9 older", "no filemark 9");
  fs::create_directory(path("store/tapes/A/00000003"));
  expectRefused(1, "volume read A --mark 3 older", "");
  EXPECT_EQ(readFile(path("older")), "older");
  const fs::directory_iterator left(path(""));
  EXPECT_EQ(std::distance(begin(left), end(left)), 5) << "store, data, older, out and err";
  EXPECT_EQ(tqlib("volume read A --mark 1 /dev/full").exitCode, 1);
}

TEST_F(ToolVolume, AChecksumIsKeptAsLongAsItsData) {
  EXPECT_EQ(run("(cd store/tapes && sha256sum --strict -c A.sha256)").exitCode, 0);
  const struct {
    const char* command;
    const char* marks;
  } kSteps[] = {
      {"write A --mark 2 --checksum </dev/null", "0/4/true 1/4/true 2/0/true "},
      {"write A data --mark 1 --yes", "0/4/true 1/4/false 2/0/true "},
      {"write A data --mark 0 --checksum --yes", "0/4/true "},
      {"write A data --mark 0 --yes", "0/4/false "},
      {"write A data --mark 3 --checksum", "0/4/false 3/4/true "},
      {"erase A --yes", ""},
  };
  for (const auto& step : kSteps) {
    expectDone(std::string("volume ") + step.command);
    EXPECT_EQ(marks(), step.marks) << step.command;
  }
  EXPECT_EQ(tapes().size(), 1U);  // the empty folder
  expectRefused(1, "volume verify A", "--checksum");
}

TEST_F(ToolVolume, BlockLengthsStayWithTheirFilemarks) {
  const auto lengths = [&](const char* volume) {
    return readFile(path(std::string("store/tapes/") + volume + ".blocks"));
  };
  writeFile(path("store/tapes/A.blocks"), "0 0 2\n1 0 3\n1 3 80\n");
  expectDone("volume verify A");
  expectDone("volume copy A B");
  expectDone("volume rename B C");
  EXPECT_EQ(lengths("C"), lengths("A"));
  expectDone("volume write A data --mark 1 --yes");
  EXPECT_EQ(lengths("A"), "0 0 2\n");
  expectDone("volume remove C --yes");
  expectDone("volume erase A --yes");
  EXPECT_EQ(tapes().size(), 1U) << "the empty folder of A";
  for (const char* wrong : {"0 5 2\n", "7 1 1\n", "0 0 0\n", "block\n"}) {
    expectDone("volume write A data --mark 0");
    writeFile(path("store/tapes/A.blocks"), wrong);
    EXPECT_EQ(ask("volume verify A")["blockLengths"].size(), 1U) << wrong;
    EXPECT_EQ(tqlib("volume verify A").exitCode, 1) << wrong;
    expectDone("volume erase A --yes");
  }
}

TEST_F(ToolVolume, VerifyReportsEveryMarkThatChanged) {
  expectDone("volume write A data --mark 2");
  const fs::path folder = path("store/tapes/A");
  const auto calculated = fs::last_write_time(path("store/tapes/A.sha256"));
  fs::last_write_time(folder / "00000002", calculated);
  expectDone("volume verify A");
  const auto expectVerdict = [&](const std::string& ofMark1) {
    EXPECT_EQ(listed("marks", {"result", "newer"}, "volume verify A"),
              "ok/false " + ofMark1 + " no checksum/false ");
    EXPECT_EQ(tqlib("volume verify A").exitCode, 1);
  };
  writeFile(folder / "00000001", "dbta");
  fs::last_write_time(folder / "00000001", calculated + std::chrono::seconds(1));
  expectVerdict("differs/true");
  fs::remove(folder / "00000001");
  expectVerdict("missing/false");
  // Not even root can read the memory at 0.
  fs::create_symlink("/proc/self/mem", folder / "00000001");
  expectVerdict("unreadable/true");
  writeFile(path("store/tapes/A.sha256"), std::string(64, '0') + "  B/00000000\n");
  expectRefused(1, "volume verify A", "line 1");
  EXPECT_EQ(ask("volume info A")["checksums"], nullptr);
}

TEST_F(ToolVolume, ACopyIsWholeWithItsPermissionsOrLeavesNothing) {
  const fs::path from = path("store/tapes/A");
  const fs::path to = path("store/tapes/B");
  writeFile(from / "00000002", "");
  fs::resize_file(from / "00000002", 900000);
  const mode_t before = umask(077);
  for (const fs::path& each : {from, from / "00000001"}) chmod(each.c_str(), 0775);
  expectDone("volume copy A B");
  umask(before);
  for (const fs::path& each : {to, to / "00000001"})
    EXPECT_EQ(fs::status(each).permissions(), fs::perms(0775)) << each;
  for (const auto& mark : fs::directory_iterator(from))
    EXPECT_EQ(readFile(to / mark.path().filename()), readFile(mark.path())) << mark;
  expectDone("volume verify B");
  expectRefused(1, "volume copy A B", "volume erase B");
  const auto all = tapes();
  letSavesFail();
  expectRefused(1, "volume copy A E", "File too large");
  EXPECT_EQ(tapes(), all);
}

TEST_F(ToolVolume, WhatDestroysDataOrMayBeASlipIsRefusedAndNamesWhatIsInTheWay) {
  expectDone("volume copy A B");
  expectDone("volume copy A F");
  makeLibrary("L");
  expectDone("element set L slot:1000 --barcode A");
  expectDone("element set L drive:500 --barcode D");
  fs::create_directory_symlink("A", path("store/tapes/LINK"));
  mkfifo(path("store/tapes/A/00000007").c_str(), 0600);
  mkfifo(path("store/tapes/D.sha256").c_str(), 0600);
  mkfifo(path("store/tapes/F.blocks").c_str(), 0600);
  const auto before = tapes();
  const struct {
    const char* command;
    const char* reason;
  } kCases[] = {
      {"erase A", "erase volume A (3 filemarks, 8 bytes)\nnext: repeat it with --yes"},
      {"write A data --mark 0", "overwrite volume A (3 filemarks, 8 bytes)"},
      {"write A data --mark 1", "overwrite mark 1 of volume A (1 filemark, 4 bytes)"},
      {"write D data --mark 2", "write mark 2 of volume D; it is in drive:500 of library L"},
      {"copy A D", "it is in drive:500 of library L"},
      {"write NEW data --mark 0 --yes", "no medium has the name NEW"},
      {"remove B", "remove volume B (2 filemarks, 8 bytes)"},
      {"remove A --yes", "A is in slot:1000 of library L"},
      {"remove LINK --yes", "symbolic link"},
      {"rename A C --yes", "A is in slot:1000 of library L"},
      {"rename B D --yes", "D is in drive:500 of library L"},
      {"rename B D --force", "it is in drive:500 of library L"},
      {"rename B A --force --yes", "volume A exists"},
      {"read A --mark 7", "not a regular file"},
      {"write A data --mark 7 --yes", "not a regular file"},
      {"write D data --mark 0 --yes --checksum", "not a regular file"},
      {"copy A D --yes", "not a regular file"},
      {"erase F --yes", "not a regular file"},
      {"remove F --yes", "not a regular file"},
      {"copy A LINK --yes", "symbolic link"},
  };
  for (const auto& each : kCases) {
    expectRefused(1, std::string("volume ") + each.command, each.reason);
  }
  EXPECT_EQ(tapes(), before);
  writeFile(path("store/LibEmulator/Lib_L.xml"), "broken, with A");
  expectRefused(1, "volume write A data --mark 3", "a library that cannot be read: L");
  EXPECT_NE(onTerminal("volume erase A", "n\\n").exitCode, 0);
  EXPECT_EQ(tapes(), before);
  EXPECT_EQ(onTerminal("volume erase A", "y\\n").exitCode, 0);
  EXPECT_EQ(marks(), "");
}

TEST_F(ToolVolume, ARemovalOrRenamingIsWholeAndCompletesOneThatACrashEnded) {
  const std::string sums = readFile(path("store/tapes/A.sha256"));
  writeFile(path("store/tapes/B.sha256"), "left by a crash");
  fs::create_directory(path("store/tapes/B"));
  expectDone("volume rename A B");
  expectDone("volume verify B");
  EXPECT_FALSE(fs::exists(path("store/tapes/A.sha256")));
  writeFile(path("store/tapes/A.sha256"), sums);  // the last step is repeated
  expectDone("volume remove A --yes");
  EXPECT_EQ(tapes().size(), 4U) << "B, its checksums and two filemarks";
  expectDone("volume rename B 'B 1'");
  expectDone("volume remove 'B 1' --yes");
  EXPECT_EQ(tapes().size(), 0U);
  expectRefused(1, "volume remove B --yes", "no such volume");
}

TEST_F(ToolVolume, OnATerminalOnlyTextIsPrinted) {
  const struct {
    const char* data;
    bool isText;
  } kCases[] = {{"a label\twith \xC3\xA9\r\n", true}, {"\x1b[2J", false}, {"\x01", false}};
  for (const auto& each : kCases) {
    writeFile(path("store/tapes/A/00000000"), each.data);
    const Result read = onTerminal("volume read A --mark 0", "");
    EXPECT_EQ(read.exitCode == 0, each.isText) << read.out;
    EXPECT_EQ(read.out.find("volume read A --mark 0 A.0") == std::string::npos, each.isText);
    EXPECT_EQ(onTerminal("volume read A --mark 0 --force", "").exitCode, 0);
    EXPECT_EQ(tqlib("volume read A --mark 0").out, each.data);
  }
}

TEST_F(ToolVolume, OneToolAtATimeChangesAVolume) {
  fs::create_directory(path("store/tapes/B"));
  const auto before = tapes();
  const auto expectLocked = [this](const std::string& held, const std::string& command) {
    const Result result = run("flock store/tapes/" + held + " '" TQLIB_BINARY "' " + command);
    EXPECT_EQ(result.exitCode, 1) << command;
    EXPECT_NE(result.err.find("in use by another tqlib"), std::string::npos) << result.err;
  };
  expectLocked("A", "volume write A data --mark 0");
  expectLocked("A", "volume erase A");
  expectLocked("A", "volume copy A C");
  expectLocked("B", "volume copy A B");
  EXPECT_EQ(tapes(), before);
}

TEST_F(ToolVolume, AFailedWriteOrReadReportsHowFarItGot) {
  expectRefused(2, "volume copy A A", "itself");
  expectRefused(2, "volume write A --mark 1 store/tapes/A/00000001", "itself");
  expectRefused(2, "volume write A --mark 0 store/tapes/A/00000001 --yes", "itself");
  expectRefused(2, "volume write .tqlib-x data --mark 0", ".tqlib-");
  expectRefused(1, "volume write A --mark 0 --yes <&-", "cannot read the input");
  EXPECT_EQ(marks(), "0/4/true 1/4/true ");
  EXPECT_EQ(interrupt("volume write A --mark 1 --checksum --block-size 1000 --yes", 2500), SIGINT);
  EXPECT_NE(readFile(path("err")).find("mark 1 is incomplete and holds 2500 bytes"),
            std::string::npos);
  EXPECT_EQ(marks(), "0/4/true 1/2500/false ");
  writeFile(path("big"), std::string(3 << 19, 'x'));
  EXPECT_EQ(run("('" TQLIB_BINARY "' volume read A --mark 0 2>/dev/full)").exitCode, 1);
  expectRefused(1, "volume write A big --mark 0 --yes", "at byte 1310720");
  EXPECT_EQ(marks(), "0/1310720/false ");
  // Not even root can write to a program that runs, and a read needs no right to.
  fs::create_symlink("/proc/self/exe", path("store/tapes/A/00000002"));
  expectDone("volume read A copy --mark 2");
  EXPECT_EQ(fs::file_size(path("copy")), fs::file_size(TQLIB_BINARY));
  tqlib("volume read A --mark 2 2>err2 | head -c 1");
  EXPECT_NE(readFile(path("err2")).find("its reader has ended"), std::string::npos);
  letSavesFail();
  expectRefused(1, "volume write B big --mark 0 --new", "at byte 512: File too large");
}

TEST_F(ToolVolume, TheListShowsUnreadableVolumesAndAllOthers) {
  fs::create_directory(path("store/tapes/B"));
  fs::create_symlink("nothing", path("store/tapes/B/00000000"));
  writeFile(path("big"), std::string(1 << 19, 'x'));
  expectDone("volume write C big --mark 0 --new");
  EXPECT_EQ(listed("volumes", {"volume", "state", "marks", "share", "checksums"}, "volume list"),
            "A/ok/2/0.0/true B/unreadable/null/null/null C/ok/1/0.5/false ");
  fs::create_directory(path("store/tapes/é\x1b"));
  EXPECT_NE(tqlib("volume list").out.find("\né?      ok          0 "), std::string::npos);
}

}  // namespace
}  // namespace tests

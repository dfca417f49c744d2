// The volume commands of the tool: checksums, copies, and transfers that are stopped.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "ToolRun.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::readFile;
using tests::writeFile;

class ToolVolume : public tests::ToolRun {
protected:
  ToolVolume() {
    makeStore();
    writeFile(path("data"), "data");
    expectDone("volume write A data --mark 0 --checksum");
    expectDone("volume write A data --mark 1 --checksum");
  }

  /// The marks of A with their sizes, and a star behind those that have a checksum.
  std::string marks() const {
    std::string text;
    const json info = ask("volume info A");
    for (const json& mark : info["marks"])
      text += mark["mark"].dump() + ":" + mark["bytes"].dump() + (mark["checksum"] ? "* " : " ");
    return text;
  }
  std::string verdict() const {
    std::string text;
    const json findings = ask("volume verify A");
    for (const json& mark : findings["marks"])
      text += mark["result"].get<std::string>() + (mark["newer"] ? "!, " : ", ");
    return text;
  }
  std::set<std::string> tapes() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path("store/tapes")))
      names.insert(entry.path().filename().string());
    return names;
  }

  /// Feeds a command `count` bytes, interrupts it when it has taken them all, and returns the
  /// signal that it ended by.
  int interrupt(const std::string& arguments, std::size_t count) const {
    mkfifo(path("fifo").c_str(), 0600);
    const pid_t child = fork();
    if (child == 0) {
      std::signal(SIGINT, SIG_DFL);  // a background job ignores it
      const std::string command = "cd '" + m_folder.path().string() +
                                  "' && TQ_PLATFORM_CONFIG=store/tqlib.ini exec '" TQLIB_BINARY
                                  "' " +
                                  arguments + " <fifo >out 2>err";
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    pollfd input{open(path("fifo").c_str(), O_WRONLY | O_CLOEXEC), 0, 0};
    EXPECT_EQ(write(input.fd, std::string(count, 'x').data(), count), static_cast<ssize_t>(count));
    for (int left = 1; left > 0 && poll(&input, 1, 0) == 0;) ioctl(input.fd, FIONREAD, &left);
    kill(child, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);
    close(input.fd);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }
};

TEST_F(ToolVolume, AChecksumIsKeptAsLongAsItsData) {
  const std::string check =
      "cd '" + path("store/tapes").string() + "' && sha256sum --strict --status -c A.sha256";
  EXPECT_EQ(std::system(check.c_str()), 0);
  const struct {
    const char* command;
    const char* marks;
  } kSteps[] = {
      {"write A --mark 2 --checksum </dev/null", "0:4* 1:4* 2:0* "},
      {"write A data --mark 1", "0:4* 1:4 2:0* "},
      {"write A data --mark 1 --checksum", "0:4* 1:4* 2:0* "},
      {"write A data --mark 0 --checksum", "0:4* "},
      {"write A data --mark 0", "0:4 "},
      {"write A data --mark 3 --checksum", "0:4 3:4* "},
      {"erase A", ""},
  };
  for (const auto& step : kSteps) {
    expectDone(std::string("volume ") + step.command);
    EXPECT_EQ(marks(), step.marks) << step.command;
  }
  EXPECT_EQ(tapes(), std::set<std::string>{"A"});
  expectRefused(1, "volume verify A", "--checksum");
}

TEST_F(ToolVolume, VerifyReportsEveryMarkThatChanged) {
  expectDone("volume write A data --mark 2");
  const fs::path folder = path("store/tapes/A");
  const auto calculated = fs::last_write_time(path("store/tapes/A.sha256"));
  fs::last_write_time(folder / "00000002", calculated);
  EXPECT_EQ(verdict(), "ok, ok, no checksum, ");
  expectDone("volume verify A");
  writeFile(folder / "00000001", "dbta");
  fs::last_write_time(folder / "00000001", calculated + std::chrono::seconds(1));
  EXPECT_EQ(verdict(), "ok, differs!, no checksum, ");
  EXPECT_EQ(tqlib("volume verify A").exitCode, 1);
  fs::remove(folder / "00000001");
  EXPECT_EQ(verdict(), "ok, missing, no checksum, ");
  EXPECT_EQ(tqlib("volume verify A").exitCode, 1);
  EXPECT_EQ(ask("volume info A")["gaps"], json::parse(R"([{"first":1,"last":1}])"));
  // Not even root can read the memory at 0.
  fs::create_symlink("/proc/self/mem", folder / "00000001");
  EXPECT_EQ(verdict(), "ok, unreadable!, no checksum, ");
  EXPECT_EQ(tqlib("volume verify A").exitCode, 1);
  writeFile(path("store/tapes/A.sha256"), std::string(64, '0') + "  B/00000000\n");
  expectRefused(1, "volume verify A", "line 1");
  EXPECT_EQ(ask("volume info A")["checksums"], nullptr);
  EXPECT_NE(ask("volume list")["volumes"][0]["checksumProblem"].dump().find("line 1"),
            std::string::npos);
}

TEST_F(ToolVolume, ACopyIsWholeWithItsPermissionsOrLeavesNothing) {
  expectDone("volume write A --mark 2 </dev/null");
  const fs::path from = path("store/tapes/A");
  const fs::path to = path("store/tapes/B");
  fs::resize_file(from / "00000002", 900000);
  writeFile(from / "00000003", std::string(5000, 'x'));
  const mode_t before = umask(077);
  for (const fs::path& each : {from, from / "00000001"}) chmod(each.c_str(), 0775);
  expectDone("volume copy A B");
  umask(before);
  for (const fs::path& each : {to, to / "00000001"})
    EXPECT_EQ(fs::status(each).permissions(), fs::perms(0775)) << each;
  for (const auto& mark : fs::directory_iterator(from)) {
    const fs::path copy = to / mark.path().filename();
    EXPECT_EQ(readFile(copy), readFile(mark.path())) << copy;
  }
  struct stat record {};
  stat((to / "00000002").c_str(), &record);
  EXPECT_EQ(record.st_blocks, 0);
  expectDone("volume verify B");
  expectRefused(1, "volume copy A B", "volume erase B");
  fs::create_directory(path("store/tapes/C"));  // which is empty
  expectDone("volume copy A C");
  fs::create_directory(path("store/tapes/D.sha256"));
  const std::set<std::string> all = tapes();
  expectRefused(1, "volume copy A D", "D.sha256");
  expectRefused(1, "volume write D data --mark 0 --checksum", "D.sha256");
  letSavesFail();
  expectRefused(1, "volume copy A E", "File too large");
  EXPECT_EQ(tapes(), all);
}

TEST_F(ToolVolume, OneToolAtATimeChangesAVolume) {
  fs::create_directory(path("store/tapes/B"));
  const std::set<std::string> before = tapes();
  const struct {
    const char* held;
    const char* command;
  } kRefused[] = {
      {"A", "write A data --mark 0"}, {"A", "erase A"}, {"A", "copy A C"}, {"B", "copy A B"}};
  for (const auto& one : kRefused) {
    const int folder = open(path("store/tapes").append(one.held).c_str(), O_RDONLY | O_CLOEXEC);
    flock(folder, LOCK_EX);
    expectRefused(1, std::string("volume ") + one.command, "in use by another tqlib");
    close(folder);
  }
  EXPECT_EQ(marks(), "0:4* 1:4* ");
  EXPECT_EQ(tapes(), before);
}

TEST_F(ToolVolume, RefusesWrongUsageAndReportsHowMuchAWriteBeyondTheLimitWrote) {
  expectRefused(2, "volume copy A A", "itself");
  expectRefused(2, "volume write A --mark 1 store/tapes/A/00000001", "itself");
  expectRefused(2, "volume write .tqlib-x data --mark 0", ".tqlib-");
  expectRefused(1, "volume write A --mark 0 <&-", "cannot read the input");
  EXPECT_EQ(marks(), "0:4* 1:4* ");
  EXPECT_EQ(tapes(), (std::set<std::string>{"A", "A.sha256"}));
  writeFile(path("big"), std::string(3 << 19, 'x'));
  expectRefused(1, "volume write A big --mark 0", "at byte 1310720");
  EXPECT_EQ(marks(), "0:1310720 ");
}

TEST_F(ToolVolume, AnInterruptedWriteLeavesWhatArrivedAndNoChecksum) {
  EXPECT_EQ(interrupt("volume write A --mark 1 --checksum --block-size 1000", 2500), SIGINT);
  EXPECT_NE(readFile(path("err")).find("mark 1 is incomplete and holds 2500 bytes"),
            std::string::npos);
  EXPECT_EQ(marks(), "0:4* 1:2500 ");
}

TEST_F(ToolVolume, AReadNeedsNoRightToWriteAndReportsAReaderThatEndsEarly) {
  // Not even root can write to a program that runs.
  fs::create_symlink("/proc/self/exe", path("store/tapes/A/00000002"));
  expectDone("volume read A copy --mark 2");
  EXPECT_EQ(fs::file_size(path("copy")), fs::file_size(TQLIB_BINARY));
  tqlib("volume read A --mark 2 2>err2 | head -c 1");
  EXPECT_NE(readFile(path("err2")).find("its reader has ended"), std::string::npos);
  writeFile(path("mounted"), "old");  // a mount point cannot be replaced
  tqlib(
      "--version; TQ_PLATFORM_CONFIG=store/tqlib.ini unshare -rm sh -c \"mount --bind mounted "
      "mounted && '" TQLIB_BINARY "' volume read A mounted --mark 0\"");
  EXPECT_EQ(readFile(path("mounted")), "old");
}

TEST_F(ToolVolume, TheListShowsUnreadableVolumesAndAllOthers) {
  fs::create_directory(path("store/tapes/B"));
  fs::create_symlink("nothing", path("store/tapes/B/00000000"));
  writeFile(path("big"), std::string(1 << 19, 'x'));
  expectDone("volume write C big --mark 0");
  const json list = ask("volume list");
  EXPECT_EQ(list["limit"], 1 << 20);
  std::string text;
  for (const json& one : list["volumes"])
    text += one["volume"].get<std::string>() + " " + one["state"].get<std::string>() + " " +
            one.value("marks", json()).dump() + " " + one.value("share", json()).dump() + " " +
            one.value("checksums", json()).dump() + ", ";
  EXPECT_EQ(text, "A ok 2 0.0 true, B unreadable null null null, C ok 1 0.5 false, ");
  fs::create_directory(path("store/tapes/é\x1b"));
  EXPECT_NE(tqlib("volume list").out.find("\né?      0 "), std::string::npos);
}

}  // namespace

// The SCSI core of examples/: its session, what it leaves on the disk, and when it asks the API.
#include <gtest/gtest.h>

#include <future>
#include <sstream>

#include "TempCatalogue.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "session/Session.h"

namespace tests {
namespace {

class ScsiTarget : public testing::Test {
protected:
  ScsiTarget() {
    m_catalogue.config("MediaManager", "sVirtualTapeDirectory", m_catalogue.path().string());
    m_catalogue.config("MediaManager", "nVirtualTapeSizeMB", "1");
    EXPECT_TRUE(Session::makeLibrary());
  }

  /// The answer to the last of the commands, which are separated by ";".
  static std::string answered(Session& session, const std::string& commands) {
    std::istringstream in(commands);
    std::string answer;
    for (std::string command; std::getline(in, command, ';');) answer = session.answer(command);
    return answer;
  }
  fs::path onTape(const std::string& name) const { return m_catalogue.path() / name; }

  TempCatalogue m_catalogue;
};

TEST_F(ScsiTarget, AnswersTheSessionOfTheExample) {
  Session session("LIB1");
  std::istringstream lines(readFile(TQ_EXAMPLES "/session/session.txt"));
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == '#') continue;
    const std::string command = line.substr(0, line.find(" = "));
    EXPECT_EQ(command + " = " + session.answer(command), line) << ++count;
  }
}

// The volume as the API and tqlib see it. A write before the last block length removes its line.
TEST_F(ScsiTarget, KeepsBlockLengthsBesideTheVolume) {
  const struct {
    const char* commands;
    const char* lengths;
    int nextMark;
    unsigned long long bytes;
  } cases[] = {
      {"1 ready;1 write 4 a;1 write 4 b;1 write 2 c;1 write 4 d;1 mark 2", "0 0 4\n0 8 2\n0 10 4\n",
       3, 14},
      {"1 write 5 e", "0 0 4\n0 8 2\n0 10 4\n2 0 5\n", 3, 19},
      {"1 locate 2;1 write 4 f", "0 0 4\n", 1, 12},
      {"1 locate 1;1 write 2 g", "0 0 4\n0 4 2\n", 1, 6},
      {"1 rewind;1 erase", "", 1, 0},
  };
  Session session("LIB1");
  for (const auto& [commands, lengths, nextMark, bytes] : cases) {
    EXPECT_EQ(answered(session, commands), "ok") << commands;
    EXPECT_EQ(readFile(onTape("A00001.blocks")), lengths) << commands;
    TqLibEmlFile volume("A00001");
    int mark = -1;
    unsigned long long size = 0;
    EXPECT_TRUE(volume.GetLastFileMark(mark) && volume.GetVolumeSize(size));
    EXPECT_EQ(mark, nextMark) << commands;
    EXPECT_EQ(size, bytes) << commands;
  }
}

// The data as another program or a crash leaves it; a host sees it in the blocks it asks for.
TEST_F(ScsiTarget, ReadsVolumesOfOthers) {
  const struct {
    const char* lengths;
    const char* commands;
    const char* last;
  } cases[] = {
      {"", "1 read 4;1 read 4", "ok [efgh]"},
      {"", "1 read 4;1 end;1 blocks -1;1 read 9", "0/00/00 incorrect-length residue 7 [ij]"},
      {"0 0 3\n", "1 locate 3;1 read 3", "0/00/00 incorrect-length residue 2 [j]"},
      {"0 4 3\n0 x", "1 read 4;1 read 3", "ok [efg]"},
      {"0 0 3\n0 99 7\n", "1 end;1 write 3 k;1 blocks -1;1 blocks -1;1 read 1", "ok [j]"},
  };
  fs::create_directory(onTape("A00001"));
  for (const auto& [lengths, commands, last] : cases) {
    writeFile(onTape("A00001/00000000"), "abcdefghij");
    writeFile(onTape("A00001.blocks"), lengths);
    Session session("LIB1");
    EXPECT_EQ(answered(session, "1 ready;" + std::string(commands)), last) << lengths << commands;
  }
}

TEST_F(ScsiTarget, NeedsNoCatalogueForABlock) {
  Session session("LIB1");
  answered(session, "1 ready;1 ready");
  std::future<std::string> answer;
  const TqCriticalSectionLock held(
      &gCriticalSection);  // each operation of the catalogue waits for it
  answer = std::async(std::launch::async, [&] { return session.answer("1 write 3 abc"); });
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

}  // namespace
}  // namespace tests

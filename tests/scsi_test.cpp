// The SCSI core of examples/: its session, what it leaves on the disk, and when it asks the API.
#include <gtest/gtest.h>
#include <sys/stat.h>

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

  TempCatalogue m_catalogue;
  const fs::path m_lengths = m_catalogue.path() / "A00001.blocks";
};

TEST_F(ScsiTarget, AnswersTheSessionOfTheExample) {
  Session session("LIB1");
  std::istringstream lines(readFile(TQ_EXAMPLES "/session/session.txt"));
  for (std::string line; std::getline(lines, line);) {
    const std::string command = line.substr(0, line.find(" = "));
    if (!line.empty() && line[0] != '#') {
      EXPECT_EQ(command + " = " + session.answer(command), line);
    }
  }
}

TEST_F(ScsiTarget, KeepsBlockLengthsForTheNextSessionWhereTheApiDoesNotCountThem) {
  Session session("LIB1");
  answered(session, "1 ready;1 write 4 a;1 write 2 c;1 write 4 d;1 locate 1");
  EXPECT_EQ(answered(session, "1 write 3 efg;1 write 3 hij;1 mark 1"), "ok");
  unsigned long long size = 0;
  EXPECT_TRUE(TqLibEmlFile("A00001").GetVolumeSize(size));
  EXPECT_EQ(size, 10U);
  Session next("LIB1");
  EXPECT_EQ(answered(next, "1 ready;1 blocks 2;1 read 3"), "ok [hij]");
  EXPECT_EQ(answered(next, "1 rewind;1 erase"), "ok");
  EXPECT_FALSE(fs::exists(m_lengths));
}

// A host sees data without lengths, as tqlib leaves it, in the blocks that it asks for.
TEST_F(ScsiTarget, ReadsVolumesWithoutOrWithDamagedLengths) {
  fs::create_directory(m_catalogue.path() / "A00001");
  for (const auto& [lengths, commands, last] :
       {std::tuple{"", "1 read 4;1 end;1 blocks -1;1 read 9",
                   "0/00/00 incorrect-length residue 7 [ij]"},
        {"0 4 3\n0 x", "1 read 4;1 read 3", "ok [efg]"},
        {"0 4 3\n0 x", "1 end;1 write 4 k;1 unload;1 load;1 blocks 3;1 read 5",
         "0/00/00 incorrect-length residue 1 [k<20><20><20>]"},
        {"0 0 9223372036854775807", "1 end;1 position", "ok [<00>*7 <01><00><00><00><01><00>*8 ]"},
        {"0 0 3\n0 99 7\n", "1 end;1 write 3 k;1 blocks -1;1 blocks -1;1 read 1", "ok [j]"}}) {
    writeFile(m_catalogue.path() / "A00001/00000000", "abcdefghij");
    writeFile(m_lengths, lengths);
    Session session("LIB1");
    EXPECT_EQ(answered(session, "1 ready;" + std::string(commands)), last) << lengths << commands;
  }
}

TEST_F(ScsiTarget, DoesNotGuessTheBlocksOfATapeWhoseLengthsCannotBeRead) {
  ASSERT_EQ(mkfifo(m_lengths.c_str(), 0600), 0);
  Session session("LIB1");
  EXPECT_EQ(answered(session, "1 ready;1 read 1"), "4/44/00");
}

TEST_F(ScsiTarget, KeepsBlockLengthsIfTheyCannotBeCut) {
  Session session("LIB1");
  answered(session, "1 ready;1 write 4 a;1 write 2 b;1 write 3 c");
  fs::create_directory(m_lengths.string() + ".new");
  EXPECT_EQ(answered(session, "1 rewind;1 blocks 1;1 erase"), "3/0c/00");
  fs::remove(m_lengths.string() + ".new");
  EXPECT_EQ(answered(session, "1 write 5 e;1 unload;1 load;1 blocks 1;1 read 6"),
            "0/00/00 incorrect-length residue 1 [e<20>*4 ]");
}

TEST_F(ScsiTarget, NeedsNoCatalogueForABlock) {
  Session session("LIB1");
  answered(session, "1 ready");
  std::future<std::string> answer;
  const TqCriticalSectionLock held(&gCriticalSection);  // operations of the catalogue wait for it
  answer = std::async(std::launch::async, [&] { return session.answer("1 write 3 abc"); });
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

}  // namespace
}  // namespace tests

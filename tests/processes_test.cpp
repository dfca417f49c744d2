// Several processes on one catalogue: an emulator, and operators with their tool.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"
#include "catalogue/CatalogueLock.h"

namespace tests {
namespace {

using namespace std::chrono_literals;

constexpr int kProcesses = 4, kMoves = 500, kSlots = 10, kMedia = 3;

/// Runs `work` in that many processes; how many of them it succeeded in.
int inProcesses(int count, const std::function<bool(int)>& work) {
  std::vector<pid_t> children;
  for (int number = 0; number < count; ++number) {
    const pid_t child = fork();
    if (child == 0) _exit(work(number) ? 0 : 1);
    children.push_back(child);
  }
  return static_cast<int>(std::count_if(children.begin(), children.end(), [](pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }));
}

int firstSlot(int process) {
  return 1000 + kSlots * process;
}

/// Where a process has its media after so many moves, each to the next slot.
int slotAfter(int process, int medium, int moves) {
  return firstSlot(process) + (medium * kSlots / kMedia + moves) % kSlots;
}

bool moveAbout(int process) {
  TqLibEmulator emulator;
  for (int i = 0; i < kMoves; ++i) {
    const int medium = i % kMedia, moved = i / kMedia;
    if (!emulator.MoveVirtualLibraryElement("L1", LIB_ELEM_SLOT, slotAfter(process, medium, moved),
                                            LIB_ELEM_SLOT, slotAfter(process, medium, moved + 1)))
      return false;
  }
  return true;
}

class Processes : public testing::Test {
protected:
  TempCatalogue m_catalogue;
};

TEST_F(Processes, LoseNoMoveOfEachOther) {
  LibraryBuilder("L1").slots(1000, kSlots * kProcesses).build();
  std::vector<LibElement> media, expected;
  for (int process = 0; process < kProcesses; ++process)
    for (int medium = 0; medium < kMedia; ++medium) {
      const std::string barCode = "P" + std::to_string(process) + "M" + std::to_string(medium);
      media.push_back(element(LIB_ELEM_SLOT, slotAfter(process, medium, 0), barCode));
      const int moves = kMoves / kMedia + (medium < kMoves % kMedia ? 1 : 0);
      expected.push_back(element(LIB_ELEM_SLOT, slotAfter(process, medium, moves), barCode));
    }
  ASSERT_TRUE(TqLibEmulator().SetVirtualLibraryElement("L1", media, false));

  EXPECT_EQ(inProcesses(kProcesses, moveAbout), kProcesses) << m_catalogue.log();

  std::vector<std::string> found = elements("L1"), wanted;
  std::erase_if(found, [](const std::string& text) { return text.find(':') == text.npos; });
  for (const LibElement& e : expected) wanted.push_back(describe(e));
  std::sort(found.begin(), found.end());
  std::sort(wanted.begin(), wanted.end());
  EXPECT_EQ(found, wanted);
  EXPECT_EQ(m_catalogue.log(), "");
}

TEST_F(Processes, ListEachOthersNewLibraries) {
  std::filesystem::remove(m_catalogue.catalogue());
  constexpr int kLibraries = 20;
  const auto registerAll = [](int process) {
    for (int i = 0; i < kLibraries; ++i)
      LibraryBuilder("L" + std::to_string(process * kLibraries + i)).slots(1000, 2).build();
    return true;
  };
  EXPECT_EQ(inProcesses(kProcesses, registerAll), kProcesses);
  std::vector<SCSIUnitNoMap> devices;
  EXPECT_TRUE(TqLibEmulator().GetVirtualDeviceInfo("hosta", devices));
  EXPECT_EQ(devices.size(), kProcesses * kLibraries);
  EXPECT_EQ(m_catalogue.files().size(), kProcesses * kLibraries + 1);
}

TEST_F(Processes, WaitForEachOthersChangesAndNotForQueries) {
  LibraryBuilder("L1").slots(1000, 1).build();
  const auto before = m_catalogue.files();
  TqLibEmulator emulator;
  const LibElement slot = element(LIB_ELEM_SLOT, 1000, "TAPE1");
  {
    CatalogueLock others;
    ASSERT_TRUE(others.take(m_catalogue.catalogue()));
    EXPECT_EQ(elements("L1"), std::vector<std::string>{"2@1000"});
    CatalogueLock impatient(20ms);
    emulator.m_pCatalogueLock = &impatient;
    EXPECT_FALSE(emulator.SetVirtualLibraryElement("L1", slot, false));
    emulator.m_pCatalogueLock = nullptr;
    const std::string why =
        "Cannot lock directory " + m_catalogue.catalogue() + ": another process keeps it locked";
    EXPECT_EQ(lastError(emulator), why);
    EXPECT_TRUE(m_catalogue.logged(why));
    EXPECT_EQ(m_catalogue.files(), before);
  }
  bool isDone = false;
  std::thread waiting;
  {
    CatalogueLock others;
    ASSERT_TRUE(others.take(m_catalogue.catalogue()));
    waiting = std::thread([&] { isDone = emulator.SetVirtualLibraryElement("L1", slot, false); });
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(m_catalogue.files(), before);
  }
  waiting.join();
  EXPECT_TRUE(isDone);
  EXPECT_EQ(elements("L1"), std::vector<std::string>{"2@1000:TAPE1"});
}

TEST_F(Processes, WaitAlsoWithAFileOfTheWorkingDirectory) {
  LibraryBuilder("L1").slots(1000, 1).build();
  std::filesystem::copy_file(m_catalogue.libraryFile("L1"), m_catalogue.path() / "Library1.xml");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(m_catalogue.path());
  TqLibEmulator emulator;
  CatalogueLock others;
  ASSERT_TRUE(others.take(m_catalogue.catalogue()));
  CatalogueLock impatient(20ms);
  emulator.m_pCatalogueLock = &impatient;
  EXPECT_FALSE(emulator.RemoveVirtualDevice("", "L1", ""));
  emulator.m_pCatalogueLock = nullptr;
  std::filesystem::current_path(before);
  EXPECT_EQ(lastError(emulator), impatient.error());
}

TEST_F(Processes, PutNothingInPlaceThatAForeignNoteNames) {
  LibraryBuilder("L1").slots(1000, 1).build();
  const std::string note = m_catalogue.catalogue() + ".tqlib-pending";
  const std::string outside = (m_catalogue.path() / "outside").string();
  using namespace std::string_literals;
  for (const std::string& text :
       {""s, "junk"s, "x\0../outside\0"s, "../tqlib.ini\0x\0"s, "x\0"s, "\0\0"s,
        "absent\0Lib_L1.xml\0"s, "Lib_L1.xml\0Lib_L2.xml\0"s, ".tqlib-1.new\0x\0"s,
        ".tqlib-/../../tqlib.ini.new\0Lib_x.xml\0"s}) {
    writeFile(m_catalogue.catalogue() + "x", "foreign");
    writeFile(note, text);
    EXPECT_EQ(elements("L1"), std::vector<std::string>{"2@1000"}) << text;
    EXPECT_FALSE(std::filesystem::exists(note)) << text;
    EXPECT_FALSE(std::filesystem::exists(outside)) << text;
    EXPECT_TRUE(std::filesystem::exists(m_catalogue.path() / "tqlib.ini")) << text;
  }
}

}  // namespace
}  // namespace tests

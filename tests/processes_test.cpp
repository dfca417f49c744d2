// Several threads and processes on one catalogue: an emulator, and operators with their tool.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"
#include "catalogue/CatalogueLock.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using Work = std::function<int(int worker)>;

constexpr int kWorkers = 4, kMoves = 501, kSlots = 10, kMedia = 3, kReads = 110, kFailed = 255;

/// The sum of what `work` gives, which is less than 255, in as many processes as there are workers.
int inProcesses(const Work& work) {
  std::vector<pid_t> children;
  for (int worker = 0; worker < kWorkers; ++worker) {
    const pid_t child = fork();
    if (child == 0) {
      const int given = work(worker);
      _exit(testing::Test::HasFailure() ? kFailed : given);
    }
    children.push_back(child);
  }
  int sum = 0;
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != kFailed) << status;
    sum += WEXITSTATUS(status);
  }
  return sum;
}

int inThreads(const Work& work) {
  std::atomic<int> sum = 0;
  std::vector<std::thread> threads;
  for (int worker = 0; worker < kWorkers; ++worker)
    threads.emplace_back([&, worker] { sum += work(worker); });
  for (std::thread& thread : threads) thread.join();
  return sum;
}

const char kKey[] = "A";

LibraryBuilder libraryOf(int worker) {
  const std::string host = "host" + std::to_string(worker);
  return LibraryBuilder(kKey).host(host).slots(1000, kSlots * kWorkers).drives(500, 1);
}

/// A medium of the worker after so many moves, each to the next slot.
LibElement mediumAfter(int worker, int medium, int moves) {
  const int slot = kSlots * worker + (medium * kSlots / kMedia + moves) % kSlots;
  const std::string barCode = "W" + std::to_string(worker) + "M" + std::to_string(medium);
  return element(LIB_ELEM_SLOT, 1000 + slot, barCode);
}

bool readStatus(TqLibEmulator& emulator) {
  int status = -1, asc = -1, ascq = -1;
  EXPECT_TRUE(emulator.GetVirtualDeviceStatus(kKey, status, asc, ascq, false));
  EXPECT_TRUE((status == 2 && asc == 4 && ascq == 1) || (status == 0 && asc == 0 && ascq == 0));
  return status == 2;
}

/// Moves media, reads status and tells of its host; how many reads gave a status.
int workOn(TqLibEmulator& emulator, int worker) {
  int reads = 0;
  for (int i = 0; i < kMoves; ++i) {
    const int from = mediumAfter(worker, i % kMedia, i / kMedia).elementAddress;
    const int to = mediumAfter(worker, i % kMedia, i / kMedia + 1).elementAddress;
    EXPECT_TRUE(emulator.MoveVirtualLibraryElement(kKey, 2, from, 2, to));
    if (i % 20 != 0) continue;
    reads += readStatus(emulator);
    const SCSIUnit told = i % 40 == 0 ? libraryOf(worker).library() : libraryOf(worker).drive(1);
    EXPECT_TRUE(emulator.UpdateVirtualDevice(told, kKey));
    std::vector<SCSIUnitNoMap> devices;
    EXPECT_TRUE(emulator.GetVirtualDeviceInfo(told.MAName, devices));
  }
  return reads;
}

int workAlone(int worker) {
  TqLibEmulator emulator;
  return workOn(emulator, worker);
}

struct Kind {
  const char* name;
  int (*run)();
};

const Kind kKinds[] = {{"OwnObjects", [] { return inThreads(workAlone); }},
                       {"SharedObject",
                        [] {
                          TqLibEmulator shared;
                          return inThreads([&](int worker) { return workOn(shared, worker); });
                        }},
                       {"Processes", [] { return inProcesses(workAlone); }}};

class ThreadsAndProcesses : public testing::TestWithParam<Kind> {};

TEST_P(ThreadsAndProcesses, LoseNoMediumNoReadAndNoHost) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  std::vector<std::string> expected, found;
  libraryOf(0).build();
  EXPECT_TRUE(emulator.SetVirtualDeviceStatus(kKey, 2, 4, 1, 3600, kReads));
  for (int worker = 0; worker < kWorkers; ++worker)
    for (int medium = 0; medium < kMedia; ++medium) {
      const LibElement start = mediumAfter(worker, medium, 0);
      EXPECT_TRUE(emulator.SetVirtualLibraryElement(kKey, start, false));
      expected.push_back(describe(mediumAfter(worker, medium, kMoves / kMedia)));
    }

  int reads = GetParam().run();

  for (int i = 0; i < kReads && readStatus(emulator); ++i) ++reads;
  for (const std::string& text : elements(kKey))
    if (text.find(':') != text.npos) found.push_back(text);
  EXPECT_EQ(reads, kReads);
  std::sort(expected.begin(), expected.end());
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, expected);
  for (int worker = 0; worker < kWorkers; ++worker) {
    std::vector<SCSIUnitNoMap> devices;
    ASSERT_TRUE(emulator.GetVirtualDeviceInfo(libraryOf(worker).library().MAName, devices));
    ASSERT_EQ(devices.size(), 2U) << worker;
    EXPECT_EQ(devices[1].DriveIdentifierMap, "Map|1|1|DRV0001|EOM");
  }
  EXPECT_EQ(catalogue.log(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, ThreadsAndProcesses, testing::ValuesIn(kKinds),
                         [](const auto& test) { return test.param.name; });

class Processes : public testing::Test {
protected:
  TempCatalogue m_catalogue;
};

TEST_F(Processes, ListEachOthersNewLibraries) {
  std::filesystem::remove(m_catalogue.catalogue());
  constexpr int kLibraries = 20;
  inProcesses([](int worker) {
    for (int i = 0; i < kLibraries; ++i)
      LibraryBuilder("L" + std::to_string(worker * kLibraries + i)).slots(1000, 2).build();
    return 0;
  });
  std::vector<SCSIUnitNoMap> devices;
  EXPECT_TRUE(TqLibEmulator().GetVirtualDeviceInfo("hosta", devices));
  EXPECT_EQ(devices.size(), kWorkers * kLibraries);
  EXPECT_EQ(m_catalogue.files().size(), kWorkers * kLibraries + 1);
}

TEST_F(Processes, KeepOutEachOthersChangesAndNotQueries) {
  LibraryBuilder("L1").slots(1000, 1).build();
  const auto before = m_catalogue.files();
  CatalogueLock others;
  ASSERT_TRUE(others.take(m_catalogue.catalogue()));
  EXPECT_EQ(elements("L1"), std::vector<std::string>{"2@1000"});
  TqLibEmulator emulator;
  CatalogueLock impatient(20ms);
  emulator.m_pCatalogueLock = &impatient;
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("L1", element(LIB_ELEM_SLOT, 1000, "T1"), false));
  emulator.m_pCatalogueLock = nullptr;
  const std::string why =
      "Cannot lock directory " + m_catalogue.catalogue() + ": another process keeps it locked";
  EXPECT_EQ(lastError(emulator), why);
  EXPECT_TRUE(m_catalogue.logged(why));
  EXPECT_EQ(m_catalogue.files(), before);
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
  std::filesystem::create_directory(note);
  EXPECT_EQ(elements("L1"), std::vector<std::string>{"2@1000"});
  EXPECT_TRUE(m_catalogue.logged("holdCatalogue] Cannot read " + m_catalogue.catalogue()));
}

}  // namespace
}  // namespace tests

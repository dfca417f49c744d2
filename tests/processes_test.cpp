// Several threads and processes on one catalogue: changes, locks, and half-done saves.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "ChangingOperations.h"
#include "SmallLibrary.h"
#include "files/CatalogueLock.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Texts = std::vector<std::string>;
using Work = std::function<int(int worker)>;

constexpr int kWorkers = 4;
constexpr int kMoves = 501;  // of each worker
constexpr int kSlots = 10;   // of each worker
constexpr int kMedia = 3;    // of each worker
constexpr int kReads = 110;

/// Runs `work` in a process for each worker. Returns the sum of its results, each below 255.
int inProcesses(const Work& work) {
  std::vector<pid_t> children;
  for (int worker = 0; worker < kWorkers; ++worker) {
    const pid_t child = fork();
    if (child == 0) {
      const int result = work(worker);
      _exit(testing::Test::HasFailure() ? 255 : result);
    }
    children.push_back(child);
  }
  int sum = 0;
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 255) << status;
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

LibraryBuilder libraryOf(int worker) {
  const std::string host = "host" + std::to_string(worker);
  return LibraryBuilder("A").host(host).slots(1000, kSlots * kWorkers).drives(500, 1);
}

/// A medium of the worker after this many moves, each to the next slot.
LibElement mediumAfter(int worker, int medium, int moves) {
  const int slot = kSlots * worker + (medium * kSlots / kMedia + moves) % kSlots;
  const std::string barCode = "W" + std::to_string(worker) + "M" + std::to_string(medium);
  return element(LIB_ELEM_SLOT, 1000 + slot, barCode);
}

bool readStatus(TqLibEmulator& emulator) {
  std::array<int, 3> status{-1, -1, -1};
  EXPECT_TRUE(emulator.GetVirtualDeviceStatus("A", status[0], status[1], status[2], false));
  const bool isRead = status == std::array{2, 4, 1};
  EXPECT_TRUE(isRead || status == (std::array{0, 0, 0}));
  return isRead;
}

/// Moves media, reads the status and updates devices. Returns how many reads gave a status.
int workOn(TqLibEmulator& emulator, int worker) {
  int reads = 0;
  for (int i = 0; i < kMoves; ++i) {
    const int from = mediumAfter(worker, i % kMedia, i / kMedia).elementAddress;
    const int to = mediumAfter(worker, i % kMedia, i / kMedia + 1).elementAddress;
    EXPECT_TRUE(emulator.MoveVirtualLibraryElement("A", 2, from, 2, to));
    if (i % 100 == 0) LibraryBuilder(std::to_string(worker * kMoves + i)).host("new").build();
    if (i % 20 != 0) continue;
    reads += readStatus(emulator);
    const LibraryBuilder builder = libraryOf(worker);
    const SCSIUnit device = i % 40 == 0 ? builder.library() : builder.drive(1);
    EXPECT_TRUE(emulator.UpdateVirtualDevice(device, "A"));
    std::vector<SCSIUnitNoMap> devices;
    EXPECT_TRUE(emulator.GetVirtualDeviceInfo(device.MAName, devices));
  }
  return reads;
}

int workAlone(int worker) {
  TqLibEmulator emulator;
  return workOn(emulator, worker);
}

int inThreadsWithOneObject() {
  TqLibEmulator shared;
  return inThreads([&](int worker) { return workOn(shared, worker); });
}

const struct Kind {
  const char* name;
  int (*run)();
} kKinds[] = {{.name = "OwnObjects", .run = [] { return inThreads(workAlone); }},
              {.name = "SharedObject", .run = inThreadsWithOneObject},
              {.name = "Processes", .run = [] { return inProcesses(workAlone); }}};

class ThreadsAndProcesses : public testing::TestWithParam<Kind> {};

TEST_P(ThreadsAndProcesses, LoseNoMediumReadHostOrLibrary) {
  TempCatalogue catalogue;
  TqLibEmulator emulator;
  Texts expected;
  Texts found;
  libraryOf(0).build();
  EXPECT_TRUE(emulator.SetVirtualDeviceStatus("A", 2, 4, 1, 3600, kReads));
  for (int worker = 0; worker < kWorkers; ++worker)
    for (int medium = 0; medium < kMedia; ++medium) {
      const LibElement start = mediumAfter(worker, medium, 0);
      EXPECT_TRUE(emulator.SetVirtualLibraryElement("A", start, false));
      expected.push_back(describe(mediumAfter(worker, medium, kMoves / kMedia)));
    }

  int reads = GetParam().run();

  for (int i = 0; i < kReads && readStatus(emulator); ++i) ++reads;
  for (const std::string& text : elements("A"))
    if (text.find(':') != text.npos) found.push_back(text);
  EXPECT_EQ(reads, kReads);
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
  std::vector<SCSIUnitNoMap> added;
  EXPECT_TRUE(emulator.GetVirtualDeviceInfo("new", added));
  EXPECT_EQ(added.size(), kWorkers * (kMoves / 100 + 1));
  for (int worker = 0; worker < kWorkers; ++worker) {
    std::vector<SCSIUnitNoMap> devices;
    ASSERT_TRUE(emulator.GetVirtualDeviceInfo(libraryOf(worker).library().MAName, devices));
    ASSERT_EQ(devices.size(), 2U) << worker;
    EXPECT_EQ(devices[1].DriveIdentifierMap, "Map|1|1|DRV0001|EOM");
  }
  EXPECT_EQ(catalogue.log(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, ThreadsAndProcesses, testing::ValuesIn(kKinds), nameOfParam);

class Processes : public testing::Test {
protected:
  Processes() { LibraryBuilder("L1").slots(1000, 1).build(); }
  ~Processes() override { CatalogueLock::longestWait = m_longestWait; }

  TempCatalogue m_catalogue;

private:
  const std::chrono::milliseconds m_longestWait = CatalogueLock::longestWait;
};

/// The lock of another process on a directory, or on a file in it.
FileDescriptor foreignLock(const std::string& path) {
  FileDescriptor file(openFile(path.c_str(), O_RDONLY));
  EXPECT_EQ(flock(file.get(), LOCK_EX | LOCK_NB), 0) << path;
  return file;
}

TEST_F(Processes, BlockChangesOfOthersButNotQueries) {
  const std::string catalogue = m_catalogue.catalogue();
  const std::string lockFile = catalogue + ".tqlib-lock";
  const fs::path standalone = m_catalogue.path() / "Library1.xml";
  fs::copy_file(m_catalogue.libraryFile("L1"), standalone);
  writeFile(lockFile, "");
  const auto before = m_catalogue.files();
  const struct {
    std::string locked;
    std::string reported = "CATALOGUE/";
    bool isStandalone = false;
  } cases[] = {{.locked = catalogue},
               {.locked = lockFile},
               {.locked = ".", .reported = ".", .isStandalone = true}};
  const fs::path outside = fs::current_path();
  fs::current_path(m_catalogue.path());
  CatalogueLock::longestWait = 20ms;
  for (const auto& c : cases) {
    const FileDescriptor others = foreignLock(c.locked);
    TqLibEmulator emulator;
    EXPECT_FALSE(c.isStandalone
                     ? emulator.RemoveVirtualDevice("", "L1", "")
                     : emulator.SetVirtualLibraryElement("L1", element(2, 1000, "T1"), false));
    EXPECT_EQ(elements("L1"), Texts{"2@1000"});
    const std::string error =
        "Cannot lock directory " + c.reported + ": another process keeps it locked";
    EXPECT_EQ(m_catalogue.shortened(lastError(emulator)), error);
    EXPECT_EQ(emulator.getErrorCode(), 0);
    EXPECT_TRUE(m_catalogue.logged(error));
    EXPECT_EQ(m_catalogue.files(), before);
  }
  EXPECT_TRUE(TqLibEmulator().RemoveVirtualDevice("", "L1", ""));
  EXPECT_EQ(compact(readFile(standalone)), "<Devices/>");
  EXPECT_EQ(elements("L1"), Texts{"2@1000"});
  fs::current_path(outside);
}

TEST_F(Processes, DoNotDelayAQueryOrAStatusReadWhileAChangeWaits) {
  std::atomic<bool> isDone = false;
  FileDescriptor others = foreignLock(m_catalogue.catalogue());
  std::thread change([&] { isDone = setElement("L1", "2@1000:T1"); });
  TqLibEmulator emulator;
  int status = -1;
  for (int i = 0; i < 20; ++i) {
    std::this_thread::sleep_for(1ms);  // so that the change waits before the last of them
    EXPECT_EQ(elements("L1"), Texts{"2@1000"});
    EXPECT_TRUE(emulator.GetVirtualDeviceStatus("L1", status, status, status, false));
  }
  EXPECT_FALSE(isDone);
  others = FileDescriptor(-1);
  change.join();
  EXPECT_TRUE(isDone);
}

TEST_F(Processes, CallersThatHoldTheLockOfTheProcessDoNotDeadlock) {
  CatalogueLock::longestWait = 20s;  // more than all the work takes on a slow disk
  inProcesses([](int) {
    return inThreads([](int worker) {
      TqLibEmulator one, other;
      for (int i = 0; i < 10; ++i) {
        const TqCriticalSectionLock held(worker % 2 == 0 ? &gCriticalSection : nullptr);
        for (TqLibEmulator* emulator : {&one, &other})
          EXPECT_TRUE(emulator->SetVirtualLibraryElement("L1", described("2@1000:T1")[0], false));
      }
      return 0;
    });
  });
}

TEST_F(Processes, RunSeveralStepsAsOne) {
  EXPECT_TRUE(setElement("L1", "2@1000:0"));
  const int sum = inProcesses([](int) {
    int done = 0;
    for (int i = 0; i < 25; ++i)
      done += TqLibEmulator().ChangeCatalogue([] {
        const int count = std::stoi(elements("L1")[0].substr(7));
        return setElement("L1", "2@1000:" + std::to_string(count + 1));
      });
    return done;
  });
  EXPECT_EQ(sum, 25 * kWorkers);
  EXPECT_EQ(elements("L1")[0], "2@1000:" + std::to_string(sum));
}

TEST_F(Processes, CompleteAHalfDoneSaveOnAChangeOfItsFilesOnly) {
  LibraryBuilder("L2").slots(1000, 1).build();
  const std::string file = m_catalogue.libraryFile("L2");
  leaveJournal(m_catalogue, "Lib_L2.xml", m_catalogue.files());
  fs::remove(file);
  fs::create_directory(file);  // which no file can replace
  const auto before = m_catalogue.files();
  EXPECT_EQ(elements("L2"), Texts{"refused"});
  EXPECT_EQ(m_catalogue.files(), before);

  TqLibEmulator emulator;
  EXPECT_TRUE(setElement("L1", "2@1000:T1"));
  EXPECT_FALSE(emulator.SetVirtualLibraryElement("L2", element(2, 1000, "T1"), false));
  EXPECT_NE(lastError(emulator).find("Cannot complete the save of " + file), std::string::npos);
  fs::remove(file);
  EXPECT_TRUE(setElement("L2", "2@1000:T1"));
  EXPECT_EQ(elements("L2"), Texts{"2@1000:T1"});
  EXPECT_EQ(m_catalogue.files().size(), 3U);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__clang__)
constexpr std::size_t kStack = 8 << 20;  // an instrumented build needs more
#else
const std::size_t kStack = std::max<std::size_t>(64 << 10, PTHREAD_STACK_MIN);
#endif

/// Does the work in a thread that is cancelled. It must end only after the work.
void expectDoneByCancelledThread(const std::function<void()>& work) {
  bool isDone = false;
  bool isCancelled = true;
  std::thread([&] {
    pthread_cancel(pthread_self());
    work();
    isDone = true;
    pthread_testcancel();
    isCancelled = false;
  }).join();
  EXPECT_TRUE(isDone);
  EXPECT_TRUE(isCancelled);
}

// Not all code here can be unwound: a cancellation must wait for the end of the call.
TEST(EveryOperation, WorksOnASmallStackAndInACancelledThread) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_getattr_default_np(&attributes), 0);
  const pthread_attr_t before = attributes;
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
  ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
  for (const ChangingOperation& operation : changingOperations()) {
    SCOPED_TRACE(operation.name);
    const FaultyCatalogue catalogue;
    catalogue.become(operation.states(catalogue).begun);
    expectDoneByCancelledThread([&] { EXPECT_TRUE(operation().result); });
  }
  FaultyCatalogue catalogue;
  catalogue.makeTapes();
  for (const VolumeOperation& operation : volumeOperations())
    expectDoneByCancelledThread([&] { EXPECT_TRUE(operation().result) << operation.name; });
  pthread_setattr_default_np(&before);
}

TEST_F(Processes, IgnoreAndRemoveAForeignJournal) {
  const std::string journal = m_catalogue.catalogue() + ".tqlib-pending";
  for (const std::string& text :
       {""s, "x\0../outside\0"s, "../tqlib.ini\0x\0"s, "x\0"s, "Lib_L1.xml\0Lib_L2.xml\0"s,
        ".tqlib-/../../tqlib.ini.new\0Lib_x.xml\0"s}) {
    writeFile(m_catalogue.catalogue() + "x", "foreign");
    writeFile(journal, text);
    FaultyCatalogue::completeHalfDone();
    EXPECT_EQ(elements("L1"), Texts{"2@1000"}) << text;
    EXPECT_FALSE(fs::exists(journal)) << text;
    EXPECT_FALSE(fs::exists(m_catalogue.path() / "outside")) << text;
    EXPECT_TRUE(fs::exists(m_catalogue.path() / "tqlib.ini")) << text;
  }
}

}  // namespace
}  // namespace tests

// Each call that an operation makes on its folder fails once, fails for good, or is the last.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

#include "ChangingOperations.h"
#include "TqLibEmlFile.h"

namespace tests {
namespace {

constexpr Fault kFaults[] = {
    {Fault::Once, EIO}, {Fault::Once, ENOSPC}, {Fault::ForGood, EIO}, {Fault::Death}};

/// `call` is the one that the fault hits.
std::string describe(const Fault& fault, const SystemCall& call) {
  const std::string kind = fault.kind == Fault::Death ? "death" : std::strerror(fault.error);
  return kind + (fault.kind == Fault::ForGood ? " for good" : "") + " at call " +
         std::to_string(fault.at) + ", number " + std::to_string(call.number) + ' ' + call.path;
}

class FaultMatrix : public testing::Test {
protected:
  void SetUp() override {
    if (!canInterceptSystemCalls()) GTEST_SKIP() << "calls cannot be intercepted here";
  }

  /// Runs the operation from `old` with every fault, and `check` after each.
  void runAll(const std::function<Outcome()>& operation, const State& old,
              const std::function<void(const ChildRun&)>& check) {
    const std::string root = catalogue.path().string();
    std::vector<SystemCall> calls;
    catalogue.become(old);
    runInChild(root, operation, {}, &calls);
    EXPECT_GT(calls.size(), 3U);
    int cases = 0;
    for (Fault fault : kFaults)
      for (fault.at = 1; fault.at <= std::ssize(calls); ++fault.at) {
        catalogue.become(old);
        const ChildRun run = runInChild(root, operation, fault);
        SCOPED_TRACE(describe(fault, calls[static_cast<size_t>(fault.at) - 1]));
        const bool isDead = WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL;
        // A configuration that was written seconds ago is not read again: fewer calls then.
        const bool isLast = fault.kind == Fault::Death && run.calls >= fault.at;
        EXPECT_TRUE(isLast ? isDead : run.isDone) << "status " << run.status;
        EXPECT_EQ(run.descriptors, 0);
        EXPECT_FALSE(run.hasLeaks);
        check(run);
        cases += run.calls >= fault.at ? 1 : 0;
      }
    std::cout << cases << " cases\n";
    RecordProperty("cases", cases);
  }

  FaultyCatalogue catalogue;
};

/// Whether the log tells that nothing was saved, or why there was nothing to save.
bool isFailureTold() {
  const std::string log = readFile(processLog());
  const auto isTold = [&](const char* text) { return log.find(text) != std::string::npos; };
  return isTold("Failed to save document") || isTold("Failed to create directory") ||
         isTold("An error occurred during parsing document") || isTold("[TQPlatformInfo] Failed") ||
         isTold("Failed to look for ") || isTold("Failed to load ");
}

class Catalogue : public FaultMatrix, public testing::WithParamInterface<ChangingOperation> {};

TEST_P(Catalogue, IsTheOldOneOrTheNewOne) {
  const States states = GetParam().states(catalogue);
  runAll(GetParam(), states.begun, [&](const ChildRun& run) {
    const std::string seen = catalogue.look(states);
    EXPECT_TRUE(seen == "old" || seen == "new") << seen;
    if (run.isDone) {
      EXPECT_TRUE(run.outcome.result || seen == "old");
      EXPECT_TRUE(!run.outcome.result || seen != "old" || isFailureTold());
    }
    EXPECT_EQ(catalogue.nextSave(), "");
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Catalogue, testing::ValuesIn(changingOperations()),
                         [](const auto& test) { return test.param.name; });

TEST_F(FaultMatrix, OfALockThatIsNotToBeHadLetsTheOperationGoOn) {
  const auto& move = *std::ranges::find(changingOperations(), std::string("Move"),
                                        [](const auto& operation) { return operation.name; });
  const States states = move.states(catalogue);
  catalogue.become(states.old);
  std::vector<SystemCall> calls;
  runInChild(catalogue.path().string(), move, {}, &calls);
  const auto lock = std::ranges::find(calls, SYS_flock, &SystemCall::number);
  ASSERT_NE(lock, calls.end());
  const int at = static_cast<int>(lock - calls.begin()) + 1;
  catalogue.become(states.old);
  runInChild(catalogue.path().string(), move, {Fault::Once, ENOLCK, at});
  EXPECT_EQ(catalogue.look(states), "new");
  EXPECT_NE(readFile(processLog()).find("No lock on directory"), std::string::npos);
}

struct VolumeOperation {
  const char *name, *volume, *file, *content;  // the file after a call that goes well
  unsigned long count;                         // of such a call, 99: it tells none
  bool mayFallShort;                           // the count alone tells of a failure
  bool (*call)(TqLibEmlFile&, Outcome&);

  Outcome operator()() const {
    TqLibEmlFile object(volume);
    Outcome o{false, 99};
    o.result = call(object, o);
    if (o.code == 0) o.code = object.getErrorCode();
    return o;
  }
};

using V = TqLibEmlFile;
using O = Outcome;
std::string folder;
unsigned char data[] = {'d', 'a', 't', 'a'};

unsigned char* bytes(O& o) {
  return reinterpret_cast<unsigned char*>(o.data);
}

const VolumeOperation kVolumeOperations[] = {
    {"NewFolder", "V3", "", "", 99, false, [](V& v, O&) { return v.GetVolumeFolder(folder); }},
    {"Erasure", "V1", "", "", 99, false, [](V& v, O&) { return v.EraseVolume(); }},
    {"FirstBlock", "V1", "00000000", "data", 4, true,
     [](V& v, O& o) { return v.WriteDataForDrive(0, 0, data, 4, o.count); }},
    {"LaterBlock", "V1", "00000001", "old1data", 4, true,
     [](V& v, O& o) { return v.WriteDataForDrive(1, 4, data, 4, o.count); }},
    {"Read", "V1", "00000001", "old1", 4, false,
     [](V& v, O& o) { return v.ReadDataForDrive(1, 0, bytes(o), 8, o.count); }},
    {"ReadOfNothing", "V1", "00000007", "", 0, false,
     [](V& v, O& o) { return v.ReadDataForDrive(7, 0, bytes(o), 8, o.count); }},
    {"DirectWrite", "V1", "00000001", "old1data", 4, true,
     [](V&, O& o) {
       return DirectWriteDataForDrive("V1", 1, 4, data, 4, &o.count, &o.code, nullptr, 0) == 1;
     }},
    {"DirectRead", "V1", "00000001", "old1", 4, false, [](V&, O& o) {
       return DirectReadDataForDrive("V1", 1, 0, bytes(o), 8, &o.count, &o.code, nullptr, 0) == 1;
     }}};

class Volumes : public FaultMatrix, public testing::WithParamInterface<VolumeOperation> {};

TEST_P(Volumes, TellTheTruthAndLeaveTheOthersAlone) {
  const std::string tapes = catalogue.path().string() + "/tapes/";
  const std::string volume = tapes + GetParam().volume + "/";
  catalogue.config("MediaManager", "sVirtualTapeDirectory", tapes);
  for (const char* const path : {"V1", "V2"}) fs::create_directories(tapes + path);
  for (const char* const path : {"V1/00000000", "V1/00000001", "V2/00000000"})
    writeFile(tapes + path, std::string("old") + path[10]);
  const State old = catalogue.state();
  const auto others = [&](State state) {
    std::erase_if(state, [&](const auto& entry) { return entry.first.starts_with(volume); });
    return state;
  };
  runAll(GetParam(), old, [&](const ChildRun& child) {
    State state = catalogue.state();
    EXPECT_EQ(others(state), others(old));
    const Outcome& o = child.outcome;
    if (!child.isDone) return;
    EXPECT_TRUE(o.result || o.code != 0 || !readFile(processLog()).empty());
    EXPECT_TRUE(!o.result || o.count == GetParam().count || GetParam().mayFallShort) << o.count;
    if (!o.result || o.count != GetParam().count) return;
    EXPECT_TRUE(state.contains(volume + GetParam().file));
    EXPECT_EQ(state[volume + GetParam().file], GetParam().content);
    EXPECT_TRUE(o.data[0] == '\0' || std::string(o.data) == GetParam().content) << o.data;
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Volumes, testing::ValuesIn(kVolumeOperations),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace tests

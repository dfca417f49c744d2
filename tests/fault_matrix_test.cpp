// Each call that an operation makes on its folder fails once, fails for good, or is the last.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

#include "ChangingOperations.h"
#include "common/FileContent.h"

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

bool isLogged(const char* text) {
  return readFile(processLog()).find(text) != std::string::npos;
}

/// Whether a file could not be read, so that an update came to nothing.
bool isNothingToSave() {
  return isLogged("An error occurred during parsing document") || isLogged("Failed to load ");
}

/// Whether the log says that nothing was saved, or why there was nothing to save.
bool isFailureTold() {
  return isLogged("Failed to save document") || isLogged("Failed to create directory") ||
         isLogged("[TQPlatformInfo] Failed") || isNothingToSave();
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
      const std::string saveError = run.outcome.data;
      EXPECT_TRUE(saveError.empty() || run.outcome.result) << saveError;
      EXPECT_TRUE(!saveError.empty() || !run.outcome.result || seen != "old" || isNothingToSave());
    }
    EXPECT_EQ(catalogue.nextSave(), "");
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Catalogue, testing::ValuesIn(changingOperations()),
                         nameOfParam);

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
  EXPECT_TRUE(isLogged("No lock on directory"));
}

// Another machine replaces the file between the look at its name and the last byte that is read.
TEST_F(FaultMatrix, OfAStaleFileIsAReasonToReadItAgain) {
  LibraryBuilder("A").slots(1000, 2).build();
  const State state = catalogue.state();
  const std::string root = catalogue.path().string();
  const auto query = [] { return Outcome{elements("A").size() == 2, 0, 0, {}}; };
  const auto read = [&] { return Outcome{contentOf(catalogue.libraryFile("A")).has_value()}; };
  for (const std::function<Outcome()>& reader :
       std::vector<std::function<Outcome()>>{query, read}) {
    std::vector<SystemCall> calls;
    runInChild(root, reader, {}, &calls);
    const auto opened = std::ranges::find_if(calls, [](const SystemCall& call) {
      return call.number == SYS_openat && std::string(call.path).ends_with("/Lib_A.xml");
    });
    ASSERT_NE(opened, calls.end());
    const int first = static_cast<int>(opened - calls.begin()) + 1;
    for (const int at : {first, first + 1, first + 2})  // the open, the examination, a read
      for (const Fault::Kind kind : {Fault::Once, Fault::ForGood}) {
        catalogue.become(state);
        const ChildRun run = runInChild(root, reader, {kind, ESTALE, at});
        EXPECT_EQ(run.outcome.result, kind == Fault::Once) << at;
      }
  }
}

class Volumes : public FaultMatrix, public testing::WithParamInterface<VolumeOperation> {};

TEST_P(Volumes, TellTheTruthAndLeaveTheOthersAlone) {
  const std::string tapes = catalogue.makeTapes();
  const VolumeOperation::Good& good = GetParam().good;
  const State old = catalogue.state();
  const auto others = [&](State state) {
    std::erase_if(state, [&](const auto& entry) {
      return entry.first.starts_with(tapes + good.path.substr(0, 3));
    });
    return state;
  };
  runAll(GetParam(), old, [&](const ChildRun& child) {
    State state = catalogue.state();
    EXPECT_EQ(others(state), others(old));
    const Outcome& o = child.outcome;
    if (!child.isDone) return;
    const bool isTold = o.code != 0 || !readFile(processLog()).empty();
    EXPECT_TRUE(o.result || isTold);
    EXPECT_TRUE(!o.result || o.count == good.count || good.mayFallShort) << o.count;
    EXPECT_TRUE(!o.result || o.count <= good.count || isTold) << o.count;
    if (!o.result || o.count != good.count) return;
    EXPECT_TRUE(state.contains(tapes + good.path));
    EXPECT_EQ(state[tapes + good.path], good.content);
    EXPECT_TRUE(o.data[0] == '\0' || o.data == good.content) << o.data;
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Volumes, testing::ValuesIn(volumeOperations()), nameOfParam);

}  // namespace
}  // namespace tests

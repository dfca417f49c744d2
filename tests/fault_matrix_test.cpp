// Each system call that an operation makes on its folder fails once, fails permanently, or is its
// last. Then the catalogue must be the old one or the new one, and a volume as it was reported.
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

constexpr Fault kFaults[] = {{.kind = Fault::Once, .error = EIO},
                             {.kind = Fault::Once, .error = ENOSPC},
                             {.kind = Fault::Permanent, .error = EIO},
                             {.kind = Fault::Death}};

/// `call` is the one that fails.
std::string describe(const Fault& fault, const SystemCall& call) {
  const std::string kind = fault.kind == Fault::Death ? "death" : std::strerror(fault.error);
  return kind + (fault.kind == Fault::Permanent ? " permanently" : "") + " at call " +
         std::to_string(fault.at) + ", number " + std::to_string(call.number) + ' ' + call.path;
}

class FaultMatrix : public testing::Test {
protected:
  void SetUp() override {
    if (!canInterceptSystemCalls()) GTEST_SKIP() << "calls cannot be intercepted here";
  }

  /// Runs the operation on `old` with each fault at each call, and `check` after each run.
  void runAll(const std::function<Outcome()>& operation, const State& old,
              const std::function<void(const ChildRun&)>& check) {
    const std::string root = m_catalogue.path().string();
    std::vector<SystemCall> calls;
    m_catalogue.become(old);
    runInChild(root, operation, {}, &calls);
    EXPECT_GT(calls.size(), 3U);
    int cases = 0;
    for (Fault fault : kFaults)
      for (fault.at = 1; fault.at <= std::ssize(calls); ++fault.at) {
        m_catalogue.become(old);
        const ChildRun run = runInChild(root, operation, fault);
        SCOPED_TRACE(describe(fault, calls[static_cast<size_t>(fault.at) - 1]));
        const bool isDead = WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL;
        // There may be fewer calls: a configuration that has just been written is not read again.
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

  FaultyCatalogue m_catalogue;
};

bool isLogged(const char* text) {
  return readFile(processLog()).find(text) != std::string::npos;
}

/// Whether an update did nothing because a file could not be read.
bool isNothingToSave() {
  return isLogged("An error occurred during parsing document") || isLogged("Failed to load ");
}

/// Whether the log says that nothing was saved, or why there was nothing to save.
bool isFailureReported() {
  return isLogged("Failed to save document") || isLogged("Failed to create directory") ||
         isLogged("[TQPlatformInfo] Failed") || isNothingToSave();
}

class Catalogue : public FaultMatrix, public testing::WithParamInterface<ChangingOperation> {};

TEST_P(Catalogue, IsTheOldOneOrTheNewOne) {
  const States states = GetParam().states(m_catalogue);
  runAll(GetParam(), states.begun, [&](const ChildRun& run) {
    const std::string seen = m_catalogue.look(states);
    EXPECT_TRUE(seen == "old" || seen == "new") << seen;
    const std::string saveError = run.outcome.data;
    if (run.isDone && !run.outcome.result) {
      EXPECT_EQ(seen, "old");
      EXPECT_EQ(saveError, "");
    }
    if (run.isDone && run.outcome.result && seen == "old") {
      EXPECT_TRUE(isFailureReported());
      EXPECT_TRUE(!saveError.empty() || isNothingToSave());
    }
    EXPECT_EQ(m_catalogue.nextSave(), "");
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Catalogue, testing::ValuesIn(changingOperations()),
                         nameOfParam);

TEST_F(FaultMatrix, AnOperationGoesOnIfLockingIsNotSupported) {
  const auto& move = *std::ranges::find(changingOperations(), std::string("Move"),
                                        [](const auto& operation) { return operation.name; });
  const States states = move.states(m_catalogue);
  m_catalogue.become(states.old);
  std::vector<SystemCall> calls;
  runInChild(m_catalogue.path().string(), move, {}, &calls);
  const auto lock = std::ranges::find(calls, SYS_flock, &SystemCall::number);
  ASSERT_NE(lock, calls.end());
  const int at = static_cast<int>(lock - calls.begin()) + 1;
  m_catalogue.become(states.old);
  runInChild(m_catalogue.path().string(), move, {Fault::Once, ENOLCK, at});
  EXPECT_EQ(m_catalogue.look(states), "new");
  EXPECT_TRUE(isLogged("No lock on directory"));
}

// On a network file system another machine may replace the file between its opening and the last
// byte that is read.
TEST_F(FaultMatrix, AStaleFileIsReadAgain) {
  LibraryBuilder("A").slots(1000, 2).build();
  const State state = m_catalogue.state();
  const std::string root = m_catalogue.path().string();
  const auto query = [] { return Outcome{elements("A").size() == 2, 0, 0, {}}; };
  const auto read = [&] { return Outcome{contentOf(m_catalogue.libraryFile("A")).has_value()}; };
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
      for (const Fault::Kind kind : {Fault::Once, Fault::Permanent}) {
        m_catalogue.become(state);
        const ChildRun run = runInChild(root, reader, {kind, ESTALE, at});
        EXPECT_EQ(run.outcome.result, kind == Fault::Once) << at;
      }
  }
}

class Volumes : public FaultMatrix, public testing::WithParamInterface<VolumeOperation> {};

TEST_P(Volumes, ReportWhatWasDoneAndLeaveTheOtherVolumesUntouched) {
  const std::string tapes = m_catalogue.makeTapes();
  const VolumeOperation::Good& good = GetParam().good;
  const State old = m_catalogue.state();
  const auto others = [&](State state) {
    std::erase_if(state, [&](const auto& entry) {
      return entry.first.starts_with(tapes + good.path.substr(0, 3));
    });
    return state;
  };
  runAll(GetParam(), old, [&](const ChildRun& child) {
    State state = m_catalogue.state();
    EXPECT_EQ(others(state), others(old));
    const Outcome& o = child.outcome;
    if (!child.isDone) return;
    const bool isReported = o.code != 0 || !readFile(processLog()).empty();
    EXPECT_TRUE(o.result || isReported);
    if (!o.result) return;
    EXPECT_TRUE(o.count == good.count || good.mayFallShort) << o.count;
    EXPECT_TRUE(o.count <= good.count || isReported) << o.count;
    if (o.count != good.count) return;
    EXPECT_TRUE(state.contains(tapes + good.path));
    EXPECT_EQ(state[tapes + good.path], good.content);
    EXPECT_TRUE(o.data[0] == '\0' || o.data == good.content) << o.data;
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Volumes, testing::ValuesIn(volumeOperations()), nameOfParam);

}  // namespace
}  // namespace tests

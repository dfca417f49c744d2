// Each system call of an operation fails once, fails permanently, or is its last. The catalogue
// must be the old one or the new one, and a volume as it was reported.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "ChangingOperations.h"
#include "common/FileContent.h"

namespace tests {
namespace {

constexpr Fault kFaults[] = {{.kind = Fault::Once, .error = EIO},
                             {.kind = Fault::Once, .error = ENOSPC},
                             {.kind = Fault::Permanent, .error = EIO},
                             {.kind = Fault::Death}};

class FaultMatrix : public testing::Test {
protected:
  /// Runs the operation on `old` with each fault at each call, and `check` after each run.
  void runAll(const std::function<Outcome()>& operation, const State& old,
              const std::function<void(const ChildRun&)>& check) {
    const std::string root = m_catalogue.path().string();
    std::vector<SystemCall> calls;
    m_catalogue.become(old);
    runInChild(root, operation, {}, &calls);
    EXPECT_GT(calls.size(), 3U);
    for (Fault fault : kFaults)
      for (fault.at = 1; fault.at <= std::ssize(calls); ++fault.at) {
        m_catalogue.become(old);
        const ChildRun run = runInChild(root, operation, fault);
        SCOPED_TRACE(testing::Message()
                     << "fault " << fault.kind << ' ' << fault.error << " at call " << fault.at
                     << ' ' << calls[static_cast<size_t>(fault.at) - 1].path);
        const bool isDead = WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGKILL;
        // There may be fewer calls: a configuration that has just been written is not read again.
        const bool isLast = fault.kind == Fault::Death && run.calls >= fault.at;
        EXPECT_TRUE(isLast ? isDead : run.isDone) << "status " << run.status;
        EXPECT_EQ(run.descriptors, 0);
        EXPECT_FALSE(run.hasLeaks);
        check(run);
      }
  }

  /// The place of the first such call of an operation, counted from 1.
  int firstCall(const std::function<Outcome()>& operation, long number, const char* pathEnd) const {
    std::vector<SystemCall> calls;
    runInChild(m_catalogue.path().string(), operation, {}, &calls);
    const auto found = std::ranges::find_if(calls, [=](const SystemCall& call) {
      return call.number == number && std::string(call.path).ends_with(pathEnd);
    });
    EXPECT_NE(found, calls.end());
    return static_cast<int>(found - calls.begin()) + 1;
  }

  FaultyCatalogue m_catalogue;
};

bool isLogged(const char* text) {
  return readFile(processLog()).find(text) != std::string::npos;
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
      EXPECT_NE(readFile(processLog()), "");
      const bool isRead = !isLogged("An error occurred during parsing document");
      EXPECT_TRUE(!saveError.empty() || !isRead || isLogged("Failed to load "));
    }
    EXPECT_EQ(m_catalogue.nextSave(), "");
  });
}

INSTANTIATE_TEST_SUITE_P(Operations, Catalogue, testing::ValuesIn(changingOperations()),
                         nameOfParam);

TEST_F(FaultMatrix, AnOperationGoesOnIfLockingIsNotSupported) {
  LibraryBuilder("A").slots(1000, 1).build();
  const State state = m_catalogue.state();
  const auto set = [] { return Outcome{setElement("A", "2@1000:T1")}; };
  const int at = firstCall(set, SYS_flock, "");
  m_catalogue.become(state);
  runInChild(m_catalogue.path().string(), set, {Fault::Once, ENOLCK, at});
  EXPECT_EQ(elements("A")[0], "2@1000:T1");
  EXPECT_TRUE(isLogged("No lock on directory"));
}

TEST_F(FaultMatrix, ALaterStepIsNotUndoneByTheCompletionOfAnEarlierOne) {
  LibraryBuilder("A").slots(1000, 1).build();
  const auto steps = [] {
    Outcome outcome;
    TqLibEmulator().ChangeCatalogue([&] {
      TqLibEmulator().RemoveVirtualDevice("", "A", "A");
      setElement("A", "2@1000:T1");
      outcome.result = elements("A") == std::vector<std::string>{"2@1000:T1"};
      return true;
    });
    return outcome;
  };
  runAll(steps, m_catalogue.state(), [](const ChildRun& run) {
    EXPECT_TRUE(TqLibEmulator().ChangeCatalogue([] { return true; }));
    if (run.isDone && run.outcome.result) {
      EXPECT_EQ(elements("A")[0], "2@1000:T1");
    }
  });
}

// On a network file system another machine may replace a file while it is read.
TEST_F(FaultMatrix, AStaleFileIsReadAgain) {
  LibraryBuilder("A").slots(1000, 2).build();
  const State state = m_catalogue.state();
  const std::function<Outcome()> readers[] = {
      [] { return Outcome{elements("A").size() == 2}; },
      [&] { return Outcome{contentOf(m_catalogue.libraryFile("A")).has_value()}; }};
  for (const auto& reader : readers) {
    const int opened = firstCall(reader, SYS_openat, "/Lib_A.xml");
    for (const int at : {opened, opened + 1, opened + 2})  // the open, the examination, a read
      for (const Fault::Kind kind : {Fault::Once, Fault::Permanent}) {
        m_catalogue.become(state);
        const ChildRun run = runInChild(m_catalogue.path().string(), reader, {kind, ESTALE, at});
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

// Each allocation of each operation fails, alone or with all later ones, in a child process.
#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <iostream>
#include <thread>

#include "ChangingOperations.h"
#include "common/XercesObject.h"

namespace {

std::atomic<bool> isCounting = false;
std::atomic<bool> isPermanent = false;
std::atomic<long> failing = 0;                  // counted from 1; 0: none
auto* count = static_cast<std::atomic<long>*>(  // in all processes together
    mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

bool isRefused() {
  if (!isCounting) return false;
  const long number = ++*count;
  const bool isHit = number == failing || (isPermanent && failing != 0 && number > failing);
  if (isHit) errno = ENOMEM;
  return isHit;
}

}  // namespace

// For all libraries. The C library's own free() releases what these return.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) noexcept {
  return isRefused() ? nullptr : __libc_malloc(size);
}
void* calloc(size_t number, size_t size) noexcept {
  return isRefused() ? nullptr : __libc_calloc(number, size);
}
void* realloc(void* memory, size_t size) noexcept {
  return isRefused() ? nullptr : __libc_realloc(memory, size);
}
void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return isRefused() ? nullptr : __libc_memalign(alignment, size);
}
}
#pragma GCC visibility pop

namespace tests {
namespace {

constexpr long kMost = 60;  // cases of each kind, spread evenly; all when TQ_ALL_FAULTS is set

class AllocationMatrix : public testing::Test {
protected:
  void runAll(const State& old, const std::function<void()>& operation,
              const std::function<std::string()>& check) {
    const auto expectRight = [&](long at, bool permanently) {
      m_catalogue.become(old);
      *count = 0;
      EXPECT_EXIT(runWithFault(at, permanently, operation, check), testing::ExitedWithCode(0), "")
          << "allocation " << at << (permanently ? " and later ones" : "");
    };
    expectRight(0, false);
    const long allocations = *count;
    ASSERT_GT(allocations, 0);
    const long step = getenv("TQ_ALL_FAULTS") != nullptr ? 1 : allocations / kMost + 1;
    for (const bool permanently : {false, true})
      for (long at = 1; at <= allocations; at += step) expectRight(at, permanently);
  }

  FaultyCatalogue m_catalogue;

private:
  /// Ends the process. `check` runs on another thread, so a lock that is still held would stop it.
  static void runWithFault(long at, bool permanently, const std::function<void()>& operation,
                           const std::function<std::string()>& check) {
    alarm(10);
    const int descriptors = openDescriptors();
    failing = at;
    isPermanent = permanently;
    isCounting = true;
    try {
      operation();
    } catch (const std::bad_alloc&) {
    }
    isCounting = false;
    std::string wrong = openDescriptors() == descriptors ? "" : "open descriptor ";
    std::thread([&] { wrong += check(); }).join();
    std::cerr << wrong;
    _exit(wrong.empty() ? 0 : 1);
  }
};

using E = TqLibEmulator;
std::string text;
std::vector<SCSIUnitNoMap> devices;
std::vector<LibElement> elements;

const ChangingOperation kQueries[] = {
    {"Devices", [](E& e) { return e.GetVirtualDeviceInfo("hosta", devices); }},
    {"ElementList", [](E& e) { return e.GetVirtualLibraryElements("B", elements); }},
    {"Volume", [](E& e) { return e.GetCurrentVolume("DRV0002", text); }}};

class Allocations : public AllocationMatrix,
                    public testing::WithParamInterface<ChangingOperation> {};

TEST_P(Allocations, ThatFailLeaveTheOldCatalogueOrTheNewOne) {
  const States states = GetParam().states(m_catalogue);
  const bool isQuery = states.old == states.renewed;
  bool result = false;
  const auto operation = [&] { result = GetParam()().result; };
  runAll(states.begun, operation, [&] {
    const std::string seen = m_catalogue.look(states);
    const bool isRight = seen == "old" || (seen == "new" && (result || isQuery));
    return (isRight ? "" : seen + ' ') + m_catalogue.nextSave();
  });
}

INSTANTIATE_TEST_SUITE_P(Changes, Allocations, testing::ValuesIn(changingOperations()),
                         nameOfParam);
INSTANTIATE_TEST_SUITE_P(Queries, Allocations, testing::ValuesIn(kQueries), nameOfParam);

class VolumeAllocations : public AllocationMatrix,
                          public testing::WithParamInterface<VolumeOperation> {};

TEST_P(VolumeAllocations, ThatFailDoNotAffectTheNextOperation) {
  m_catalogue.makeTapes();
  runAll(m_catalogue.state(), GetParam(), [&] { return m_catalogue.nextSave(); });
}

INSTANTIATE_TEST_SUITE_P(Volumes, VolumeAllocations, testing::ValuesIn(volumeOperations()),
                         nameOfParam);

TEST_F(AllocationMatrix, AFailedFirstStartCanBeRepeated) {
  if (XercesObject::instance().m_bInitialized) GTEST_SKIP() << "started by an earlier test";
  const auto operation = [] { TqLibEmulator().UpdateVirtualDevice(newLibrary().library(), ""); };
  runAll(m_catalogue.state(), operation, [&] { return m_catalogue.nextSave(); });
}

}  // namespace
}  // namespace tests

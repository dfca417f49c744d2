// Many threads on one catalogue, with objects of their own and with one that they share.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"

namespace tests {
namespace {

constexpr int kThreads = 8, kRounds = 8, kMedia = 6, kReads = 40;

std::string keyOf(int number) {
  return number % 2 == 0 ? "A" : "B";
}

std::string hostOf(int thread) {
  return "host" + std::to_string(thread);
}

class Threads : public testing::TestWithParam<bool> {
protected:
  Threads() {
    for (const std::string key : {"A", "B"}) {
      LibraryBuilder(key).host("host").slots(1000, 2 * kMedia).drives(500, 1).build();
      TqLibEmulator emulator;
      std::vector<LibElement> media;
      for (int i = 0; i < kMedia; ++i)
        media.push_back(element(LIB_ELEM_SLOT, 1000 + i, key + std::to_string(i)));
      EXPECT_TRUE(emulator.SetVirtualLibraryElement(key, media, false));
      EXPECT_TRUE(emulator.SetVirtualDeviceStatus(key, 2, 4, 1, 3600, kReads));
    }
  }

  /// Moves media about, reads status and tells of its host, in both libraries by turns.
  void run(TqLibEmulator& emulator, int thread) {
    for (int i = 0; i < kRounds; ++i) {
      const std::string key = keyOf(thread + i);
      for (int step = 0; step < 2 * kMedia; step += 3) {
        const int from = 1000 + (thread + i + step) % (2 * kMedia);
        const int to = 1000 + (from + 5 * thread + step) % (2 * kMedia);
        m_moves += emulator.MoveVirtualLibraryElement(key, LIB_ELEM_SLOT, from, LIB_ELEM_SLOT, to);
      }
      int status = -1, asc = -1, ascq = -1;
      EXPECT_TRUE(emulator.GetVirtualDeviceStatus(key, status, asc, ascq, false));
      EXPECT_TRUE((status == 2 && asc == 4 && ascq == 1) || status + asc + ascq == 0);
      m_reads += status == 2;
      const auto host = LibraryBuilder(key).host(hostOf(thread)).slots(1000, 0).drives(500, 1);
      EXPECT_TRUE(i % 4 < 2 ? emulator.UpdateVirtualDevice(host.library(), key)
                            : emulator.UpdateVirtualDevice(host.drive(1), key));
      std::vector<SCSIUnitNoMap> devices;
      EXPECT_TRUE(emulator.GetVirtualDeviceInfo(hostOf(thread), devices));
    }
  }

  std::atomic<int> m_moves = 0, m_reads = 0;
  TempCatalogue m_catalogue;
};

TEST_P(Threads, LoseNoMediumNoReadAndNoHost) {
  TqLibEmulator shared;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([this, &shared, t] {
      TqLibEmulator own;
      run(GetParam() ? shared : own, t);
    });
  for (std::thread& thread : threads) thread.join();

  EXPECT_GT(m_moves, kThreads);
  int left = 0;
  TqLibEmulator emulator;
  for (const std::string key : {"A", "B"}) {
    std::vector<LibElement> found;
    ASSERT_TRUE(emulator.GetVirtualLibraryElements(key, found));
    std::vector<std::string> media, expected;
    for (const LibElement& e : found)
      if (e.isOccupied) media.push_back(e.barCode);
    for (int i = 0; i < kMedia; ++i) expected.push_back(key + std::to_string(i));
    std::sort(media.begin(), media.end());
    EXPECT_EQ(media, expected);
    for (int status = 2, asc = 0, ascq = 0; status == 2; ++left)
      ASSERT_TRUE(emulator.GetVirtualDeviceStatus(key, status, asc, ascq, false));
    --left;  // the read that found none
    for (int t = 0; t < kThreads; ++t) {
      std::vector<SCSIUnitNoMap> devices;
      ASSERT_TRUE(emulator.GetVirtualDeviceInfo(hostOf(t), devices, key));
      ASSERT_EQ(devices.size(), 2U) << hostOf(t);
      EXPECT_EQ(devices[1].DriveIdentifierMap, "Map|1|1|DRV0001|EOM");
    }
  }
  EXPECT_EQ(m_reads + left, 2 * kReads);
}

INSTANTIATE_TEST_SUITE_P(Objects, Threads, testing::Bool(),
                         [](const auto& test) { return test.param ? "Shared" : "Own"; });

}  // namespace
}  // namespace tests

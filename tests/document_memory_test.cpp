#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/DocumentMemory.h"
#include "common/XercesObject.h"

namespace tests {
namespace {

constexpr std::size_t kBlock = DocumentMemory::kBlock;
constexpr std::size_t kMost = DocumentMemory::kMostBlocks;

class Blocks {
public:
  Blocks() { XercesObject::instance().Init(); }
  ~Blocks() {
    for (char* block : m_blocks) m_memory.deallocate(block);
  }
  char* add(std::size_t size) {
    m_blocks.push_back(static_cast<char*>(m_memory.allocate(size)));
    return m_blocks.back();
  }
  void giveBack(std::size_t index) {
    m_memory.deallocate(m_blocks[index]);
    m_blocks.erase(m_blocks.begin() + static_cast<std::ptrdiff_t>(index));
  }
  const std::vector<char*>& all() const { return m_blocks; }

private:
  DocumentMemory m_memory;
  std::vector<char*> m_blocks;
};

TEST(DocumentMemory, UsesBlocksAgainAndGoesOnWhenAllThatAreKeptAreTaken) {
  std::vector<char*> before;
  {
    Blocks blocks;
    for (int i = 0; i < 3; ++i) before.push_back(blocks.add(kBlock));
    blocks.add(kBlock / 2);
  }
  Blocks blocks;
  for (std::size_t i = 0; i < kMost + 8; ++i) {
    std::fill_n(blocks.add(kBlock), kBlock, static_cast<char>(i));
  }
  for (std::size_t i = 0; i < blocks.all().size(); ++i) {
    const char* block = blocks.all()[i];
    ASSERT_TRUE(block[0] == static_cast<char>(i) && std::memcmp(block, block + 1, kBlock - 1) == 0)
        << i;
  }
  for (const char* block : before) {
    EXPECT_EQ(std::count(blocks.all().begin(), blocks.all().end(), block), 1);
  }
}

TEST(DocumentMemoryThreads, HaveBlocksOfTheirOwn) {
  const Blocks before;
  const auto work = [](char mark) {
    Blocks blocks;
    for (std::size_t round = 0; round < 2000; ++round) {
      char* const block = blocks.add(kBlock);
      block[0] = block[kBlock - 1] = mark;
      if (blocks.all().size() > 8) blocks.giveBack(round % 8);
      for (const char* each : blocks.all()) {
        ASSERT_TRUE(each[0] == mark && each[kBlock - 1] == mark);
      }
    }
  };
  std::vector<std::thread> threads;
  for (const char mark : {'a', 'b', 'c', 'd'}) threads.emplace_back(work, mark);
  for (std::thread& each : threads) each.join();
}

}  // namespace
}  // namespace tests

#include "catalogue/DocumentMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>

#include <xercesc/util/PlatformUtils.hpp>

namespace {

constexpr XMLSize_t kBlock = DocumentMemory::kBlock;

/// Blocks that no document has; null where there is none. No lock, which a host that forks could
/// leave taken for ever in the child.
constinit std::array<std::atomic<void*>, DocumentMemory::kMostBlocks> kept{};

void* takeKept() {
  for (std::atomic<void*>& place : kept) {
    if (place.load(std::memory_order_relaxed) == nullptr) {
      continue;
    }
    if (void* const block = place.exchange(nullptr, std::memory_order_acquire)) {
      return block;
    }
  }
  return nullptr;
}

/// Null when the system refuses. The pages are asked for at once; a kernel that does not know how
/// (before Linux 5.14) gives them one by one.
void* takeNew() {
  void* const block =
      ::mmap(nullptr, kBlock, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) {
    return nullptr;
  }
  ::madvise(block, kBlock, MADV_POPULATE_WRITE);
  return block;
}

bool keep(void* block) {
  // Refused for memory that the host has locked, which the system could never take back.
  if (::madvise(block, kBlock, MADV_FREE) != 0) {
    return false;
  }
  for (std::atomic<void*>& place : kept) {
    void* none = nullptr;
    if (place.load(std::memory_order_relaxed) == nullptr &&
        place.compare_exchange_strong(none, block, std::memory_order_release)) {
      return true;
    }
  }
  return false;
}

}  // namespace

void* DocumentMemory::allocate(XMLSize_t size) {
  if (size == kBlock && m_count < m_blocks.size()) {
    void* block = takeKept();
    if (block == nullptr) {
      block = takeNew();
    }
    if (block != nullptr) {
      return m_blocks[m_count++] = block;
    }
  }
  return xercesc::XMLPlatformUtils::fgMemoryManager->allocate(size);
}

void DocumentMemory::deallocate(void* memory) {
  void** const end = m_blocks.data() + m_count;
  void** const found = std::find(m_blocks.data(), end, memory);
  if (found == end) {
    xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(memory);
    return;
  }
  *found = m_blocks[--m_count];
  if (!keep(memory)) {
    ::munmap(memory, kBlock);
  }
}

xercesc::MemoryManager* DocumentMemory::getExceptionMemoryManager() {
  return xercesc::XMLPlatformUtils::fgMemoryManager;
}

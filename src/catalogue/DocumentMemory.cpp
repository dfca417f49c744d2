#include "catalogue/DocumentMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>

#include <xercesc/util/PlatformUtils.hpp>

namespace {

// A document carves its nodes from blocks of its own, of 16 KiB at first and twice as much each
// time up to this. Larger and odd sizes are texts, and buffers that may never be filled.
constexpr XMLSize_t kDocumentBlock = XMLSize_t{512} << 10;
constexpr std::size_t kKeptBlocks = 512;

/// Room for blocks whose pages stay when they are given back. No lock, which a host that forks
/// could leave taken for ever in the child.
class KeptBlocks {
public:
  /// The room is only a range of addresses at first. It is never given back: threads of the host
  /// may still be at work when the process ends.
  KeptBlocks() {
    void* const range = ::mmap(nullptr, kKeptBlocks * kDocumentBlock, PROT_NONE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    m_range = range == MAP_FAILED ? nullptr : static_cast<char*>(range);
  }

  /// The first block that is free; null when there is none or the system refuses.
  void* take() {
    for (std::size_t i = 0; m_range != nullptr && i < kKeptBlocks; ++i) {
      if (m_isTaken[i].load(std::memory_order_relaxed) ||
          m_isTaken[i].exchange(true, std::memory_order_acquire)) {
        continue;
      }
      char* const block = m_range + i * kDocumentBlock;
      if (::mprotect(block, kDocumentBlock, PROT_READ | PROT_WRITE) == 0) {
        return block;
      }
      m_isTaken[i].store(false, std::memory_order_release);
      break;
    }
    return nullptr;
  }

  /// False for memory that does not come from here.
  bool giveBack(void* block) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(block) - reinterpret_cast<std::uintptr_t>(m_range);
    if (m_range == nullptr || offset >= kKeptBlocks * kDocumentBlock) {
      return false;
    }
    // Linux before 4.5 refuses, and the pages just stay.
    ::madvise(block, kDocumentBlock, MADV_FREE);
    m_isTaken[offset / kDocumentBlock].store(false, std::memory_order_release);
    return true;
  }

private:
  char* m_range;
  std::array<std::atomic<bool>, kKeptBlocks> m_isTaken{};
};

KeptBlocks& keptBlocks() {
  static KeptBlocks blocks;
  return blocks;
}

/// Linux before 5.14 refuses, and the pages come one by one.
void fillWithPages(void* block, XMLSize_t size) {
  static const auto page = static_cast<XMLSize_t>(::sysconf(_SC_PAGESIZE));
  const XMLSize_t ahead = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
  ::madvise(static_cast<char*>(block) + ahead, (size - ahead) / page * page, MADV_POPULATE_WRITE);
}

}  // namespace

void* DocumentMemory::allocate(XMLSize_t size) {
  const bool isOfDocument = size == kDocumentBlock;
  void* block = isOfDocument ? keptBlocks().take() : nullptr;
  if (block == nullptr) {
    block = xercesc::XMLPlatformUtils::fgMemoryManager->allocate(size);
  }
  if (isOfDocument) {
    fillWithPages(block, size);
  }
  return block;
}

void DocumentMemory::deallocate(void* block) {
  if (!keptBlocks().giveBack(block)) {
    xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(block);
  }
}

xercesc::MemoryManager* DocumentMemory::getExceptionMemoryManager() {
  return xercesc::XMLPlatformUtils::fgMemoryManager;
}

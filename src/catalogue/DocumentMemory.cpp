#include "catalogue/DocumentMemory.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

#include <xercesc/util/PlatformUtils.hpp>

namespace {

constexpr XMLSize_t kRegion = XMLSize_t{2} << 20;  // a huge page, and aligned as one
constexpr XMLSize_t kLeastBlock = XMLSize_t{256} << 10;
// A region is in memory as a whole once it is touched, which a small document should not pay for.
constexpr XMLSize_t kInSmallPages = XMLSize_t{8} << 20;

/// How far an address lies behind the start of the region that it is in.
XMLSize_t offsetOf(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address) % kRegion;
}

char* regionOf(void* block) {
  return static_cast<char*>(block) - offsetOf(block);
}

/// Null when the system has none.
char* newRegion() {
  void* mapped =
      ::mmap(nullptr, 2 * kRegion, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) {
    return nullptr;
  }
  char* const start = static_cast<char*>(mapped);
  const XMLSize_t ahead = (kRegion - offsetOf(start)) % kRegion;
  if (ahead > 0) {
    ::munmap(start, ahead);
  }
  ::munmap(start + ahead + kRegion, kRegion - ahead);
  ::madvise(start + ahead, kRegion, MADV_HUGEPAGE);  // refused: small pages do as well
  return start + ahead;
}

}  // namespace

void* DocumentMemory::allocate(XMLSize_t size) {
  if (size >= kLeastBlock && size <= kRegion) {
    m_inBlocks += size;
    if (m_inBlocks > kInSmallPages) {
      if (void* block = allocateInRegion(size)) {
        return block;
      }
    }
  }
  return xercesc::XMLPlatformUtils::fgMemoryManager->allocate(size);
}

void* DocumentMemory::allocateInRegion(XMLSize_t size) {
  size = (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) *
         alignof(std::max_align_t);
  if (size > m_left) {
    char* const region = newRegion();
    if (region == nullptr) {
      return nullptr;
    }
    m_free = region;
    m_left = kRegion;
  }
  void* const block = m_free;
  ++m_regions[regionOf(block)];
  m_free += size;
  m_left -= size;
  return block;
}

void DocumentMemory::deallocate(void* block) {
  const auto region = m_regions.empty() ? m_regions.end() : m_regions.find(regionOf(block));
  if (region == m_regions.end()) {
    xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(block);
    return;
  }
  if (--region->second > 0) {
    return;
  }
  if (regionOf(m_free) == region->first) {
    m_left = 0;
  }
  ::munmap(region->first, kRegion);
  m_regions.erase(region);
}

xercesc::MemoryManager* DocumentMemory::getExceptionMemoryManager() {
  return xercesc::XMLPlatformUtils::fgMemoryManager;
}

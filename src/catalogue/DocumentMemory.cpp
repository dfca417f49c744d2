#include "catalogue/DocumentMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include <xercesc/util/PlatformUtils.hpp>

namespace {

// A document carves its nodes from blocks of its own, of 16 KiB at first and twice as much each
// time up to this. Larger and odd sizes are texts, and buffers that may never be filled.
constexpr XMLSize_t kDocumentBlock = XMLSize_t{512} << 10;

/// A kernel before Linux 5.14 refuses, and the pages come one by one.
void fillWithPages(char* block, XMLSize_t size) {
  static const auto page = static_cast<XMLSize_t>(::sysconf(_SC_PAGESIZE));
  const XMLSize_t ahead = (page - reinterpret_cast<std::uintptr_t>(block) % page) % page;
  ::madvise(block + ahead, (size - ahead) / page * page, MADV_POPULATE_WRITE);
}

}  // namespace

void* DocumentMemory::allocate(XMLSize_t size) {
  void* const block = xercesc::XMLPlatformUtils::fgMemoryManager->allocate(size);
  if (size == kDocumentBlock) {
    fillWithPages(static_cast<char*>(block), size);
  }
  return block;
}

void DocumentMemory::deallocate(void* block) {
  xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(block);
}

xercesc::MemoryManager* DocumentMemory::getExceptionMemoryManager() {
  return xercesc::XMLPlatformUtils::fgMemoryManager;
}

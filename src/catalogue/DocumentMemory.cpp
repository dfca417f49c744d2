#include "catalogue/DocumentMemory.h"

#include <sys/mman.h>

#include <cstdint>

#include <xercesc/util/PlatformUtils.hpp>

namespace {

constexpr XMLSize_t kDocumentBlock = XMLSize_t{512} << 10;  // the largest that documents ask for
constexpr XMLSize_t kPage = 4096;

/// A kernel before Linux 5.14 refuses, and the pages come one by one.
void fillWithPages(char* block, XMLSize_t size) {
#ifdef MADV_POPULATE_WRITE
  const XMLSize_t ahead = (kPage - reinterpret_cast<std::uintptr_t>(block) % kPage) % kPage;
  ::madvise(block + ahead, (size - ahead) / kPage * kPage, MADV_POPULATE_WRITE);
#endif
}

}  // namespace

void* DocumentMemory::allocate(XMLSize_t size) {
  void* const block = xercesc::XMLPlatformUtils::fgMemoryManager->allocate(size);
  if (size >= kDocumentBlock) {
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

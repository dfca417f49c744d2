// The memory that documents are read into.
#pragma once

#include <xercesc/framework/MemoryManager.hpp>

/// Hands out what the XML library's own manager does, but for the blocks of large documents. A
/// library of 50,000 slots takes over 100 MB, and to come by them page by page, at the first touch
/// of each, costs a tenth of what parsing does; so their pages are asked for at once, and up to
/// 256 MiB of them stay with the process for the next document, marked for the system to take
/// back when it is short of memory. Any thread may use it.
class DocumentMemory : public xercesc::MemoryManager {
public:
  /// Throws xercesc::OutOfMemoryException.
  void* allocate(XMLSize_t size) override;
  void deallocate(void* block) override;
  /// What is thrown outlives the document.
  xercesc::MemoryManager* getExceptionMemoryManager() override;
};

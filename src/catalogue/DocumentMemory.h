// The memory that documents are read into.
#pragma once

#include <xercesc/framework/MemoryManager.hpp>

/// Hands out what the XML library's own manager does, but has the system fill the blocks of a
/// document with pages as soon as it asks for them. A library of 50,000 slots takes over 100 MB,
/// which are given back at the end of the call; to come by them page by page, at the first touch of
/// each, takes longer. Keeps no state, so any thread may use it.
class DocumentMemory : public xercesc::MemoryManager {
public:
  /// Throws xercesc::OutOfMemoryException.
  void* allocate(XMLSize_t size) override;
  void deallocate(void* block) override;
  /// What is thrown outlives the document.
  xercesc::MemoryManager* getExceptionMemoryManager() override;
};

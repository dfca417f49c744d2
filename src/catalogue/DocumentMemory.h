// Where a large document lies in memory.
#pragma once

#include <unordered_map>

#include <xercesc/framework/MemoryManager.hpp>

/// Hands out what the XML library's own manager does, but lays the blocks of a document beyond its
/// first megabytes into regions that the system may back with huge pages: a library of 50,000 slots
/// fills over 100 MB, which is lost at the end of the call, and a sixth of the time of reading it
/// went into the faults of its small pages. For one thread at a time.
class DocumentMemory : public xercesc::MemoryManager {
public:
  DocumentMemory() = default;
  /// Whatever was allocated has to be given back before.
  ~DocumentMemory() override = default;
  DocumentMemory(const DocumentMemory&) = delete;
  DocumentMemory& operator=(const DocumentMemory&) = delete;

  void* allocate(XMLSize_t size) override;
  void deallocate(void* block) override;
  /// What is thrown outlives the document.
  xercesc::MemoryManager* getExceptionMemoryManager() override;

private:
  void* allocateInRegion(XMLSize_t size);

  XMLSize_t m_inBlocks = 0;  // bytes of all blocks so far
  char* m_free = nullptr;    // in the newest region
  XMLSize_t m_left = 0;
  std::unordered_map<void*, int> m_regions;  // blocks in use, by the region's start
};

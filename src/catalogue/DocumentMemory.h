// The memory that a document is read into.
#pragma once

#include <array>
#include <cstddef>

#include <xercesc/framework/MemoryManager.hpp>

/// Hands out what the XML library's own manager does, but for the blocks of large documents: of
/// those up to 256 MiB stay with the process for the next document, marked for the system to take
/// back when it is short of memory. A library of 50,000 slots takes over 100 MB, and to come by
/// them page by page is about a tenth of what reading it costs.
///
/// For one document; what is kept between them is shared by all threads.
class DocumentMemory : public xercesc::MemoryManager {
public:
  /// Throws xercesc::OutOfMemoryException.
  void* allocate(XMLSize_t size) override;
  void deallocate(void* memory) override;
  /// What is thrown outlives the document.
  xercesc::MemoryManager* getExceptionMemoryManager() override;

  /// A document carves its nodes from blocks of its own, of 16 KiB at first and twice as much each
  /// time up to this. Larger and odd sizes are texts, and buffers that may never be filled.
  static constexpr XMLSize_t kBlock = XMLSize_t{512} << 10;
  /// The most that are kept; a document has no more from among them either.
  static constexpr std::size_t kMostBlocks = 512;

private:
  std::array<void*, kMostBlocks> m_blocks;  // of the document, to be kept after it
  std::size_t m_count = 0;
};

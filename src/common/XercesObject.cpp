// Xerces-C++ cannot take back a start that failed: Initialize() keeps its count, so that the next
// call does nothing, Terminate() uses objects that may not exist yet, and the default panic handler
// ends the process. So a start that runs short of memory is brought to its end with a reserve, and
// then Terminate() takes it back.
//
// The transcoder of ICU and the validator of encodings are not created with the memory manager. If
// there is no memory for one of them twice, the start stays unfinished, and the next call finishes
// it and takes it back before it starts anew.

#include "common/XercesObject.h"

#include <array>
#include <cstddef>
#include <memory>
#include <new>

#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/internal/MemoryManagerImpl.hpp>
#include <xercesc/util/DefaultPanicHandler.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PanicHandler.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLInitializer.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

using xercesc::MemoryManagerImpl;
using xercesc::XMLPlatformUtils;

namespace {

/// A start takes 0.75 MB. Pages that are never used cost nothing.
struct Reserve {
  static constexpr std::size_t kSize = std::size_t{2} << 20;
  alignas(std::max_align_t) std::array<std::byte, kSize> bytes;
  std::size_t used;

  /// Null when it is used up.
  void* take(std::size_t size) {
    const std::size_t begin = used;
    const std::size_t rounded =
        (size + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
    if (rounded > kSize - begin) {
      return nullptr;
    }
    used += rounded;
    return bytes.data() + begin;
  }
  bool has(const void* memory) const {
    return memory >= bytes.data() && memory < bytes.data() + kSize;
  }
};

constinit Reserve reserve{};

/// The manager of Xerces-C++ with the reserve behind it.
class BackedMemory : public MemoryManagerImpl {
public:
  void* allocate(XMLSize_t size) override {
    void* memory = ::operator new(size, std::nothrow);
    if (memory == nullptr) {
      memory = reserve.take(size);
    }
    if (memory == nullptr) {
      throw xercesc::OutOfMemoryException();
    }
    return memory;
  }
  void deallocate(void* memory) override {
    if (!reserve.has(memory)) {
      ::operator delete(memory);
    }
  }
};

/// Ends a start whose rest would use what could not be created.
class PanicNote : public xercesc::PanicHandler {
public:
  void panic(const PanicReasons reason) override {
    isTranscoderMissing = isTranscoderMissing || reason == Panic_NoDefTranscoder;
    throw std::bad_alloc();
  }
  bool isTranscoderMissing = false;
};

PanicNote panicNote;

using InitString = void (*)(xercesc::XMLLCPTranscoder*, xercesc::MemoryManager*);

/// Defines initString(), which calls a private function of Xerces-C++: an explicit instantiation
/// may name it.
template <InitString function>
struct PrivateAccess {
  friend void initString(xercesc::XMLLCPTranscoder* transcoder, xercesc::MemoryManager* manager) {
    function(transcoder, manager);
  }
};
template struct PrivateAccess<&xercesc::XMLString::initString>;
void initString(xercesc::XMLLCPTranscoder* transcoder, xercesc::MemoryManager* manager);

/// The end of a start, which may have been left out.
class RestOfStart : private xercesc::XMLInitializer {
public:
  /// Whether there is what Terminate() needs: its last is created right behind this object.
  static bool isDone() { return xercesc::DOMImplementation::getImplementation() != nullptr; }

  /// Throws std::bad_alloc.
  static void run() {
    xercesc::MemoryManager* const manager = XMLPlatformUtils::fgMemoryManager;
    if (panicNote.isTranscoderMissing) {
      auto* const transcoder = XMLPlatformUtils::fgTransService->makeNewLCPTranscoder(manager);
      if (transcoder == nullptr) {
        throw std::bad_alloc();
      }
      initString(transcoder, manager);
      panicNote.isTranscoderMissing = false;
    }
    initializeStaticData();
  }
};

/// Exchanges the code of the runtime's manager. Blocks refer to the manager, so its place stays.
template <class Manager>
void exchangeManager() {
  static_assert(sizeof(Manager) == sizeof(MemoryManagerImpl));
  xercesc::MemoryManager* const manager = XMLPlatformUtils::fgMemoryManager;
  std::destroy_at(manager);
  new (static_cast<void*>(manager)) Manager;
}

}  // namespace

XercesObject::~XercesObject() {
  if (!m_bInitialized) {
    return;
  }
  // Terminate() allocates in a destructor, where a failure ends the process.
  const bool isOurs = m_pMemory != nullptr && m_pMemory == XMLPlatformUtils::fgMemoryManager;
  if (isOurs) {
    exchangeManager<BackedMemory>();
  }
  XMLPlatformUtils::Terminate();
  if (isOurs && XMLPlatformUtils::fgMemoryManager != nullptr) {  // the embedder needs it still
    exchangeManager<MemoryManagerImpl>();
  }
}

void XercesObject::Init() {
  if (m_bInitialized) {
    return;
  }
  if (m_pMemory != nullptr) {
    takeBack();
  }
  if (XMLPlatformUtils::fgMemoryManager == nullptr) {
    start();
  } else {  // the embedder did
    XMLPlatformUtils::Initialize();
  }
  m_bInitialized = true;
}

void XercesObject::start() {
  m_pMemory = new BackedMemory;
  XMLPlatformUtils::fgMemoryManager = m_pMemory;
  try {
    XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicNote);
    XMLPlatformUtils::fgDefaultPanicHandler = new xercesc::DefaultPanicHandler;
    if (reserve.used != 0) {
      throw std::bad_alloc();
    }
  } catch (const std::bad_alloc&) {
    takeBack();
    throw;
  }
  // Nothing of this library stays in a runtime that may outlive it.
  XMLPlatformUtils::fgUserPanicHandler = nullptr;
  exchangeManager<MemoryManagerImpl>();
}

void XercesObject::takeBack() {
  if (!RestOfStart::isDone()) {
    RestOfStart::run();
  }
  XMLPlatformUtils::Terminate();
  m_pMemory = nullptr;
  if (XMLPlatformUtils::fgMemoryManager == nullptr) {  // else the embedder started it meanwhile
    reserve.used = 0;
  }
}

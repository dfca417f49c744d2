// Starts Xerces-C++ so that a start that runs out of memory can be undone and repeated.
//
// Xerces-C++ itself cannot undo a failed start: Initialize() keeps its count, and the next call
// does nothing. Terminate() uses objects that may not exist yet. The default panic handler ends the
// process. Therefore a start that runs out of memory is completed with reserved memory, and then
// undone with Terminate().
//
// The ICU transcoder and the encoding validator do not use the memory manager. If allocating one of
// them fails twice, the start stays incomplete. The next call of Init() then completes and undoes
// it before it starts the runtime again.

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

/// Memory for a start that runs out of it. A start takes 0.75 MB; unused pages cost nothing.
struct Reserve {
  static constexpr std::size_t kSize = std::size_t{2} << 20;
  alignas(std::max_align_t) std::array<std::byte, kSize> bytes;
  std::size_t used;

  /// Null when the reserve has too little left.
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

/// The default memory manager of Xerces-C++, which falls back to the reserve.
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

/// Stops a start at the first object that cannot be created: the rest of it would use that object.
class PanicStop : public xercesc::PanicHandler {
public:
  void panic(const PanicReasons reason) override {
    isTranscoderMissing = isTranscoderMissing || reason == Panic_NoDefTranscoder;
    throw std::bad_alloc();
  }
  bool isTranscoderMissing = false;
};

PanicStop panicStop;

using InitString = void (*)(xercesc::XMLLCPTranscoder*, xercesc::MemoryManager*);

/// Gives access to XMLString::initString(), which is private: access is not checked in an explicit
/// instantiation.
template <InitString function>
struct PrivateAccess {
  friend void initString(xercesc::XMLLCPTranscoder* transcoder, xercesc::MemoryManager* manager) {
    function(transcoder, manager);
  }
};
template struct PrivateAccess<&xercesc::XMLString::initString>;
void initString(xercesc::XMLLCPTranscoder* transcoder, xercesc::MemoryManager* manager);

/// The last steps of XMLPlatformUtils::Initialize(), which a failed start may have skipped.
class RestOfStart : private xercesc::XMLInitializer {
public:
  /// Whether Terminate() can be called. The start creates this object right before the last one
  /// that Terminate() needs.
  static bool isDone() { return xercesc::DOMImplementation::getImplementation() != nullptr; }

  /// Throws std::bad_alloc.
  static void run() {
    xercesc::MemoryManager* const manager = XMLPlatformUtils::fgMemoryManager;
    if (panicStop.isTranscoderMissing) {
      auto* const transcoder = XMLPlatformUtils::fgTransService->makeNewLCPTranscoder(manager);
      if (transcoder == nullptr) {
        throw std::bad_alloc();
      }
      initString(transcoder, manager);
      panicStop.isTranscoderMissing = false;
    }
    initializeStaticData();
  }
};

/// Changes the class of the runtime's memory manager. Allocated blocks refer to the manager, so the
/// new one is constructed at the same address.
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
  if (isOurs && XMLPlatformUtils::fgMemoryManager != nullptr) {  // the embedder still uses it
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
  } else {  // the embedder has started it
    XMLPlatformUtils::Initialize();
  }
  m_bInitialized = true;
}

void XercesObject::start() {
  m_pMemory = new BackedMemory;
  XMLPlatformUtils::fgMemoryManager = m_pMemory;
  try {
    XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, &panicStop);
    XMLPlatformUtils::fgDefaultPanicHandler = new xercesc::DefaultPanicHandler;
    if (reserve.used != 0) {
      throw std::bad_alloc();
    }
  } catch (const std::bad_alloc&) {
    takeBack();
    throw;
  }
  // The runtime may outlive libTqLibEmulator, so no object of ours stays in it.
  XMLPlatformUtils::fgUserPanicHandler = nullptr;
  exchangeManager<MemoryManagerImpl>();
}

void XercesObject::takeBack() {
  if (!RestOfStart::isDone()) {
    RestOfStart::run();
  }
  XMLPlatformUtils::Terminate();
  m_pMemory = nullptr;
  if (XMLPlatformUtils::fgMemoryManager == nullptr) {  // the embedder has not started it
    reserve.used = 0;
  }
}

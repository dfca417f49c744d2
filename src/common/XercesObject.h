// The Xerces-C++ runtime of the process.
#pragma once

#include <xercesc/framework/MemoryManager.hpp>

/// Starts the Xerces-C++ runtime once and ends it when it is destroyed.
class XercesObject {
public:
  XercesObject() = default;
  ~XercesObject();
  XercesObject(const XercesObject&) = delete;
  XercesObject& operator=(const XercesObject&) = delete;

  /// Starts the runtime unless it runs. Throws std::bad_alloc when there is not enough memory; a
  /// later call tries again. Hold gCriticalSection.
  void Init();

  /// The only instance. It lives as long as libTqLibEmulator is loaded.
  static XercesObject& instance();

private:
  void start();
  void takeBack();

  xercesc::MemoryManager* m_pMemory = nullptr;  // of a runtime that this object started; borrowed
  bool m_bInitialized = false;
};

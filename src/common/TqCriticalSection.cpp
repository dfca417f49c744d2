// The catalogue lock: wraps the platform's critical section.

#include <new>

#include "TqLibEmulator.h"
#include "TqPlatform/CriticalSection.h"

TqCriticalSection::TqCriticalSection() : m_pHandle(new (std::nothrow) TqCriticalSectionH) {
  if (m_pHandle == nullptr) {
    throw "Not enough memory to initialize TqCriticalSection";
  }
}

TqCriticalSection::~TqCriticalSection() {
  delete m_pHandle;
  m_pHandle = nullptr;
}

void TqCriticalSection::enter(bool wait) {
  m_pHandle->enter(wait);
}

void TqCriticalSection::leave() {
  m_pHandle->leave();
}

TqCriticalSectionLock::TqCriticalSectionLock(TqCriticalSection* section) : m_pSection(section) {
  if (m_pSection != nullptr) {
    m_pSection->enter(true);
  }
}

TqCriticalSectionLock::~TqCriticalSectionLock() {
  if (m_pSection == nullptr) {
    return;
  }
  try {
    m_pSection->leave();
  } catch (...) {  // the holder may already be unwinding
  }
}

#include "TqPlatform/CriticalSection.h"

TqCriticalSectionH::TqCriticalSectionH() = default;

TqCriticalSectionH::~TqCriticalSectionH() = default;

void TqCriticalSectionH::enter(bool wait) {
  if (wait) {
    m_mutex.lock();
    return;
  }
  // Callers that do not wait are not told whether they hold the section; the interface has no
  // place for the answer.
  static_cast<void>(m_mutex.try_lock());
}

void TqCriticalSectionH::leave() {
  m_mutex.unlock();
}

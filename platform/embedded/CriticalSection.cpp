// The catalogue lock as a std::recursive_mutex.

#include "TqPlatform/CriticalSection.h"

TqCriticalSectionH::TqCriticalSectionH() = default;

TqCriticalSectionH::~TqCriticalSectionH() = default;

void TqCriticalSectionH::enter(bool wait) {
  if (wait) {
    m_mutex.lock();
    return;
  }
  // The interface cannot return whether the mutex was acquired.
  static_cast<void>(m_mutex.try_lock());
}

void TqCriticalSectionH::leave() {
  m_mutex.unlock();
}

// Platform interface: the mutex behind the catalogue lock.
#pragma once

#include <mutex>

#include "TqPlatform/Api.h"

/// A recursive mutex of one process. The thread that holds it may enter again, and must leave as
/// often as it has entered.
class TQ_PLATFORM_API TqCriticalSectionH {
public:
  TqCriticalSectionH();
  ~TqCriticalSectionH();
  TqCriticalSectionH(const TqCriticalSectionH&) = delete;
  TqCriticalSectionH& operator=(const TqCriticalSectionH&) = delete;

  /// Acquires the mutex. With `wait` true, blocks until it is acquired. With `wait` false, tries
  /// once and returns in any case.
  void enter(bool wait);

  /// Releases one acquisition of the calling thread.
  void leave();

private:
  std::recursive_mutex m_mutex;
};

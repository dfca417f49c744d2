// Host interface: the mutual exclusion behind the catalogue lock.
#pragma once

#include <mutex>

#include "TqPlatform/Api.h"

/// A mutual-exclusion object of one process. Recursive: the thread that holds it may enter again
/// and leaves as often as it entered.
class TQ_PLATFORM_API TqCriticalSectionH {
public:
  TqCriticalSectionH();
  ~TqCriticalSectionH();
  TqCriticalSectionH(const TqCriticalSectionH&) = delete;
  TqCriticalSectionH& operator=(const TqCriticalSectionH&) = delete;

  /// Acquires the section. With `wait` true, blocks until it is acquired; with false, tries once
  /// and returns whatever the outcome.
  void enter(bool wait);

  /// Releases one acquisition of the calling thread.
  void leave();

private:
  std::recursive_mutex m_mutex;
};

// Protecting an operation from thread cancellation.
#pragma once

#include <pthread.h>

/// Delays pthread_cancel() for the calling thread as long as it lives. Does not change errno.
///
/// Cancellation unwinds the stack with an exception. If that exception is caught and not rethrown,
/// or reaches a noexcept function, the process ends; in our code both would happen. Therefore an
/// operation runs to its end, and the thread is cancelled at its next cancellation point after it.
class NoCancel {
public:
  NoCancel() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  // With asynchronous cancelability, the thread is cancelled here, by unwinding.
  ~NoCancel() noexcept(false) { ::pthread_setcancelstate(m_before, nullptr); }
  NoCancel(const NoCancel&) = delete;
  NoCancel& operator=(const NoCancel&) = delete;

private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

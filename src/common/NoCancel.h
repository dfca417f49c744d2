// Protection of an operation against thread cancellation.
#pragma once

#include <pthread.h>

/// Holds back pthread_cancel() for the calling thread as long as it lives. Cancellation unwinds the
/// stack with an exception that must not be swallowed and must not meet a noexcept function, and
/// our code does both, which ends the process. So an operation runs to its end, and the thread is
/// cancelled at its next cancellation point after that. Does not touch errno.
class NoCancel {
public:
  NoCancel() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  // Where cancelability is asynchronous, the thread is cancelled here, by unwinding.
  ~NoCancel() noexcept(false) { ::pthread_setcancelstate(m_before, nullptr); }
  NoCancel(const NoCancel&) = delete;
  NoCancel& operator=(const NoCancel&) = delete;

private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

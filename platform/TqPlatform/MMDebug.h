/// @file
/// Host interface: the log.
#pragma once

#include "TqPlatform/Api.h"

/// Marks a line that ends a process in the host's logs. Nothing here reads it.
[[maybe_unused]] static const char kFatalErrorMark[] = "**FatalError**";

/// The handle of a component in the host's log.
class TQ_PLATFORM_API MMDebug {
public:
  MMDebug();
  ~MMDebug();
  MMDebug(const MMDebug&) = delete;
  MMDebug& operator=(const MMDebug&) = delete;

  /// The handle as the calls of EvDebug take it.
  operator const char*() const;
};

/// Lines in the host's log. Any thread may write.
class TQ_PLATFORM_API EvDebug {
public:
  /// Writes one error line; `format` and what follows are those of printf.
  static void Error(const char* handle, const char* origin, const char* format, ...)
      __attribute__((format(printf, 3, 4)));
};

/// The host's event facility.
class TQ_PLATFORM_API EvEvent {
public:
  /// What the facility calls at an event.
  using Callback = void (*)();

  /// Prepares the facility for a component; may be called any number of times.
  static void initialize(int version, unsigned int component, int flags, Callback callback,
                         const char* name);
};

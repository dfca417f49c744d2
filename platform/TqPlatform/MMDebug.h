/// @file
/// Platform interface: the log.
#pragma once

#include "TqPlatform/Api.h"

/// Marks a log line that reports the end of a process. libTqLibEmulator does not use it.
[[maybe_unused]] static const char kFatalErrorMark[] = "**FatalError**";

/// The handle of a component in the embedder's log.
class TQ_PLATFORM_API MMDebug {
public:
  MMDebug();
  ~MMDebug();
  MMDebug(const MMDebug&) = delete;
  MMDebug& operator=(const MMDebug&) = delete;

  /// The handle as the calls of EvDebug take it.
  operator const char*() const;
};

/// Writes to the embedder's log. Any thread may call.
class TQ_PLATFORM_API EvDebug {
public:
  /// Writes one error line; `format` and the values are those of printf.
  static void Error(const char* handle, const char* origin, const char* format, ...)
      __attribute__((format(printf, 3, 4)));
};

/// The embedder's event facility.
class TQ_PLATFORM_API EvEvent {
public:
  /// The function that the facility calls for an event.
  using Callback = void (*)();

  /// Prepares the facility for a component; may be called any number of times.
  static void initialize(int version, unsigned int component, int flags, Callback callback,
                         const char* name);
};

// The export macro of the platform interfaces. The embedded default is compiled into
// libTqLibEmulator.so. An embedder that implements the interfaces in its own libraries defines
// TQ_PLATFORM_API for them.
#pragma once

#ifndef TQ_PLATFORM_API
#define TQ_PLATFORM_API __attribute__((visibility("default")))
#endif

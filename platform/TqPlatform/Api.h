// The export mark of the host interfaces. A host that brings libraries of its own defines
// TQ_PLATFORM_API for them; the embedded default is compiled into libTqLibEmulator.so.
#pragma once

#ifndef TQ_PLATFORM_API
#define TQ_PLATFORM_API __attribute__((visibility("default")))
#endif

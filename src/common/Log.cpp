// Passes errors to the platform's log under the handle of libTqLibEmulator.

#include "common/Log.h"

#include "TqLibEmulator.h"

void logError(const char* origin, const char* text) {
  EvDebug::Error(debugHandler, origin, "%s", text);
}

void logError(const char* origin, const std::string& text) {
  logError(origin, text.c_str());
}

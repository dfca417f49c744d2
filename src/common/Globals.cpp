// The globals of the library. They stand in one file because their order matters: the log is there
// before the lock and the runtime that may use it, and goes last.

#include "TqLibEmulator.h"
#include "common/XercesObject.h"

MMDebug debugHandler;
TqCriticalSection gCriticalSection;

namespace {
XercesObject xercesRuntime;
}  // namespace

XercesObject& XercesObject::instance() {
  return xercesRuntime;
}

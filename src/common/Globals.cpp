// The globals of libTqLibEmulator. They are in one file to fix their order: the lock and the XML
// runtime may use the log, so the log is constructed before them and destroyed after them.

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

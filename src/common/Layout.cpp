// The sizes that callers compile into their programs. A figure that no longer holds means that
// programs linked with an older version break: raise in CMakeLists.txt the minor version while the
// version is 0.x, else the major one, which is the SOVERSION, and tell in CHANGELOG.md; then change
// the figure.
#include <cstddef>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

// Another machine or standard library has figures of its own.
#if defined(__x86_64__) && defined(__LP64__) && defined(_GLIBCXX_USE_CXX11_ABI) && \
    !defined(_GLIBCXX_DEBUG)
#if _GLIBCXX_USE_CXX11_ABI

// The records, which callers hold and pass in vectors
static_assert(sizeof(SCSIUnitFields) == 408);
static_assert(offsetof(SCSIUnitFields, SerialNumber) == 224);
static_assert(offsetof(SCSIUnitFields, ScsiDeviceType) == 288);
static_assert(offsetof(SCSIUnitFields, AccessPath) == 296);
static_assert(offsetof(SCSIUnitFields, Bus) == 360);
static_assert(offsetof(SCSIUnitFields, DeviceInteger2) == 400);
static_assert(sizeof(SCSIUnit) == 456);
static_assert(sizeof(SCSIUnitNoMap) == 440);
static_assert(sizeof(LibElement) == 48);
static_assert(offsetof(LibElement, isOccupied) == 9);
static_assert(offsetof(LibElement, barCode) == 16);

// The objects, for which callers make room
static_assert(sizeof(MMDebug) == 1);
static_assert(sizeof(MMS2BaseError) == 12304);
static_assert(sizeof(TqCriticalSection) == 8);
static_assert(sizeof(TqCriticalSectionLock) == 8);
static_assert(sizeof(TqLibEmulator) == 12424);
static_assert(sizeof(TqLibEmlFile) == 12376);

#endif
#endif

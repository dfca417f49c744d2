// Checks the sizes and offsets that are compiled into embedders. If a check fails, programs linked
// with an older version break. Then raise the version in CMakeLists.txt (while it is 0.x, the minor
// version; after that, the major version, which is the SOVERSION), add a line to CHANGELOG.md, and
// change the number here.
#include <cstddef>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

// Other architectures and standard libraries have other sizes.
#if defined(__x86_64__) && defined(__LP64__) && defined(_GLIBCXX_USE_CXX11_ABI) && \
    !defined(_GLIBCXX_DEBUG)
#if _GLIBCXX_USE_CXX11_ABI

// Records, which callers create and pass in vectors
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

// Classes, which callers instantiate
static_assert(sizeof(MMDebug) == 1);
static_assert(sizeof(MMS2BaseError) == 12304);
static_assert(sizeof(TqCriticalSection) == 8);
static_assert(sizeof(TqCriticalSectionLock) == 8);
static_assert(sizeof(TqLibEmulator) == 12424);
static_assert(sizeof(TqLibEmlFile) == 12376);

#endif
#endif

// Uses the catalogue, the lock, the globals and the host interfaces as another project would.
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

int main() {
  const TqCriticalSectionLock lock(&gCriticalSection);
  EvDebug::Error(debugHandler, "consumer", "%s", "starts");

  SCSIUnit library;
  library.ScsiDeviceType = 8;
  library.SerialNumber = "LIB1";
  library.SlotBaseAddress = 1000;
  library.SlotCount = 2;
  TqLibEmulator catalogue;
  std::vector<LibElement> elements;
  if (!catalogue.UpdateVirtualDevice(SCSIUnitNoMap(library), "LIB1") ||
      !catalogue.GetVirtualLibraryElements("LIB1", elements) || elements.size() != 2) {
    return 1;
  }
  std::string directory;
  return TqLibEmlFile::GetTQLibEMLXMLDir(directory) == 1 &&
                 TqLibEmlFile::IsFilePresent(directory + "Lib_LIB1.xml") &&
                 catalogue.getErrorCode() == 0
             ? 0
             : 2;
}

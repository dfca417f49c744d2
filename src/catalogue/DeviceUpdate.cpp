// The device update: a caller tells the catalogue of a library or a drive, or of both together.

#include "TqLibEmulator.h"
#include "catalogue/DriveIndex.h"
#include "files/Names.h"
#include "catalogue/OperationCycle.h"
#include "files/XmlText.h"

namespace {
constexpr char kOrigin[] = "TqLibEmulator::UpdateVirtualDevice";
}  // namespace

bool TqLibEmulator::UpdateVirtualDevice(const SCSIUnitNoMap& device,
                                        const std::string& libraryName) {
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Logged});
  return cycle.inFrame([&] {
    const SCSIUnit unit = device;
    return isDeviceALibrary(unit) ? updateOrCreateLibrary(unit) : updateDriveOf(unit, libraryName);
  });
}

bool TqLibEmulator::UpdateVirtualDevice(const std::vector<SCSIUnitNoMap>& devices,
                                        const std::string& libraryName) {
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::PassedOn});
  return cycle.inFrame([&] {
    return libraryName.empty() ? updateLastLibrary(devices) : updateBatch(devices, libraryName);
  });
}

// The update of an existing library or drive that fails is still reported as done, with nothing
// saved: callers send the whole configuration again and again and treat false as a lost catalogue.
bool TqLibEmulator::updateOrCreateLibrary(const SCSIUnit& library) {
  if (!GetLibFileName(library.SerialNumber, m_sLibFile)) {
    return false;
  }
  if (isFilePresent(m_sLibFile)) {
    ensureLoaded();
    saveIf(updateLibrary(library, m_pLibDoc));
    return true;
  }
  std::string listPath;
  if (!createLibrary(library) || !GetLibListFile(listPath) ||
      !createNewLibraryFile(getLibXMLFile(library.SerialNumber), library.SerialNumber)) {
    return false;
  }
  saveWithList(listPath, FirstSaved::Library);
  m_bListModified = false;
  return true;
}

// A drive is never the cause of a new file.
bool TqLibEmulator::updateDriveOf(const SCSIUnit& drive, const std::string& libraryName) {
  const bool isStandalone = libraryName.empty();
  if (!GetLibFileName(isStandalone ? names::standaloneKey : libraryName, m_sLibFile)) {
    return false;
  }
  if (!ensureLoaded()) {
    return false;
  }
  saveIf(updateDrive(m_pLibDoc, drive, isStandalone));
  return true;
}

void TqLibEmulator::saveIf(bool isChanged) {
  if (isChanged) {
    m_bLibModified = true;
    saveDocument(m_pLibDoc);
  } else {
    m_saveError = "Library file " + m_sLibFile + " was not updated";
  }
}

bool TqLibEmulator::createLibrary(const SCSIUnit& library) {
  const bool isCreated = createNewLibrary(library, m_pLibDoc);
  m_newLibDoc.reset(m_pLibDoc);
  return isCreated;
}

// Without a library's name there is no telling whose the drives are, so they are left out.
bool TqLibEmulator::updateLastLibrary(const std::vector<SCSIUnitNoMap>& devices) {
  const SCSIUnitNoMap* last = nullptr;
  for (const SCSIUnitNoMap& device : devices) {
    last = isDeviceALibrary(device) ? &device : last;
  }
  return last == nullptr || UpdateVirtualDevice(*last, std::string());
}

bool TqLibEmulator::updateBatch(const std::vector<SCSIUnitNoMap>& devices,
                                const std::string& libraryName) {
  if (!GetLibFileName(libraryName, m_sLibFile)) {
    return false;
  }
  bool isNew = false;
  if (!isFilePresent(m_sLibFile)) {
    isNew = createNewLibraryFile(getLibXMLFile(libraryName), libraryName);
  } else if (!ensureLoaded()) {
    return false;
  }
  return registerBatch(devices, libraryName, isNew) && saveBatch(isNew);
}

// The library is updated once more after its drives, which gives them their addresses. The file is
// written whether or not that worked: a new library has to be saved, too.
bool TqLibEmulator::registerBatch(const std::vector<SCSIUnitNoMap>& devices,
                                  const std::string& libraryName, bool isNew) {
  DriveIndex drives;
  SCSIUnit library;
  for (const SCSIUnitNoMap& device : devices) {
    const SCSIUnit unit = device;
    if (!registerDevice(unit, libraryName, isNew, drives)) {
      return false;
    }
    isNew = false;
    if (isDeviceALibrary(unit)) {
      library = unit;
    }
  }
  if (!isDeviceALibrary(library)) {
    return true;
  }
  registerDevice(library, libraryName, false, drives);
  m_bLibModified = true;
  return true;
}

// A batch that ends without a document saves nothing, the list included: an entry without a file
// would fail every query over all libraries.
bool TqLibEmulator::saveBatch(bool isNew) {
  if (m_pLibDoc == nullptr) {
    m_saveError = "Library file " + m_sLibFile + " was not created";
    return true;
  }
  if (!m_bLibModified) {
    return true;
  }
  if (!isNew) {
    saveDocument(m_pLibDoc);
    return true;
  }
  std::string listPath;
  if (!GetLibListFile(listPath)) {
    return false;
  }
  saveWithList(listPath, FirstSaved::Library);
  return true;
}

bool TqLibEmulator::UpdateVirtualDeviceNoLock(const SCSIUnit& device,
                                              const std::string& libraryName, bool createNew) {
  DriveIndex drives;
  return registerDevice(device, libraryName, createNew, drives);
}

// A failed update counts as done, as in the update of a single record.
bool TqLibEmulator::registerDevice(const SCSIUnit& device, const std::string& libraryName,
                                   bool createNew, DriveIndex& drives) {
  if (isDeviceALibrary(device)) {
    if (createNew) {
      drives.forget();
      return createLibrary(device);
    }
    noteUpdate(updateLibrary(device, m_pLibDoc));
    return true;
  }
  if (libraryName.empty()) {
    return false;
  }
  noteUpdate(drives.read(m_pLibDoc, false) && updateDriveIn(drives, m_pLibDoc, device));
  return true;
}

void TqLibEmulator::noteUpdate(bool isUpdated) {
  m_bLibModified = isUpdated || m_bLibModified;
  if (!isUpdated) {
    m_saveError = "Library file " + m_sLibFile + " was updated in part only";
  }
}

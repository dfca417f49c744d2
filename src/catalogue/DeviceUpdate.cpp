// The device update: creates or updates a library or a drive, or a library and its drives together.

#include "TqLibEmulator.h"
#include "catalogue/DeviceRecords.h"
#include "catalogue/Indexes.h"
#include "catalogue/OperationCycle.h"
#include "catalogue/Registration.h"
#include "files/Names.h"

namespace {

constexpr char kOrigin[] = "TqLibEmulator::UpdateVirtualDevice";
constexpr CycleTerms kSingleTerms{kOrigin, Access::Changes, Exceptions::Logged};
constexpr CycleTerms kBatchTerms{kOrigin, Access::Changes, Exceptions::PassedOn};

bool createDocument(OperationCycle& cycle, const SCSIUnit& library) {
  auto created = newLibraryDocument(library, cycle.errors());
  const bool isCreated = created != nullptr;
  cycle.setNewDocument(std::move(created));
  return isCreated;
}

void saveIf(OperationCycle& cycle, bool isChanged) {
  if (isChanged) {
    cycle.markModified();
    cycle.save();
  } else {
    cycle.setSaveError("Library file " + cycle.path() + " was not updated");
  }
}

/// Puts the records of a batch into the document of its library.
class Batch {
public:
  Batch(OperationCycle& cycle, const std::string& libraryName)
      : m_cycle(cycle), m_libraryName(libraryName) {}

  /// Creates or updates the device of a record. If `createsLibrary` is true, a library record
  /// creates the document. A failed update counts as success, as in the update of a single record.
  /// False when the library cannot be created, or for a drive without a library name.
  bool put(const SCSIUnit& record, bool createsLibrary) {
    if (isLibraryRecord(record)) {
      if (createsLibrary) {
        m_drives.forget();
        return createDocument(m_cycle, record);
      }
      mark(updateSingleLibrary(m_cycle.document(), record));
      return true;
    }
    if (m_libraryName.empty()) {
      return false;
    }
    mark(m_drives.read(m_cycle.document(), false) &&
         updateIndexedDrive(m_drives, m_cycle.document(), record));
    return true;
  }

  /// Puts all records, then updates the library once more, which gives the drives their addresses.
  /// If there is a library record, the file is always written: a new library must be saved even if
  /// that last update failed.
  bool putAll(const std::vector<SCSIUnitNoMap>& records, bool createsLibrary) {
    SCSIUnit library;
    for (const SCSIUnitNoMap& each : records) {
      const SCSIUnit record = each;
      if (!put(record, createsLibrary)) {
        return false;
      }
      createsLibrary = false;
      if (isLibraryRecord(record)) {
        library = record;
      }
    }
    if (isLibraryRecord(library)) {
      put(library, false);
      m_cycle.markModified();
    }
    return true;
  }

private:
  void mark(bool isUpdated) {
    if (isUpdated) {
      m_cycle.markModified();
    } else {
      m_cycle.setSaveError("Library file " + m_cycle.path() + " was updated in part only");
    }
  }

  OperationCycle& m_cycle;
  const std::string& m_libraryName;
  DriveIndex m_drives;
};

}  // namespace

// A failed update of an existing library or drive returns true, with nothing saved: callers send
// the whole configuration repeatedly, and interpret false as a lost catalogue. A drive record never
// creates a file.
bool TqLibEmulator::UpdateVirtualDevice(const SCSIUnitNoMap& device,
                                        const std::string& libraryName) {
  OperationCycle cycle(*this, kSingleTerms);
  const auto updateDriveOf = [&](const SCSIUnit& drive) {
    const bool isStandalone = libraryName.empty();
    if (!cycle.findFile(isStandalone ? names::standaloneKey : libraryName) ||
        !cycle.ensureLoaded()) {
      return false;
    }
    saveIf(cycle, updateDrive(m_pLibDoc, drive, isStandalone));
    return true;
  };
  const auto updateOrCreate = [&](const SCSIUnit& library) {
    const std::string& key = library.SerialNumber;
    if (!cycle.findFile(key)) {
      return false;
    }
    if (cycle.isFilePresent()) {
      cycle.ensureLoaded();
      saveIf(cycle, updateSingleLibrary(m_pLibDoc, library));
      return true;
    }
    std::string listPath;
    if (!createDocument(cycle, library) || !GetLibListFile(listPath) ||
        !createNewLibraryFile(getLibXMLFile(key), key)) {
      return false;
    }
    cycle.saveWithList(listPath, OperationCycle::First::Library);
    m_bListModified = false;
    return true;
  };
  return cycle.inFrame([&] {
    const SCSIUnit record = device;
    return isLibraryRecord(record) ? updateOrCreate(record) : updateDriveOf(record);
  });
}

// Without a document at the end of the batch, nothing is saved, not even the list: an entry without
// a file would make every query for all libraries fail.
bool TqLibEmulator::UpdateVirtualDevice(const std::vector<SCSIUnitNoMap>& devices,
                                        const std::string& libraryName) {
  OperationCycle cycle(*this, kBatchTerms);
  const auto save = [&](bool isNew) {
    if (m_pLibDoc == nullptr) {
      cycle.setSaveError("Library file " + m_sLibFile + " was not created");
    } else if (m_bLibModified && !isNew) {
      cycle.save();
    } else if (m_bLibModified) {
      std::string listPath;
      if (!GetLibListFile(listPath)) {
        return false;
      }
      cycle.saveWithList(listPath, OperationCycle::First::Library);
    }
    return true;
  };
  const auto update = [&] {
    if (!cycle.findFile(libraryName)) {
      return false;
    }
    bool isNew = false;
    if (!cycle.isFilePresent()) {
      isNew = createNewLibraryFile(getLibXMLFile(libraryName), libraryName);
    } else if (!cycle.ensureLoaded()) {
      return false;
    }
    return Batch(cycle, libraryName).putAll(devices, isNew) && save(isNew);
  };
  // Without a library name, the library of the drives is not known, so drives are ignored.
  const auto updateLastLibrary = [&] {
    const SCSIUnitNoMap* last = nullptr;
    for (const SCSIUnitNoMap& device : devices) {
      last = isLibraryRecord(device) ? &device : last;
    }
    return last == nullptr || UpdateVirtualDevice(*last, std::string());
  };
  return cycle.inFrame([&] { return libraryName.empty() ? updateLastLibrary() : update(); });
}

bool TqLibEmulator::UpdateVirtualDeviceNoLock(const SCSIUnit& device,
                                              const std::string& libraryName, bool createNew) {
  OperationCycle cycle(*this, kBatchTerms);
  return Batch(cycle, libraryName).put(device, createNew);
}

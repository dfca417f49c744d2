// The device update: a caller sends the record of a library or of a drive, or both together.

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

  /// `createsLibrary`: the first record has to be the new library. A failed update counts as done,
  /// as in the update of a single record.
  bool put(const SCSIUnit& record, bool createsLibrary) {
    if (isLibraryRecord(record)) {
      if (createsLibrary) {
        m_drives.forget();
        return createDocument(m_cycle, record);
      }
      note(updateSingleLibrary(m_cycle.document(), record));
      return true;
    }
    if (m_libraryName.empty()) {
      return false;
    }
    note(m_drives.read(m_cycle.document(), false) &&
         updateIndexedDrive(m_drives, m_cycle.document(), record));
    return true;
  }

  /// The library is updated once more after its drives, which gives them their addresses. The file
  /// is written whether or not that worked: a new library has to be saved, too.
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
  void note(bool isUpdated) {
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

// The update of an existing library or drive that fails is still reported as done, with nothing
// saved: callers send the whole configuration again and again and take false for a lost catalogue.
// A drive never creates a file.
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

// A batch that ends without a document saves nothing, the list included: an entry without a file
// would fail every query over all libraries.
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
  // Without a library's name nobody knows whose the drives are, so they are left out.
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

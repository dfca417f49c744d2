// Removing a host's unit of a device, a drive, or a whole library.
//
// The two public functions find, load and save their files in their own order, so they only use the
// frame of the operation cycle. The file of a library is never deleted, only saved without it.

#include <algorithm>
#include <vector>

#include "TqLibEmulator.h"
#include "catalogue/DeviceRecords.h"
#include "catalogue/LibraryList.h"
#include "catalogue/OperationCycle.h"
#include "files/CatalogueLock.h"
#include "files/Documents.h"

namespace {

constexpr CycleTerms kTerms{"TqLibEmulator::RemoveVirtualDevice", Access::Changes,
                            Exceptions::Logged};

/// Removes `node` from its parent; false when it has none.
bool removeFromParent(xercesc::DOMNode* node) {
  xercesc::DOMNode* parent = node->getParentNode();
  if (parent == nullptr) {
    return false;
  }
  removeFrom(*parent, node);
  return true;
}

/// Removes all descendants of that name. They are collected first: an iterator needs its current
/// element in the document to move on.
void removeAll(const xercesc::DOMNode* root, const XMLCh* name) {
  std::vector<xercesc::DOMElement*> found;
  for (xercesc::DOMElement* element : Descendants(root, name)) {
    found.push_back(element);
  }
  for (xercesc::DOMElement* element : found) {
    removeFromParent(element);
  }
}

}  // namespace

bool TqLibEmulator::RemoveVirtualDevice(const std::string& maName, const std::string& serialNumber,
                                        const std::string& libraryId) {
  OperationCycle cycle(*this, kTerms);
  return cycle.inFrame([&] {
    const bool isRemoved = RemoveVirtualDeviceNoLock(maName, serialNumber, libraryId);
    return cycle.saveRemoval() && isRemoved;
  });
}

// An entry without a key means a file in the working directory, like an empty `libraryId` above.
bool TqLibEmulator::RemoveVirtualDevice(const std::string& maName,
                                        const std::string& serialNumber) {
  OperationCycle cycle(*this, kTerms);
  return cycle.inFrame([&] {
    std::string path;
    if (!GetLibListFile(path)) {
      return false;
    }
    const ListedLibraries listed = readListedLibraries(path);
    if (!listed.reason.empty()) {
      cycle.errors().report(kTerms.origin, "%s: %s", listed.problem.c_str(), listed.reason.c_str());
      m_nErrorCode = listed.code;
    }
    // Lock the working directory before the search. If the lock were refused during the search, the
    // operation would start again and log its messages twice.
    const bool hasKeyless = std::find(listed.ids.begin(), listed.ids.end(), "") != listed.ids.end();
    CatalogueLock* const lock = CatalogueLock::current();
    if (hasKeyless && lock != nullptr && !lock->take(".")) {
      return false;
    }
    for (const std::string& id : listed.ids) {
      if (RemoveVirtualDeviceNoLock(maName, serialNumber, id)) {
        return cycle.saveRemoval();
      }
      cycle.dropLibrary();
    }
    return false;
  });
}

// An empty key means the file "Library1.xml" in the working directory. In a device update it means
// the catalogue's file of the key "Library1". Callers rely on both.
bool TqLibEmulator::RemoveVirtualDeviceNoLock(const std::string& maName,
                                              const std::string& serialNumber,
                                              const std::string& libraryId) {
  OperationCycle cycle(*this, kTerms);
  const auto remove = [&] {
    const bool isRemoved = removeLibraryOrDrive(m_pLibDoc, maName, serialNumber);
    m_bLibModified = m_bLibModified || isRemoved;
    return isRemoved;
  };
  return libraryId.empty() ? cycle.withFile(names::standaloneFile, remove)
                           : cycle.withLibrary(libraryId, remove);
}

bool TqLibEmulator::removeLibraryOrDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                                         const std::string& serialNumber) {
  xercesc::DOMElement* library = singleLibrary(doc);
  xercesc::DOMElement* device = Descendants(library, names::libraryScsiDevice).single();
  std::string serial;
  if (device == nullptr || !readValue(device, names::serialNumber, serial)) {
    return false;
  }
  if (serial != serialNumber) {
    return removeDrive(doc, maName, serialNumber);
  }
  if (!maName.empty()) {
    return removeScsiUnitforMA(library, maName, true);
  }
  removeAll(library->getParentNode(), names::shelf);
  return removeFromParent(library) &&
         removeFromLibraryListFile(getLibXMLFile(serialNumber), serialNumber);
}

bool TqLibEmulator::removeDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                                const std::string& serialNumber) {
  xercesc::DOMNode* drive = findDrive(rootOf(doc), serialNumber);
  if (drive == nullptr) {
    return false;
  }
  return maName.empty() ? removeFromParent(drive) : removeScsiUnitforMA(drive, maName, false);
}

// With its last unit, the device is removed as a whole. A host without a unit is no failure.
bool TqLibEmulator::removeScsiUnitforMA(xercesc::DOMNode* element, const std::string& maName,
                                        bool isLibrary) {
  if (maName.empty()) {
    removeAll(element, unitName(isLibrary));
    return true;
  }
  xercesc::DOMNode* unit = findUnit(element, isLibrary, maName);
  if (unit == nullptr) {
    return true;
  }
  const bool isOnlyUnit = Descendants(element, unitName(isLibrary)).single() != nullptr;
  return removeFromParent(isOnlyUnit ? element : unit);
}

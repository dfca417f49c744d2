// Element changes: setting, creating and removing slots and shelves, and setting drives, one record
// at a time or many in one pass.

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/ElementIndex.h"
#include "catalogue/OperationCycle.h"
#include "files/XmlText.h"

namespace {

constexpr char kOrigin[] = "TqLibEmulator::SetVirtualLibraryElement";

/// Slots of both kinds share a map and a place.
int mapType(const LibElement& element) {
  return element.elementType == LIB_ELEM_MAIL_SLOT ? LIB_ELEM_SLOT : element.elementType;
}

}  // namespace

bool TqLibEmulator::SetVirtualLibraryElement(const std::string& libraryName,
                                             const LibElement& element, bool remove) {
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Logged, MissingFile::Fails});
  return cycle.onLibrary(
      libraryName, [&] { return SetVirtualLibraryElementNoLock(libraryName, element, remove); });
}

// A call that succeeds always rewrites the file, also when no record changed anything.
bool TqLibEmulator::SetVirtualLibraryElement(const std::string& libraryName,
                                             const std::vector<LibElement>& elements, bool remove) {
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Logged, MissingFile::Fails});
  return cycle.onLibrary(libraryName, [&] {
    const bool isDone =
        remove ? RemoveVirtualLibraryElement(elements) : UpdateVirtualLibraryElement(elements);
    m_bLibModified = m_bLibModified || isDone;
    return isDone;
  });
}

bool TqLibEmulator::SetVirtualLibraryElementNoLock(const std::string& /*libraryName*/,
                                                   const LibElement& element, bool remove) {
  bool isDone = false;
  switch (element.elementType) {
    case LIB_ELEM_SHELF:
      isDone = remove ? removeShelf(m_pLibDoc, element) : updateShelfElement(m_pLibDoc, element);
      break;
    case LIB_ELEM_SLOT:
    case LIB_ELEM_MAIL_SLOT:
      isDone = remove ? removeSlot(m_pLibDoc, element) : updateSlotElement(m_pLibDoc, element);
      break;
    case LIB_ELEM_DRIVE:
      isDone = !remove && updateDriveElement(m_pLibDoc, element);
      break;
    default:
      break;
  }
  m_bLibModified = m_bLibModified || isDone;
  return isDone;
}

bool TqLibEmulator::UpdateVirtualLibraryElement(const std::vector<LibElement>& elements) {
  return forEachInVector(
      elements, [&](ElementIndex& index, const LibElement& element, xercesc::DOMNode* found) {
        return found != nullptr ? updateElementNode(m_pLibDoc, found, element)
                                : createInVector(index, element);
      });
}

// Drives are not removed here; an address named twice finds nothing the second time.
bool TqLibEmulator::RemoveVirtualLibraryElement(const std::vector<LibElement>& elements) {
  return forEachInVector(
      elements, [&](ElementIndex& index, const LibElement& element, xercesc::DOMNode* found) {
        if (found != nullptr && element.elementType != LIB_ELEM_DRIVE) {
          const int type = mapType(element);
          index.mapOf(type)->erase(element.elementAddress);
          removeFrom(*index.parentOf(type), found);
        }
        return true;
      });
}

bool TqLibEmulator::forEachInVector(
    const std::vector<LibElement>& elements,
    const std::function<bool(ElementIndex&, const LibElement&, xercesc::DOMNode*)>& work) {
  ElementIndex index(rootOf(m_pLibDoc), singleLibrary(m_pLibDoc));
  if (index.library() == nullptr) {
    return false;
  }
  for (const LibElement& element : elements) {
    xercesc::DOMNode* found = nullptr;
    if (!findInVector(index, element, found) || !work(index, element, found)) {
      return false;
    }
  }
  return true;
}

bool TqLibEmulator::findInVector(ElementIndex& index, const LibElement& element,
                                 xercesc::DOMNode*& found) {
  const int type = mapType(element);
  std::optional<ElementMap>& map = index.mapOf(type);
  if (!map) {
    map.emplace();
    if (!getElementMap(index.parentOf(type), type, *map)) {
      return false;
    }
  }
  const auto entry = map->find(element.elementAddress);
  if (entry != map->end()) {
    found = entry->second;
    return true;
  }
  found = nullptr;
  return type != LIB_ELEM_DRIVE || findOutside(index, element.elementAddress, found);
}

// A drive that the library does not have may stand outside it.
bool TqLibEmulator::findOutside(ElementIndex& index, int address, xercesc::DOMNode*& found) {
  int itsAddress = 0;
  std::optional<DrivesByAddress>& all = index.allDrives();
  if (!all) {
    all.emplace();
    for (xercesc::DOMElement* drive : Descendants(index.root(), names::drive)) {
      if (!extractValuesFromChildNode(drive, names::baseAddress, itsAddress)) {
        all->unreadable = drive;
        break;
      }
      all->drives.emplace(itsAddress, drive);
    }
  }
  const auto entry = all->drives.find(address);
  if (entry != all->drives.end()) {
    found = entry->second;
    return true;
  }
  return all->unreadable == nullptr || readAddress(all->unreadable, itsAddress);
}

// The maps are not told of new elements: two records for the same new address in one call make two
// elements, as they always have. A drive that does not exist is skipped.
bool TqLibEmulator::createInVector(ElementIndex& index, const LibElement& element) {
  const int type = mapType(element);
  if (type == LIB_ELEM_DRIVE) {
    return true;
  }
  xercesc::DOMElement* created = type == LIB_ELEM_SHELF ? addNewShelfElement(m_pLibDoc, element)
                                                        : addNewSlotElement(m_pLibDoc, element);
  if (created == nullptr) {
    return false;
  }
  if (type == LIB_ELEM_SHELF) {
    index.placeShelf(created);
  } else {
    index.library()->appendChild(created);
  }
  return true;
}

bool TqLibEmulator::updateElementNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node,
                                      const LibElement& element) {
  auto* found = static_cast<xercesc::DOMElement*>(node);
  if (!updateDOMElementValue(doc, found, names::barCode, element.barCode)) {
    return false;
  }
  setOccupied(*found, element.isOccupied);
  return true;
}

bool TqLibEmulator::updateSlotElement(xercesc::DOMDocument*& doc, const LibElement& element) {
  xercesc::DOMElement* library = singleLibrary(doc);
  xercesc::DOMNode* found = nullptr;
  if (library == nullptr ||
      !findSlotElem(library, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    return updateElementNode(doc, found, element);
  }
  xercesc::DOMElement* slot = addNewSlotElement(doc, element);
  return slot != nullptr && library->appendChild(slot) != nullptr;
}

bool TqLibEmulator::removeSlot(xercesc::DOMDocument*& doc, const LibElement& element) {
  xercesc::DOMElement* library = singleLibrary(doc);
  xercesc::DOMNode* found = nullptr;
  if (library == nullptr ||
      !findSlotElem(library, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    removeFrom(*library, found);
  }
  return true;
}

bool TqLibEmulator::updateShelfElement(xercesc::DOMDocument*& doc, const LibElement& element) {
  xercesc::DOMElement* root = rootOf(doc);
  xercesc::DOMNode* found = nullptr;
  if (root == nullptr || !findShelfElem(root, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    return updateElementNode(doc, found, element);
  }
  xercesc::DOMElement* shelf = addNewShelfElement(doc, element);
  if (shelf == nullptr) {
    return false;
  }
  ElementIndex(root, nullptr).placeShelf(shelf);
  return true;
}

bool TqLibEmulator::removeShelf(xercesc::DOMDocument*& doc, const LibElement& element) {
  xercesc::DOMElement* root = rootOf(doc);
  xercesc::DOMNode* found = nullptr;
  if (root == nullptr || !findShelfElem(root, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    removeFrom(*root, found);
  }
  return true;
}

// An unreadable address among the library's drives need not hide a drive that stands outside it.
bool TqLibEmulator::updateDriveElement(xercesc::DOMDocument*& doc, const LibElement& element) {
  xercesc::DOMElement* library = singleLibrary(doc);
  if (library == nullptr) {
    return false;
  }
  xercesc::DOMNode* found = nullptr;
  const bool searched =
      findDriveElem(library, element.elementType, element.elementAddress, found) ||
      findDriveElem(rootOf(doc), element.elementType, element.elementAddress, found);
  return searched && found != nullptr && updateElementNode(doc, found, element);
}

// Element changes: sets, creates and removes slots and shelves, and sets drives. One record is
// found by a search; many records are found with maps that are filled in one pass.

#include "TqLibEmulator.h"
#include "catalogue/Elements.h"
#include "catalogue/Indexes.h"
#include "catalogue/OperationCycle.h"
#include "files/Documents.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr char kOrigin[] = "TqLibEmulator::SetVirtualLibraryElement";

/// The type under which a map holds the element: both kinds of slots share a map and a parent.
int mapType(const LibElement& element) {
  return element.elementType == LIB_ELEM_MAIL_SLOT ? LIB_ELEM_SLOT : element.elementType;
}

bool updateElement(DOMDocument* doc, DOMNode* node, const LibElement& element) {
  DOMElement* found = asElement(node);
  if (!updateValues(doc, found, names::barCode, element.barCode)) {
    return false;
  }
  setOccupied(*found, element.isOccupied);
  return true;
}

/// Sets or removes the elements of a vector, in the order of the vector.
class VectorOfElements {
public:
  VectorOfElements(DOMDocument* doc, ErrorRecord errors)
      : m_doc(doc), m_index(rootOf(doc), singleLibrary(doc)), m_errors(errors) {}

  bool update(const std::vector<LibElement>& elements) {
    return forEach(elements, [&](const LibElement& element, DOMNode* found) {
      return found != nullptr ? updateElement(m_doc, found, element) : create(element);
    });
  }

  // Drives are not removed here. The second record for the same address finds nothing.
  bool remove(const std::vector<LibElement>& elements) {
    return forEach(elements, [&](const LibElement& element, DOMNode* found) {
      if (found != nullptr && element.elementType != LIB_ELEM_DRIVE) {
        const int type = mapType(element);
        m_index.mapOf(type)->erase(element.elementAddress);
        removeFrom(*m_index.parentOf(type), found);
      }
      return true;
    });
  }

private:
  template <typename Work>
  bool forEach(const std::vector<LibElement>& elements, Work work) {
    if (m_index.library() == nullptr) {
      return false;
    }
    for (const LibElement& element : elements) {
      DOMNode* found = nullptr;
      if (!find(element, found) || !work(element, found)) {
        return false;
      }
    }
    return true;
  }

  bool find(const LibElement& element, DOMNode*& found) {
    const int type = mapType(element);
    std::optional<ElementMap>& map = m_index.mapOf(type);
    if (!map) {
      map.emplace();
      if (!mapElements(m_index.parentOf(type), type, *map, m_errors)) {
        return false;
      }
    }
    const auto entry = map->find(element.elementAddress);
    if (entry != map->end()) {
      found = entry->second;
      return true;
    }
    return type != LIB_ELEM_DRIVE || findOutside(element.elementAddress, found);
  }

  // Searches the drives of the whole document: a drive may be outside the library.
  bool findOutside(int address, DOMNode*& found) {
    int itsAddress = 0;
    std::optional<DrivesByAddress>& all = m_index.allDrives();
    if (!all) {
      all.emplace();
      for (DOMElement* drive : Descendants(m_index.root(), names::drive)) {
        if (!readValue(drive, names::baseAddress, itsAddress)) {
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
    return all->unreadable == nullptr || readAddress(*all->unreadable, itsAddress, m_errors);
  }

  // New elements are not added to the maps: as always, two records for the same new address create
  // two elements. A drive that does not exist is skipped.
  bool create(const LibElement& element) {
    const int type = mapType(element);
    if (type == LIB_ELEM_DRIVE) {
      return true;
    }
    if (type == LIB_ELEM_SHELF) {
      m_index.placeShelf(newShelf(m_doc, element));
    } else {
      m_index.library()->appendChild(newSlot(m_doc, element));
    }
    return true;
  }

  DOMDocument* m_doc;
  ElementIndex m_index;
  ErrorRecord m_errors;
};

}  // namespace

bool TqLibEmulator::SetVirtualLibraryElement(const std::string& libraryName,
                                             const LibElement& element, bool remove) {
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Logged, MissingFile::Fails});
  return cycle.onLibrary(
      libraryName, [&] { return SetVirtualLibraryElementNoLock(libraryName, element, remove); });
}

// A successful call always rewrites the file, even if no record changed anything.
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
  return VectorOfElements(m_pLibDoc, {m_nErrorCode, m_szErrorText}).update(elements);
}

bool TqLibEmulator::RemoveVirtualLibraryElement(const std::vector<LibElement>& elements) {
  return VectorOfElements(m_pLibDoc, {m_nErrorCode, m_szErrorText}).remove(elements);
}

bool TqLibEmulator::updateSlotElement(DOMDocument*& doc, const LibElement& element) {
  DOMElement* library = singleLibrary(doc);
  DOMNode* found = nullptr;
  if (library == nullptr ||
      !findSlotElem(library, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    return updateElement(doc, found, element);
  }
  library->appendChild(newSlot(doc, element));
  return true;
}

bool TqLibEmulator::removeSlot(DOMDocument*& doc, const LibElement& element) {
  DOMElement* library = singleLibrary(doc);
  DOMNode* found = nullptr;
  if (library == nullptr ||
      !findSlotElem(library, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    removeFrom(*library, found);
  }
  return true;
}

bool TqLibEmulator::updateShelfElement(DOMDocument*& doc, const LibElement& element) {
  DOMElement* root = rootOf(doc);
  DOMNode* found = nullptr;
  if (root == nullptr || !findShelfElem(root, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    return updateElement(doc, found, element);
  }
  ElementIndex(root, nullptr).placeShelf(newShelf(doc, element));
  return true;
}

bool TqLibEmulator::removeShelf(DOMDocument*& doc, const LibElement& element) {
  DOMElement* root = rootOf(doc);
  DOMNode* found = nullptr;
  if (root == nullptr || !findShelfElem(root, element.elementType, element.elementAddress, found)) {
    return false;
  }
  if (found != nullptr) {
    removeFrom(*root, found);
  }
  return true;
}

// Searches the library first, then the whole document: an unreadable address in the library must
// not hide a drive outside it.
bool TqLibEmulator::updateDriveElement(DOMDocument*& doc, const LibElement& element) {
  DOMElement* library = singleLibrary(doc);
  if (library == nullptr) {
    return false;
  }
  DOMNode* found = nullptr;
  const bool searched =
      findDriveElem(library, element.elementType, element.elementAddress, found) ||
      findDriveElem(rootOf(doc), element.elementType, element.elementAddress, found);
  return searched && found != nullptr && updateElement(doc, found, element);
}

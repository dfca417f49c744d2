// Where a vector of records finds its elements and puts new ones: read once for each kind of
// element, so that n records cost one pass over the document and not n.
#pragma once

#include <map>
#include <optional>

#include "TqLibEmulator.h"

/// The drives of a whole document, in a library or not: the first one of each address, up to the
/// first whose address cannot be read.
struct DrivesByAddress {
  ElementMap drives;
  xercesc::DOMElement* unreadable = nullptr;
};

class ElementIndex {
public:
  ElementIndex(xercesc::DOMElement* root, xercesc::DOMElement* library)
      : m_root(root), m_library(library) {}

  xercesc::DOMElement* root() const { return m_root; }
  xercesc::DOMElement* library() const { return m_library; }

  /// The map of a type, import/export slots among the storage slots; empty until it was filled.
  /// Any number is a type here: one that does not exist is refused when its map is to be filled.
  std::optional<ElementMap>& mapOf(int type) { return m_maps[type]; }

  /// The drives of the document; empty until they were asked for.
  std::optional<DrivesByAddress>& allDrives() { return m_allDrives; }

  /// Below which node the elements of a type lie.
  xercesc::DOMElement* parentOf(int type) const {
    return type == LIB_ELEM_SHELF ? m_root : m_library;
  }

  /// Puts a new shelf behind the last one, or behind the library when it is the first.
  void placeShelf(xercesc::DOMElement* shelf);

private:
  xercesc::DOMElement* m_root;
  xercesc::DOMElement* m_library;              // null where only shelves are placed
  xercesc::DOMElement* m_lastShelf = nullptr;  // or what the first is to stand behind, once known
  std::map<int, std::optional<ElementMap>> m_maps;
  std::optional<DrivesByAddress> m_allDrives;
};

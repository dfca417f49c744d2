// What a batch of records finds in a document: read once for each kind of element, so that n
// records cost one pass over the document and not n.
#pragma once

#include <map>
#include <optional>

#include "TqLibEmulator.h"

/// The drives below one parent by name.
class DriveIndex {
public:
  /// Reads the drives of `doc`: those below its root for drives without a library, else those of
  /// its single library. Returns false when there is no document, root or single library. Reading
  /// the same document again costs nothing.
  bool read(const xercesc::DOMDocument* doc, bool isStandaloneDrive);

  /// Forgets everything; called when the document is replaced.
  void forget() { *this = DriveIndex(); }

  /// The first drive with this name, without regard to case; null when there is none.
  xercesc::DOMElement* find(const XMLCh* name) const;

  /// Puts a new drive in its place: at the end of the root, or before the library's slots. It is
  /// found by its name from then on.
  void insert(xercesc::DOMElement* drive);

private:
  struct IgnoringCase {
    bool operator()(const XMLCh* a, const XMLCh* b) const;
  };

  const xercesc::DOMDocument* m_doc = nullptr;
  xercesc::DOMElement* m_parent = nullptr;
  xercesc::DOMElement* m_firstSlot = nullptr;  // null: drives go to the end
  // The keys are the drives' own Name attributes, which nothing changes.
  std::map<const XMLCh*, xercesc::DOMElement*, IgnoringCase> m_drives;
};

/// The drives of a whole document, in a library or not: the first one of each address, up to the
/// first whose address cannot be read.
struct DrivesByAddress {
  ElementMap drives;
  xercesc::DOMElement* unreadable = nullptr;
};

/// The elements of a document by type and address, and the place of new shelves.
class ElementIndex {
public:
  /// `library` may be null when only shelves are placed.
  ElementIndex(xercesc::DOMElement* root, xercesc::DOMElement* library)
      : m_root(root), m_library(library) {}

  xercesc::DOMElement* root() const { return m_root; }
  xercesc::DOMElement* library() const { return m_library; }

  /// The map of a type, import/export slots among the storage slots; empty until it was filled.
  /// Any number is a type here: one that does not exist is refused when its map is to be filled.
  std::optional<ElementMap>& mapOf(int type) { return m_maps[type]; }

  /// The drives of the document; empty until they were asked for.
  std::optional<DrivesByAddress>& allDrives() { return m_allDrives; }

  /// The node below which the elements of a type lie.
  xercesc::DOMElement* parentOf(int type) const {
    return type == LIB_ELEM_SHELF ? m_root : m_library;
  }

  /// Puts a new shelf behind the last one, or behind the library when it is the first.
  void placeShelf(xercesc::DOMElement* shelf);

private:
  xercesc::DOMElement* m_root;
  xercesc::DOMElement* m_library;
  xercesc::DOMElement* m_lastShelf = nullptr;  // or the library; null until a shelf is placed
  std::map<int, std::optional<ElementMap>> m_maps;
  std::optional<DrivesByAddress> m_allDrives;
};

// Indexes of the drives and elements of a document for a batch of records. Each kind of element is
// read once, so a batch needs one pass over the document instead of one for each record.
#pragma once

#include <map>
#include <optional>

#include "TqLibEmulator.h"

/// The drives below one parent by name.
class DriveIndex {
public:
  /// Reads the drives of `doc`: of the whole document if `isStandaloneDrive` is true, else of its
  /// single library. False when there is no document, root or single library. Does nothing when the
  /// document has already been read.
  bool read(const xercesc::DOMDocument* doc, bool isStandaloneDrive);

  /// Clears the index. Call it when the document is replaced.
  void forget() { *this = DriveIndex(); }

  /// The first drive with this name, ignoring case; null when there is none.
  xercesc::DOMElement* find(const XMLCh* name) const;

  /// Inserts a new drive into the document (at the end of the root, or before the library's slots)
  /// and into the index.
  void insert(xercesc::DOMElement* drive);

private:
  struct IgnoringCase {
    bool operator()(const XMLCh* a, const XMLCh* b) const;
  };

  const xercesc::DOMDocument* m_doc = nullptr;
  xercesc::DOMElement* m_parent = nullptr;
  xercesc::DOMElement* m_firstSlot = nullptr;  // null: new drives are appended
  // The keys are the drives' own Name attributes, which nothing changes.
  std::map<const XMLCh*, xercesc::DOMElement*, IgnoringCase> m_drives;
};

/// The drives of a whole document by address, inside a library or not. If two have the same
/// address, the first one stays. Drives behind the first one with an unreadable address are
/// missing.
struct DrivesByAddress {
  ElementMap drives;
  xercesc::DOMElement* unreadable = nullptr;  ///< the first drive with an unreadable address
};

/// The elements of a document by type and address, and the position for new shelves.
class ElementIndex {
public:
  /// `library` may be null when only shelves are placed.
  ElementIndex(xercesc::DOMElement* root, xercesc::DOMElement* library)
      : m_root(root), m_library(library) {}

  xercesc::DOMElement* root() const { return m_root; }
  xercesc::DOMElement* library() const { return m_library; }

  /// The map of a type; both kinds of slots are in the map of LIB_ELEM_SLOT. It has no value until
  /// the caller fills it. `type` may be any number: unknown types are refused when the map is
  /// filled.
  std::optional<ElementMap>& mapOf(int type) { return m_maps[type]; }

  /// The drives of the document. There is no value until the caller fills it.
  std::optional<DrivesByAddress>& allDrives() { return m_allDrives; }

  /// The node that contains the elements of a type.
  xercesc::DOMElement* parentOf(int type) const {
    return type == LIB_ELEM_SHELF ? m_root : m_library;
  }

  /// Inserts a new shelf behind the last shelf, or behind the library if there is no shelf.
  void placeShelf(xercesc::DOMElement* shelf);

private:
  xercesc::DOMElement* m_root;
  xercesc::DOMElement* m_library;
  xercesc::DOMElement* m_lastShelf = nullptr;  // new shelves follow it; null until one is placed
  std::map<int, std::optional<ElementMap>> m_maps;
  std::optional<DrivesByAddress> m_allDrives;
};

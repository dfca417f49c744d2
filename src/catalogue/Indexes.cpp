// Fills the indexes from the document and keeps them correct when drives and shelves are inserted.

#include "catalogue/Indexes.h"

#include "files/Descendants.h"
#include "files/Names.h"

bool DriveIndex::IgnoringCase::operator()(const XMLCh* a, const XMLCh* b) const {
  return xercesc::XMLString::compareIString(a, b) < 0;
}

bool DriveIndex::read(const xercesc::DOMDocument* doc, bool isStandaloneDrive) {
  if (doc != nullptr && doc == m_doc) {
    return true;
  }
  forget();
  m_parent = isStandaloneDrive ? rootOf(doc) : nullptr;
  const DescendantIndex parts =
      isStandaloneDrive ? DescendantIndex(m_parent) : DescendantIndex(doc, m_parent);
  if (m_parent == nullptr) {
    return false;
  }
  m_doc = doc;
  const auto& slots = parts.named(names::slots);
  m_firstSlot = isStandaloneDrive || slots.empty() ? nullptr : slots.front();
  for (xercesc::DOMElement* drive : parts.named(names::drive)) {
    m_drives.emplace(drive->getAttribute(names::name), drive);
  }
  return true;
}

xercesc::DOMElement* DriveIndex::find(const XMLCh* name) const {
  const auto found = m_drives.find(name);
  return found == m_drives.end() ? nullptr : found->second;
}

void DriveIndex::insert(xercesc::DOMElement* drive) {
  xercesc::DOMNode* place = m_firstSlot == nullptr ? m_parent : m_firstSlot->getParentNode();
  place->insertBefore(drive, m_firstSlot);
  m_drives.emplace(drive->getAttribute(names::name), drive);
}

void ElementIndex::placeShelf(xercesc::DOMElement* shelf) {
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::shelf).last();
  }
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::library).first();
  }
  // In a file edited by hand, the last shelf or the library may be deeper in the tree. Then the new
  // shelf is placed behind the child of the root that contains it.
  xercesc::DOMNode* behind = m_lastShelf;
  while (behind != nullptr && behind->getParentNode() != m_root) {
    behind = behind->getParentNode();
  }
  m_root->insertBefore(shelf, behind == nullptr ? nullptr : behind->getNextSibling());
  m_lastShelf = shelf;
}

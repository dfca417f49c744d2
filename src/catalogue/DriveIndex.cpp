#include "catalogue/DriveIndex.h"

#include "files/Descendants.h"

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

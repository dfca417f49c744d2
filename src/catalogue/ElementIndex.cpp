#include "catalogue/ElementIndex.h"

#include "catalogue/Descendants.h"
#include "catalogue/Names.h"

std::optional<ElementMap>& ElementIndex::mapOf(int type) {
  const bool isType = type >= 0 && type <= LIB_ELEM_SHELF;
  return isType ? m_maps.at(static_cast<size_t>(type)) : m_noMap;
}

void ElementIndex::placeShelf(xercesc::DOMElement* shelf) {
  if (m_before == nullptr) {
    m_before = Descendants(m_root, names::shelf).last();
  }
  if (m_before == nullptr) {
    m_before = Descendants(m_root, names::library).first();
  }
  m_root->insertBefore(shelf, m_before == nullptr ? nullptr : m_before->getNextSibling());
  m_before = shelf;
}

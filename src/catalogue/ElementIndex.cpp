#include "catalogue/ElementIndex.h"

#include "catalogue/Descendants.h"
#include "catalogue/Names.h"

void ElementIndex::placeShelf(xercesc::DOMElement* shelf) {
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::shelf).last();
  }
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::library).first();
  }
  xercesc::DOMNode* next = m_lastShelf == nullptr ? nullptr : m_lastShelf->getNextSibling();
  (next == nullptr ? m_root : next->getParentNode())->insertBefore(shelf, next);
  m_lastShelf = shelf;
}

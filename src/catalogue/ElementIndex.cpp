#include "catalogue/ElementIndex.h"

#include "catalogue/Documents.h"

void ElementIndex::placeShelf(xercesc::DOMElement* shelf) {
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::shelf).last();
  }
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::library).first();
  }
  if (m_lastShelf == nullptr) {
    m_root->appendChild(shelf);
  } else {
    placeBehind(*m_lastShelf, *m_root, shelf);
  }
  m_lastShelf = shelf;
}

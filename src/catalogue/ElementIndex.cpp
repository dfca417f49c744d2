#include "catalogue/ElementIndex.h"

#include "files/Documents.h"

void ElementIndex::placeShelf(xercesc::DOMElement* shelf) {
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::shelf).last();
  }
  if (m_lastShelf == nullptr) {
    m_lastShelf = Descendants(m_root, names::library).first();
  }
  // A shelf or library that lies deeper, as in a file made by hand, has its place among the root's
  // children in the one that holds it.
  xercesc::DOMNode* behind = m_lastShelf;
  while (behind != nullptr && behind->getParentNode() != m_root) {
    behind = behind->getParentNode();
  }
  m_root->insertBefore(shelf, behind == nullptr ? nullptr : behind->getNextSibling());
  m_lastShelf = shelf;
}

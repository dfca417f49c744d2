// All descendant elements of a node by name, found in one walk: for those who look for several
// names in a library: a large one fits into no cache and is fetched from memory by each walk. New
// elements do not come into an index.
#pragma once

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "catalogue/Documents.h"

class DescendantIndex {
public:
  /// `root` may be null. Names are those of the document, which has to stay.
  explicit DescendantIndex(const xercesc::DOMNode* root) {
    for (xercesc::DOMElement* element : Descendants(root)) {
      add(element);
    }
  }

  /// The descendants of the one library of `doc`, which is put into `library`; none, and null, when
  /// there is no library or more than one.
  DescendantIndex(const xercesc::DOMDocument* doc, xercesc::DOMElement*& library) {
    library = nullptr;
    const Descendants all(rootOf(doc));
    for (auto element = all.begin(); element != all.end(); ++element) {
      if (!xercesc::XMLString::equals((*element)->getNodeName(), names::library)) {
        if (library != nullptr && element.isBelow(library)) {
          add(*element);
        }
      } else if (library == nullptr) {
        library = *element;
      } else {
        library = nullptr;
        m_elements.clear();
        return;
      }
    }
  }

  /// In document order.
  const std::vector<xercesc::DOMElement*>& named(const XMLCh* name) const {
    static const std::vector<xercesc::DOMElement*> none;
    const auto found = std::find_if(m_elements.begin(), m_elements.end(), [&](const auto& each) {
      return xercesc::XMLString::equals(each.first, name);
    });
    return found == m_elements.end() ? none : found->second;
  }

  /// The one there is; null when there is none or more than one.
  xercesc::DOMElement* single(const XMLCh* name) const {
    const auto& found = named(name);
    return found.size() == 1 ? found.front() : nullptr;
  }

private:
  void add(xercesc::DOMElement* element) { m_elements[element->getNodeName()].push_back(element); }

  // A document has each name once, so the addresses tell them apart.
  std::unordered_map<const XMLCh*, std::vector<xercesc::DOMElement*>> m_elements;
};

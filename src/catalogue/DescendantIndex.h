// All descendant elements of a node by name, found in one walk: for those who look for several
// names in a library, which fits into no cache and is fetched from memory by each walk.
#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "catalogue/Descendants.h"

class DescendantIndex {
public:
  /// `root` may be null. Names are those of the document, which has to stay.
  explicit DescendantIndex(const xercesc::DOMNode* root) {
    for (xercesc::DOMElement* element : Descendants(root)) {
      m_elements[element->getNodeName()].push_back(element);
    }
  }

  /// In document order.
  const std::vector<xercesc::DOMElement*>& named(const XMLCh* name) const {
    static const std::vector<xercesc::DOMElement*> none;
    const auto found = m_elements.find(name);
    return found == m_elements.end() ? none : found->second;
  }

  /// The one there is; null when there is none or more than one.
  xercesc::DOMElement* single(const XMLCh* name) const {
    const auto& found = named(name);
    return found.size() == 1 ? found.front() : nullptr;
  }

private:
  std::unordered_map<std::basic_string_view<XMLCh>, std::vector<xercesc::DOMElement*>> m_elements;
};

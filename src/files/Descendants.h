// The descendant elements of a node in document order, all of them or those with one name.
//
// getElementsByTagName() has the same result, but the document keeps each returned list as long as
// it lives, in a hash table of fixed size. With a list for each slot, the time would grow faster
// than the number of slots.
#pragma once

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

#include "files/Names.h"

/// The root element; null without a document or a root.
inline xercesc::DOMElement* rootOf(const xercesc::DOMDocument* doc) {
  return doc == nullptr ? nullptr : doc->getDocumentElement();
}

/// A range over the descendant elements of a node.
class Descendants {
public:
  /// A null `root` has no descendants. `name` is borrowed; null means all elements.
  explicit Descendants(const xercesc::DOMNode* root, const XMLCh* name = nullptr)
      : m_root(root), m_name(name) {}

  /// The current element may be changed, but it must not be removed before the iterator has moved
  /// on.
  class Iterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = xercesc::DOMElement*;
    using difference_type = std::ptrdiff_t;
    using pointer = value_type*;
    using reference = value_type;

    Iterator(const xercesc::DOMNode* root, const XMLCh* name) : m_name(name) {
      m_element = root == nullptr ? nullptr : firstElement(root->getFirstChild());
      skipOthers();
    }
    xercesc::DOMElement* operator*() const { return m_element; }
    Iterator& operator++() {
      m_element = following(m_element);
      skipOthers();
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return m_element == nullptr; }

    /// Whether the current element is a descendant of `ancestor`. `ancestor` must be a descendant
    /// of the root of the range.
    bool isBelow(const xercesc::DOMElement* ancestor) const {
      return std::find(m_ancestors.begin(), m_ancestors.end(), ancestor) != m_ancestors.end();
    }

  private:
    static xercesc::DOMElement* firstElement(xercesc::DOMNode* node) {
      while (node != nullptr && node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) {
        node = node->getNextSibling();
      }
      return static_cast<xercesc::DOMElement*>(node);
    }

    // The ancestors are remembered because getParentNode() costs a dynamic cast.
    xercesc::DOMElement* following(xercesc::DOMElement* node) {
      if (xercesc::DOMElement* child = firstElement(node->getFirstChild())) {
        m_ancestors.push_back(node);
        return child;
      }
      while (true) {
        if (xercesc::DOMElement* sibling = firstElement(node->getNextSibling())) {
          return sibling;
        }
        if (m_ancestors.empty()) {
          return nullptr;
        }
        node = m_ancestors.back();
        m_ancestors.pop_back();
      }
    }

    void skipOthers() {
      while (m_element != nullptr && m_name != nullptr &&
             !xercesc::XMLString::equals(m_element->getNodeName(), m_name)) {
        m_element = following(m_element);
      }
    }

    const XMLCh* m_name;
    xercesc::DOMElement* m_element;
    std::vector<xercesc::DOMElement*> m_ancestors;  // of m_element, below the root
  };

  Iterator begin() const { return {m_root, m_name}; }
  std::default_sentinel_t end() const { return {}; }

  /// The first in document order, or null.
  xercesc::DOMElement* first() const { return *begin(); }

  /// The last in document order, or null.
  xercesc::DOMElement* last() const {
    xercesc::DOMElement* found = nullptr;
    for (xercesc::DOMElement* element : *this) {
      found = element;
    }
    return found;
  }

  /// The only element; null when there is none or more than one.
  xercesc::DOMElement* single() const {
    Iterator it = begin();
    xercesc::DOMElement* found = *it;
    return found != nullptr && ++it == end() ? found : nullptr;
  }

private:
  const xercesc::DOMNode* m_root;
  const XMLCh* m_name;
};

/// The descendant elements of a node by name, all found in one pass. A large library does not fit
/// into the processor's caches, so one pass for several names is faster than a pass for each.
/// Elements that are added to the document later are not in the index.
class DescendantIndex {
public:
  /// `root` may be null. The index refers to names in the document, so it must not outlive it.
  explicit DescendantIndex(const xercesc::DOMNode* root) {
    for (xercesc::DOMElement* element : Descendants(root)) {
      add(element);
    }
  }

  /// The descendants of the single library of `doc`. `library` is set to that library. If there is
  /// none or more than one, the index is empty and `library` is null.
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

  /// The only element of that name; null when there is none or more than one.
  xercesc::DOMElement* single(const XMLCh* name) const {
    const auto& found = named(name);
    return found.size() == 1 ? found.front() : nullptr;
  }

private:
  void add(xercesc::DOMElement* element) { m_elements[element->getNodeName()].push_back(element); }

  // A document stores each name once, so the address identifies the name.
  std::unordered_map<const XMLCh*, std::vector<xercesc::DOMElement*>> m_elements;
};

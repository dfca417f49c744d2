// The descendant elements of a node, all or those that carry a name, in document order.
//
// A list from getElementsByTagName has the same content, but the document keeps every such list
// until it dies and finds it through a table of fixed size: asking for one per slot makes a large
// library's cost grow faster than its slots.
#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

class Descendants {
public:
  /// `root` may be null and then has none. `name` must outlive the walk; null stands for all.
  explicit Descendants(const xercesc::DOMNode* root, const XMLCh* name = nullptr)
      : m_root(root), m_name(name) {}

  /// An element found may be changed, but not removed, before the walk goes on.
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

    /// Whether the element lies below `ancestor`, itself one below the root of the walk.
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

    // The way down is remembered: asking a node for its parent costs a dynamic cast.
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

  /// The one there is; null when there is none or more than one.
  xercesc::DOMElement* single() const {
    Iterator it = begin();
    xercesc::DOMElement* found = *it;
    return found != nullptr && ++it == end() ? found : nullptr;
  }

private:
  const xercesc::DOMNode* m_root;
  const XMLCh* m_name;
};

#include "catalogue/LibraryContent.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "TqLibEmulator.h"
#include "catalogue/XmlScan.h"
#include "files/Descendants.h"

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

bool isNamed(const DOMElement& element, const XMLCh* name) {
  return xercesc::XMLString::equals(element.getTagName(), name);
}

std::string attribute(const DOMElement& element, const XMLCh* name) {
  return MyTranscode(element.getAttribute(name));
}

// The first character alone decides, and a missing attribute is true.
bool isTrue(const XMLCh* value) {
  return *value != u'0' && *value != u'f' && *value != u'F';
}

// A value begins with its text; the library reads nothing behind a comment or in a section.
Value valueOf(const DOMElement& element) {
  const DOMNode* child = element.getFirstChild();
  if (child == nullptr) return {Value::State::Read, ""};
  if (child->getNodeType() != DOMNode::TEXT_NODE) return {Value::State::Unreadable, ""};
  return {Value::State::Read, MyTranscode(child->getNodeValue())};
}

void takeFirst(Value& value, const DOMElement& element) {
  if (value.state == Value::State::Missing) value = valueOf(element);
}

/// What an XML element belongs to.
struct Scope {
  bool isInLibrary = false;
  ElementContent* element = nullptr;
  Value* serial = nullptr;  ///< that of the device block
};

/// One walk over the file, which hands every XML element to what it belongs to.
class Reader {
public:
  explicit Reader(LibraryContent& content) : m_content(content) {}

  void readBelow(const DOMElement& parent, Scope scope) {
    for (const DOMElement* child = parent.getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling()) {
      Scope below = scope;
      read(*child, below);
      readBelow(*child, below);
    }
  }

private:
  void read(const DOMElement& element, Scope& scope) {
    if (isNamed(element, u"Library")) {
      ++m_content.libraries;
      m_content.name = attribute(element, u"Name");
      scope.isInLibrary = true;
    } else if (!beginsElement(element, scope) && !isOfElement(element, scope)) {
      readOther(element, scope);
    }
  }

  bool beginsElement(const DOMElement& element, Scope& scope) {
    if (isNamed(element, u"Slots") && scope.isInLibrary) {
      const bool isMailSlot = isTrue(element.getAttribute(u"IsMailSlot"));
      return begin(element, isMailSlot ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT, scope);
    }
    if (isNamed(element, u"Drive")) return begin(element, LIB_ELEM_DRIVE, scope);
    return isNamed(element, u"Shelf") && begin(element, LIB_ELEM_SHELF, scope);
  }

  bool begin(const DOMElement& element, int type, Scope& scope) {
    ElementContent& content = m_content.elements.emplace_back();
    content.type = type;
    content.name = attribute(element, u"Name");
    content.isOccupied = isTrue(element.getAttribute(u"IsOccupied"));
    scope.element = &content;
    return true;
  }

  static bool isOfElement(const DOMElement& element, Scope& scope) {
    if (scope.element == nullptr) return false;
    ElementContent& content = *scope.element;
    if (isNamed(element, u"BaseAddress")) {
      takeFirst(content.address, element);
    } else if (isNamed(element, u"BarCode")) {
      takeFirst(content.barcode, element);
    } else if (isNamed(element, u"DriveScsiDevice")) {
      ++content.devices;
      scope.serial = &content.serial;
    } else {
      return false;
    }
    return true;
  }

  void readOther(const DOMElement& element, Scope& scope) {
    if (isNamed(element, u"SerialNumber")) {
      if (scope.serial != nullptr) takeFirst(*scope.serial, element);
    } else if (scope.isInLibrary) {
      readOfLibrary(element, scope);
    }
  }

  void readOfLibrary(const DOMElement& element, Scope& scope) {
    if (isNamed(element, u"LibraryScsiDevice")) {
      ++m_content.devices;
      scope.serial = &m_content.serial;
    } else if (isNamed(element, u"ScsiStatus")) {
      m_content.statusExpiry =
          m_content.statusExpiry.value_or(std::atol(attribute(element, u"ExpireTime").c_str()));
    } else {
      readRange(element);
    }
  }

  void readRange(const DOMElement& element) {
    static constexpr struct {
      const XMLCh* name;
      int type;
      Value AddressRange::*value;
    } kValues[] = {{u"SlotCount", LIB_ELEM_SLOT, &AddressRange::count},
                   {u"SlotBaseAddress", LIB_ELEM_SLOT, &AddressRange::base},
                   {u"IEPortCount", LIB_ELEM_MAIL_SLOT, &AddressRange::count},
                   {u"IEPortBaseAddress", LIB_ELEM_MAIL_SLOT, &AddressRange::base},
                   {u"DriveCount", LIB_ELEM_DRIVE, &AddressRange::count},
                   {u"DriveBaseAddress", LIB_ELEM_DRIVE, &AddressRange::base}};
    for (const auto& known : kValues) {
      if (isNamed(element, known.name)) {
        takeFirst(m_content.ranges[known.type].*known.value, element);
        return;
      }
    }
  }

  LibraryContent& m_content;
};

}  // namespace

std::optional<int> Value::number() const {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  const bool fits = errno == 0 && value >= std::numeric_limits<int>::min() &&
                    value <= std::numeric_limits<int>::max();
  return end != text.c_str() && fits ? std::optional(static_cast<int>(value)) : std::nullopt;
}

LibraryContent readLibrary(const std::string& path) {
  LibraryContent content;
  const ParsedFile file = readDocument(path);
  Reader(content).readBelow(*rootOf(file.document()), {});
  return content;
}

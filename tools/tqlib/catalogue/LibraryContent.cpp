// Two walks over a library file: one for its drives, slots and shelves in their order, one for the
// values of the library itself.
#include "catalogue/LibraryContent.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "files/DomValues.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;

/// Where the file has the first address and the number of the elements of a type.
struct RangeNames {
  int type;
  const XMLCh* first;
  const XMLCh* count;
};

constexpr RangeNames kRanges[] = {
    {LIB_ELEM_SLOT, names::slotBaseAddress, names::slotCount},
    {LIB_ELEM_MAIL_SLOT, names::iePortBaseAddress, names::iePortCount},
    {LIB_ELEM_DRIVE, names::driveBaseAddress, names::driveCount}};

bool isNamed(const DOMElement& element, const XMLCh* name) {
  return xercesc::XMLString::equals(element.getNodeName(), name);
}

std::string attribute(const DOMElement& element, const XMLCh* name) {
  return toUtf8(element.getAttribute(name));
}

/// The text of an element, which may be null.
std::string textOf(const DOMElement* element) {
  std::string text;
  if (element != nullptr) readText(*element, text);
  return text;
}

std::optional<int> numberOf(const DOMElement* element) {
  const std::string text = textOf(element);
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  const bool isNumber = end != text.c_str() && errno == 0 && value >= INT_MIN && value <= INT_MAX;
  return isNumber ? std::optional(static_cast<int>(value)) : std::nullopt;
}

/// None for anything else than a drive, a shelf, or a slot of a library.
std::optional<int> typeOf(const DOMElement& element, bool isInLibrary) {
  if (isNamed(element, names::drive)) return LIB_ELEM_DRIVE;
  if (isNamed(element, names::shelf)) return LIB_ELEM_SHELF;
  if (!isInLibrary || !isNamed(element, names::slots)) return std::nullopt;
  return isTrue(element.getAttribute(names::isMailSlot)) ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT;
}

ElementContent readElement(DOMElement& element, int type) {
  ElementContent content{};
  content.node = &element;
  content.type = type;
  content.name = attribute(element, names::name);
  content.address = numberOf(Descendants(&element, names::baseAddress).first());
  content.isOccupied = isTrue(element.getAttribute(names::isOccupied));
  const DOMElement* barcode = Descendants(&element, names::barCode).first();
  content.hasBarcode = barcode != nullptr && readText(*barcode, content.barcode);
  for (const DOMElement* device : Descendants(&element, names::driveScsiDevice)) {
    if (++content.devices > 1) continue;
    content.serial = textOf(Descendants(device, names::serialNumber).first());
  }
  return content;
}

void readValues(const DescendantIndex& library, LibraryContent& content) {
  const auto first = [&](const XMLCh* name) -> const DOMElement* {
    const auto& found = library.named(name);
    return found.empty() ? nullptr : found.front();
  };
  content.devices = static_cast<int>(library.named(names::libraryScsiDevice).size());
  content.serial =
      textOf(Descendants(first(names::libraryScsiDevice), names::serialNumber).first());
  for (const RangeNames& range : kRanges) {
    content.ranges[range.type] = {numberOf(first(range.first)).value_or(0),
                                  numberOf(first(range.count)).value_or(0)};
  }
  if (const DOMElement* status = first(names::scsiStatus)) {
    content.statusExpiry = std::atol(attribute(*status, names::expireTime).c_str());
  }
}

}  // namespace

LibraryContent readLibrary(const xercesc::DOMDocument& document) {
  LibraryContent content;
  const DOMElement* latest = nullptr;  // library
  const Descendants all(rootOf(&document));
  for (auto each = all.begin(); each != all.end(); ++each) {
    if (isNamed(**each, names::library)) {
      ++content.libraries;
      latest = *each;
    } else if (const auto type = typeOf(**each, latest != nullptr && each.isBelow(latest))) {
      content.elements.push_back(readElement(**each, *type));
    }
  }
  DOMElement* library = nullptr;
  const DescendantIndex index(&document, library);
  if (library != nullptr) content.name = attribute(*library, names::name);
  readValues(index, content);
  return content;
}

// Two walks over a library file: one for its drives, slots and shelves in their order, one for the
// values of the library itself.
#include "catalogue/LibraryContent.h"

#include <cstdlib>
#include <stdexcept>

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "files/DomValues.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;

bool isNamed(const DOMElement& element, const XMLCh* name) {
  return xercesc::XMLString::equals(element.getNodeName(), name);
}

/// The text of an element, which may be null.
std::string textOf(const DOMElement* element) {
  std::string text;
  if (element != nullptr) readText(*element, text);
  return text;
}

std::optional<int> numberOf(const DOMElement* element) {
  try {
    return std::stoi(textOf(element));
  } catch (const std::logic_error&) {  // no number, or one out of range
    return std::nullopt;
  }
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
  content.name = toUtf8(element.getAttribute(names::name));
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
  const auto number = [&](const XMLCh* name) { return numberOf(first(name)).value_or(0); };
  content.ranges = {
      {LIB_ELEM_SLOT, {number(names::slotBaseAddress), number(names::slotCount)}},
      {LIB_ELEM_MAIL_SLOT, {number(names::iePortBaseAddress), number(names::iePortCount)}},
      {LIB_ELEM_DRIVE, {number(names::driveBaseAddress), number(names::driveCount)}}};
  if (const DOMElement* status = first(names::scsiStatus)) {
    content.statusExpiry = std::atol(toUtf8(status->getAttribute(names::expireTime)).c_str());
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
  if (library != nullptr) content.name = toUtf8(library->getAttribute(names::name));
  readValues(index, content);
  return content;
}

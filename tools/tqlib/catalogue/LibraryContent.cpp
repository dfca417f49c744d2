// Reads drives, slots and shelves in one pass over a library file, then looks up each value of the
// library itself.
#include "catalogue/LibraryContent.h"

#include <cstdlib>
#include <stdexcept>

#include "catalogue/Catalogue.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;

bool isNamed(const DOMElement& element, const XMLCh* name) {
  return xercesc::XMLString::equals(element.getNodeName(), name);
}

/// The number in the first descendant of that name.
std::optional<int> numberIn(const DOMElement* node, const XMLCh* name) {
  std::string text;
  readValue(node, name, text);
  try {
    return std::stoi(text);
  } catch (const std::logic_error&) {  // no number, or one out of range
    return std::nullopt;
  }
}

/// Counts the device blocks of a library or drive, and takes the serial number from the first.
void readDevices(const DOMElement* owner, const XMLCh* block, int& count, std::string& serial) {
  for (const DOMElement* device : Descendants(owner, block)) {
    if (++count == 1) readValue(device, names::serialNumber, serial);
  }
}

/// Empty for all but a drive, a shelf, or a slot of a library.
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
  content.address = numberIn(&element, names::baseAddress);
  content.isOccupied = isTrue(element.getAttribute(names::isOccupied));
  const DOMElement* barcode = Descendants(&element, names::barCode).first();
  content.hasBarcode = barcode != nullptr && readText(*barcode, content.barcode);
  readDevices(&element, names::driveScsiDevice, content.devices, content.serial);
  return content;
}

void readValues(const DOMElement& library, LibraryContent& content) {
  content.name = toUtf8(library.getAttribute(names::name));
  readDevices(&library, names::libraryScsiDevice, content.devices, content.serial);
  const auto number = [&](const XMLCh* name) { return numberIn(&library, name).value_or(0); };
  for (const ElementRange& range : kRanges) {
    content.ranges[range.type] = {number(range.baseElement), number(range.countElement)};
  }
  if (const DOMElement* status = Descendants(&library, names::scsiStatus).first()) {
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
  if (const DOMElement* library = singleLibrary(&document)) readValues(*library, content);
  return content;
}

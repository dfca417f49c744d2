#include "catalogue/ElementName.h"

#include <charconv>
#include <utility>

#include "base/Errors.h"

namespace {

const std::pair<const char*, int> kTypes[] = {
    {"slot", LIB_ELEM_SLOT},
    {"mail", LIB_ELEM_MAIL_SLOT},
    {"drive", LIB_ELEM_DRIVE},
    {"shelf", LIB_ELEM_SHELF},
};

int parseType(const std::string& word) {
  for (const auto& [known, type] : kTypes) {
    if (word == known) return type;
  }
  return -1;
}

int parseAddress(const std::string& digits) {
  int address = -1;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, address);
  return result.ec == std::errc() && result.ptr == end ? address : -1;
}

}  // namespace

LibElement parseElementName(const std::string& name) {
  const auto colon = name.find(':');
  LibElement element;
  if (colon != std::string::npos) {
    element.elementType = parseType(name.substr(0, colon));
    element.elementAddress = parseAddress(name.substr(colon + 1));
  }
  if (element.elementType < 0 || element.elementAddress < 0) {
    throw UsageError("not an element: \"" + name + "\"; write " + kElementForms +
                     " with the element address N");
  }
  return element;
}

std::string elementTypeWord(int type) {
  for (const auto& [word, known] : kTypes) {
    if (known == type) return word;
  }
  return "unknown";
}

std::string elementName(const LibElement& element) {
  return elementTypeWord(element.elementType) + ":" + std::to_string(element.elementAddress);
}

bool isSlot(const LibElement& element) {
  return element.elementType == LIB_ELEM_SLOT || element.elementType == LIB_ELEM_MAIL_SLOT;
}

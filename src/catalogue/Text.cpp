// The public text functions, on top of files/XmlText.h.

#include <array>
#include <cstdio>

#include "TqLibEmulator.h"
#include "files/XmlText.h"

namespace {

/// Room for 1023 units and a terminator.
using NameBuffer = std::array<XMLCh, 1024>;

const XMLCh* fill(NameBuffer& buffer, const wchar_t* text) {
  const XmlString converted = toXml(text, buffer.size() - 1);
  converted.copy(buffer.data(), converted.size());
  buffer[converted.size()] = 0;
  return buffer.data();
}

}  // namespace

std::string MyTranscode(const XMLCh* text) {
  return toUtf8(text);
}

std::wstring MyTranscode(const char* text) {
  return toWide(text == nullptr ? "" : text);
}

const XMLCh* GetConstXMLCh(const wchar_t* text) {
  static NameBuffer buffer;
  return fill(buffer, text);
}

const XMLCh* GetConstXMLCh1(const wchar_t* text) {
  static NameBuffer buffer;
  return fill(buffer, text);
}

char* itoa(long value, char* buffer, int /*radix*/) {
  // 21 bytes: a sign, 19 digits and the terminator
  std::snprintf(buffer, 21, "%ld", value);
  return buffer;
}

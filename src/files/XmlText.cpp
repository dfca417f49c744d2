// Does not use the transcoder of Xerces-C++: it depends on the locale of the process, silently
// replaces bytes that are not UTF-8, and is slow for many short ASCII values.

#include "files/XmlText.h"

#include <cstdint>
#include <cstdio>

#include <xercesc/util/XMLString.hpp>

#include "files/Names.h"

namespace {

constexpr char32_t kMaxCodePoint = 0x10FFFF;
constexpr char32_t kFirstSurrogate = 0xD800;
constexpr char32_t kLastSurrogate = 0xDFFF;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kNotUtf8 = 0xFFFFFFFF;
constexpr char32_t kReplacement = 0xFFFD;

bool isSurrogate(char32_t c) {
  return c >= kFirstSurrogate && c <= kLastSurrogate;
}

bool isXmlCharacter(char32_t c) {
  if (c < 0x20) {
    return c == '\t' || c == '\n' || c == '\r';
  }
  return c <= kMaxCodePoint && !isSurrogate(c) && c != 0xFFFE && c != 0xFFFF;
}

/// The number of bytes that follow a lead byte; -1 when `lead` is not a lead byte.
int continuationBytes(unsigned char lead) {
  if (lead < 0x80) {
    return 0;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 1;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 2;
  }
  return lead >= 0xF0 && lead <= 0xF4 ? 3 : -1;
}

/// Decodes the code point at `at` and moves `at` behind it. Returns kNotUtf8 for malformed bytes.
char32_t nextCodePoint(std::string_view text, size_t& at) {
  static constexpr char32_t kLeast[] = {0, 0x80, 0x800, kFirstSupplementary};
  const auto lead = static_cast<unsigned char>(text[at++]);
  const int following = continuationBytes(lead);
  if (following < 0 || text.size() - at < static_cast<size_t>(following)) {
    return kNotUtf8;
  }
  char32_t c = following == 0 ? lead : lead & (0x3FU >> following);
  for (int i = 0; i < following; ++i) {
    const auto byte = static_cast<unsigned char>(text[at++]);
    if ((byte & 0xC0U) != 0x80U) {
      return kNotUtf8;
    }
    c = (c << 6U) | (byte & 0x3FU);
  }
  return c < kLeast[following] || c > kMaxCodePoint || isSurrogate(c) ? kNotUtf8 : c;
}

void appendUtf16(XmlString& text, char32_t c) {
  if (c >= kFirstSupplementary) {
    c -= kFirstSupplementary;
    text += static_cast<XMLCh>(kFirstSurrogate + (c >> 10U));
    text += static_cast<XMLCh>(0xDC00 + (c & 0x3FFU));
  } else {
    text += static_cast<XMLCh>(c);
  }
}

void appendUtf8(std::string& text, char32_t c) {
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6U));
    put(0x80 | (c & 0x3FU));
  } else if (c < kFirstSupplementary) {
    put(0xE0 | (c >> 12U));
    put(0x80 | ((c >> 6U) & 0x3FU));
    put(0x80 | (c & 0x3FU));
  } else {
    put(0xF0 | (c >> 18U));
    put(0x80 | ((c >> 12U) & 0x3FU));
    put(0x80 | ((c >> 6U) & 0x3FU));
    put(0x80 | (c & 0x3FU));
  }
}

}  // namespace

XmlString toXml(std::string_view text) {
  XmlString converted;
  converted.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const size_t start = at;
    const char32_t c = nextCodePoint(text, at);
    if (c == kNotUtf8) {
      throw InvalidText("Text is not UTF-8 at byte " + std::to_string(start));
    }
    if (!isXmlCharacter(c)) {
      char name[16];
      std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
      throw InvalidText(std::string("Text holds ") + name + ", not allowed in XML, at byte " +
                        std::to_string(start));
    }
    appendUtf16(converted, c);
  }
  return converted;
}

XmlString toXml(int value) {
  const std::string digits = std::to_string(value);
  return {digits.begin(), digits.end()};
}

XmlString toXml(const wchar_t* text, std::size_t most) {
  XmlString converted;
  for (; text != nullptr && *text != L'\0'; ++text) {
    const auto c = static_cast<char32_t>(*text);
    const std::size_t whole = converted.size();
    appendUtf16(converted, c > kMaxCodePoint || isSurrogate(c) ? kReplacement : c);
    if (converted.size() > most) {
      converted.resize(whole);
      break;
    }
  }
  return converted;
}

const XMLCh* boolText(bool value) {
  return value ? names::trueText : names::falseText;
}

std::string toUtf8(const XMLCh* text) {
  std::string converted;
  if (text == nullptr) {
    return converted;
  }
  converted.reserve(xercesc::XMLString::stringLen(text));
  for (; *text != 0; ++text) {
    char32_t c = *text;
    const bool high = c >= kFirstSurrogate && c < 0xDC00;
    if (high && text[1] >= 0xDC00 && text[1] <= kLastSurrogate) {
      c = kFirstSupplementary + ((c - kFirstSurrogate) << 10U) + (*++text - 0xDC00U);
    }
    appendUtf8(converted, isSurrogate(c) ? kReplacement : c);
  }
  return converted;
}

std::wstring toWide(std::string_view text) {
  std::wstring converted;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = nextCodePoint(text, at);
    if (c == kNotUtf8) {
      throw std::range_error("Text is not UTF-8");
    }
    converted += static_cast<wchar_t>(c);
  }
  return converted;
}

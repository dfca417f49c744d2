// Converting between the text of callers (UTF-8) and of documents (UTF-16).
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include <xercesc/util/XercesDefs.hpp>

using XmlString = std::basic_string<XMLCh>;

/// Text that an XML 1.0 file cannot hold.
class InvalidText : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// UTF-8 as XML text. Throws InvalidText when `text` is not UTF-8 or holds a character that XML 1.0
/// does not allow, before it can make a save fail.
XmlString toXml(std::string_view text);

/// A number as XML text, in decimal.
XmlString toXml(int value);

/// Wide text as XML text; empty for null. The text is cut before the first character that does not
/// fit into `most` units. Invalid characters become U+FFFD.
XmlString toXml(const wchar_t* text, std::size_t most);

/// XML text as UTF-8; empty for null. Unpaired surrogates become U+FFFD.
std::string toUtf8(const XMLCh* text);

/// UTF-8 as wide text. Throws std::range_error when `text` is not UTF-8.
std::wstring toWide(std::string_view text);

/// "true" or "false".
const XMLCh* boolText(bool value);

// Text on its way between callers (UTF-8) and documents (UTF-16).
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <xercesc/util/XercesDefs.hpp>

using XmlString = std::basic_string<XMLCh>;

/// A text that no XML 1.0 file can carry.
class InvalidText : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// UTF-8 as XML text. Throws InvalidText when `text` is not UTF-8 or holds a character that XML 1.0
/// does not allow: found here, it cannot stop a save half-way.
XmlString toXml(std::string_view text);

/// A number as XML text, in decimal.
XmlString toXml(int value);

/// "true" or "false".
const XMLCh* boolText(bool value);

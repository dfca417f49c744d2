// Library files and lists as text: makes small ones, and compares those that the API wrote.
#pragma once

#include <string>
#include <vector>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"

namespace tests {

/// XML without declaration, namespaces and indentation; an empty element becomes "<A/>".
inline std::string compact(const std::string& xml) {
  std::string text = std::regex_replace(xml, std::regex(R"(<\?xml[^>]*\?>|\s+xmlns="[^"]*")"), "");
  text = std::regex_replace(text, std::regex(R"(>\s+<)"), "><");
  text = std::regex_replace(text, std::regex(R"(^\s+|\s+$)"), "");
  return std::regex_replace(text, std::regex(R"(<(\w+)\b([^<>]*)></\1>)"), "<$1$2/>");
}

inline std::string fileXml(const std::string& content) {
  return "<Devices>" + content + "</Devices>";
}

inline std::string libraryXml(const std::string& serial, const std::string& more) {
  return "<Library><DriveBaseAddress>500</DriveBaseAddress><LibraryScsiDevice><SerialNumber>" +
         serial + "</SerialNumber></LibraryScsiDevice>" + more + "</Library>";
}

inline std::string driveXml(const std::string& serial, int address, const std::string& more) {
  return "<Drive><BaseAddress>" + std::to_string(address) +
         "</BaseAddress><DriveScsiDevice><SerialNumber>" + serial +
         "</SerialNumber></DriveScsiDevice>" + more + "</Drive>";
}

inline std::string unitXml(const std::string& kind, const std::string& host) {
  return "<" + kind + "ScsiUnit MAName=\"" + host + "\"><Bus>1</Bus></" + kind + "ScsiUnit>";
}

inline std::string listXml(const std::vector<std::string>& keys) {
  std::string text = "<LibraryList>";
  for (const std::string& key : keys)
    text += "<Library Id=\"" + key + "\">Lib_" + key + ".xml</Library>";
  return text + "</LibraryList>";
}

/// An element as the API writes it.
inline std::string elementXml(const LibElement& e) {
  const bool isMailSlot = e.elementType == LIB_ELEM_MAIL_SLOT;
  const bool isSlot = isMailSlot || e.elementType == LIB_ELEM_SLOT;
  const std::string name = isSlot ? "Slot" : e.elementType == LIB_ELEM_DRIVE ? "Drive" : "Shelf";
  const std::string tag = isSlot ? "Slots" : name;
  const std::string address = std::to_string(e.elementAddress);
  std::string attributes = e.isOccupied ? " IsOccupied=\"true\"" : " IsOccupied=\"false\"";
  if (isSlot)
    attributes = (isMailSlot ? " IsMailSlot=\"true\"" : " IsMailSlot=\"false\"") + attributes;
  return "<" + tag + attributes + " Name=\"" + name + "_" + address + "\"><BaseAddress>" + address +
         "</BaseAddress><BarCode>" + e.barCode + "</BarCode></" + tag + ">";
}

/// A library file of described elements ("2@1000:T1") and XML. Library A is in brackets; "?" is a
/// drive whose address cannot be read.
inline std::string documentOf(const std::string& text) {
  static const std::map<std::string, std::string> kSigns{
      {"[", "<Library Name=\"Lib_A\">"},
      {"]", "</Library>"},
      {"?", "<Drive><BaseAddress><x/></BaseAddress></Drive>"}};
  const std::regex words(R"(<[^>]*>|[\[\]]|[^<\s\[\]]+)");
  std::string xml;
  for (std::sregex_iterator i(text.begin(), text.end(), words), end; i != end; ++i) {
    const std::string word = i->str();
    const auto sign = kSigns.find(word);
    if (sign != kSigns.end())
      xml += sign->second;
    else
      xml += word.find('@') == word.npos ? word : elementXml(described(word)[0]);
  }
  return compact(fileXml(xml));
}

}  // namespace tests

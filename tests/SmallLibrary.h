// Library files and lists as short as they may be, without what the writer of a file chooses.
#pragma once

#include <regex>
#include <string>

#include "LibraryBuilder.h"
#include "TempCatalogue.h"

namespace tests {

/// XML without what the writer chooses: declaration, namespaces, indentation, empty-element form.
inline std::string compact(const std::string& xml) {
  std::string text = std::regex_replace(xml, std::regex(R"(<\?xml[^>]*\?>|\s+xmlns="[^"]*")"), "");
  text = std::regex_replace(text, std::regex(R"(>\s+<)"), "><");
  text = std::regex_replace(text, std::regex(R"(^\s+|\s+$)"), "");
  return std::regex_replace(text, std::regex(R"(<(\w+)\b([^<>]*)></\1>)"), "<$1$2/>");
}

inline std::string nodeOf(const LibElement& e) {
  const bool isSlot = e.elementType == LIB_ELEM_SLOT || e.elementType == LIB_ELEM_MAIL_SLOT;
  const std::string name = isSlot ? "Slot" : e.elementType == LIB_ELEM_DRIVE ? "Drive" : "Shelf";
  const std::string tag = isSlot ? "Slots" : name;
  const std::string isMail = e.elementType == LIB_ELEM_MAIL_SLOT ? "true" : "false";
  const std::string address = std::to_string(e.elementAddress);
  return "<" + tag + (isSlot ? " IsMailSlot=\"" + isMail + "\"" : "") + " IsOccupied=\"" +
         (e.isOccupied ? "true" : "false") + "\" Name=\"" + name + "_" + address +
         "\"><BaseAddress>" + address + "</BaseAddress><BarCode>" + e.barCode + "</BarCode></" +
         tag + ">";
}

/// A library file of described elements and XML. Brackets stand for the library's own element, "?"
/// for a drive whose address cannot be read.
inline std::string documentOf(const std::string& text) {
  const std::regex words(R"(<[^>]*>|[\[\]]|[^<\s\[\]]+)");
  std::string xml;
  for (std::sregex_iterator i(text.begin(), text.end(), words), end; i != end; ++i) {
    const std::string word = i->str();
    xml += word == "["                           ? "<Library Name=\"Lib_A\">"
           : word == "]"                         ? "</Library>"
           : word == "?"                         ? "<Drive><BaseAddress><x/></BaseAddress></Drive>"
           : word.find('@') != std::string::npos ? nodeOf(described(word)[0])
                                                 : word;
  }
  return compact("<Devices>" + xml + "</Devices>");
}

inline std::string unitXml(const std::string& kind, const std::string& host) {
  return "<" + kind + "ScsiUnit MAName=\"" + host + "\"><Bus>1</Bus></" + kind + "ScsiUnit>";
}

inline std::string driveXml(const std::string& serial, int address, const std::string& more) {
  return "<Drive><BaseAddress>" + std::to_string(address) +
         "</BaseAddress><DriveScsiDevice><SerialNumber>" + serial +
         "</SerialNumber></DriveScsiDevice>" + more + "</Drive>";
}

inline std::string libraryXml(const std::string& serial, const std::string& more) {
  return "<Library><DriveBaseAddress>500</DriveBaseAddress><LibraryScsiDevice><SerialNumber>" +
         serial + "</SerialNumber></LibraryScsiDevice>" + more + "</Library>";
}

inline std::string fileXml(const std::string& content) {
  return "<Devices>" + content + "</Devices>";
}

inline std::string listXml(const std::vector<std::string>& keys) {
  std::string text = "<LibraryList>";
  for (const std::string& key : keys)
    text += "<Library Id=\"" + key + "\">Lib_" + key + ".xml</Library>";
  return text + "</LibraryList>";
}

}  // namespace tests

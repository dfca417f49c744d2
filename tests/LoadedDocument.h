// A document in the hands of a catalogue object, for tests of the members that work on one.
#pragma once

#include <regex>
#include <stdexcept>
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

class LoadedDocument {
public:
  explicit LoadedDocument(const std::string& xml) {
    emulator.initXerces();
    emulator.m_bInitialized = true;
    emulator.m_sLibFile = catalogue.libraryFile("T");
    writeFile(emulator.m_sLibFile, xml);
    emulator.m_bLibLoaded = emulator.loadDocument();
    if (!emulator.m_bLibLoaded) throw std::runtime_error("cannot load " + xml);
  }

  /// The first element of this name; null when there is none.
  xercesc::DOMElement* at(const XMLCh* name) {
    return dynamic_cast<xercesc::DOMElement*>(
        emulator.m_pLibDoc->getElementsByTagName(name)->item(0));
  }

  TempCatalogue catalogue;
  TqLibEmulator emulator;
};

}  // namespace tests

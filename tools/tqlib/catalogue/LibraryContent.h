// A library file as it is, also with what the API tolerates or skips silently.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

// A text is empty where the file has none, or none that the API can read; a number is the leading
// digits of a text, as the API takes it.

/// A drive, slot or shelf.
struct ElementContent {
  xercesc::DOMElement* node;
  int type;  ///< LibElemType
  std::string name;
  std::optional<int> address;
  bool isOccupied;
  std::string barcode;
  bool hasBarcode;  ///< there is an element for it that the API can read
  int devices = 0;  ///< device blocks; only drives have them, and a serial number
  std::string serial = {};
};

/// The addresses of the elements of one type, as hosts see them.
struct AddressRange {
  long first;
  long count;
};

struct LibraryContent {
  int libraries = 0;
  std::vector<ElementContent> elements;  ///< in the order of the file
  // Of the one library; nothing when there is none, or several
  std::string name;
  int devices = 0;  ///< device blocks
  std::string serial;
  std::map<int, AddressRange> ranges;  ///< by LibElemType, without shelves
  std::optional<long> statusExpiry;    ///< seconds since 1970; nothing without a status
};

/// The nodes in it are those of `document`.
LibraryContent readLibrary(const xercesc::DOMDocument& document);

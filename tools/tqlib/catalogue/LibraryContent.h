// A library file as it is, with what the library would tolerate or pass over in silence.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>

/// The value of an XML element.
struct Value {
  enum class State { Missing, Unreadable, Read };
  State state = State::Missing;
  std::string text;

  bool isUsable() const { return state == State::Read && !text.empty(); }
  /// Its leading digits, as the library takes a number; nothing when there are none.
  std::optional<int> number() const;
};

/// A drive, slot or shelf.
struct ElementContent {
  int type = -1;  ///< LibElemType
  std::string name;
  bool isOccupied = false;
  Value address;
  Value barcode;
  int devices = 0;  ///< device blocks; of a drive, and so is the serial number
  Value serial;
};

/// First address and number of the elements of one type, as hosts are told.
struct AddressRange {
  Value base;
  Value count;
};

struct LibraryContent {
  int libraries = 0;
  std::string name;
  int devices = 0;  ///< device blocks of the library
  Value serial;
  std::map<int, AddressRange> ranges;  ///< by LibElemType
  std::optional<long> statusExpiry;    ///< seconds since 1970; nothing without a status
  std::deque<ElementContent> elements;
};

/// Throws Failure when the file cannot be read or parsed.
LibraryContent readLibrary(const std::string& path);

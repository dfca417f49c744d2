// A host in words: "1 write abc" is WRITE(6) of a block of 3 bytes to logical unit 1.
//
//   LUN WORD [NUMBER...] [TEXT]    the words are in Session.cpp; "cdb" takes hexadecimal digits
//   @NAME LUN ...                  the same from another initiator
//   operator move TYPE FROM TYPE TO, operator set TYPE ADDRESS BARCODE, operator status STATUS ASC
//   ASCQ
//                                  what tqlib does, past the emulator
#pragma once

#include <string>

#include "../scsi/Target.h"

class Session {
public:
  /// Registers the library LIB1 with two drives, four slots and two media, unless it exists.
  static bool makeLibrary();

  /// The library must exist.
  explicit Session(const std::string& library) : m_library(library), m_target(library) {}

  /// "ok" or KEY/ASC/ASCQ and what else the sense has, then the data.
  std::string answer(const std::string& line);

private:
  std::string operate(const std::string& line) const;

  std::string m_library;
  scsi::Target m_target;
};

// The one place where codes of the API and injected statuses become sense data.
#include "Sense.h"

#include <map>
#include <set>

#include "Bytes.h"

namespace scsi {

Sense withResidue(Sense sense, long long residue) {
  sense.information = residue;
  return sense;
}

// A code that is not here is a fault of the installation, such as a damaged catalogue or a folder
// without permission. No other command or medium helps, so it is a HARDWARE ERROR.
Sense senseOf(const MMS2BaseError& object) {
  static const std::map<int, Sense> senses = {
      {40006, kDestinationFull},   // destination of a move occupied
      {40018, kSourceEmpty},       // source of a move empty
      {50009, kInvalidAddress},    // no such element
      {764, kWriteError},          // file cannot be opened, which is for writing also in a read
      {767, kWriteError},          // write failed
      {785, kEndOfTape},           // volume too large and the block incomplete; see Tape::write()
      {979, kReadError},           // read failed
      {993, kIncompatibleMedium},  // barcode cannot name a folder
  };
  const auto found = senses.find(object.getErrorCode());
  return found == senses.end() ? kTargetFailure : found->second;
}

// Hosts decide by the key whether to wait, to send the command again, or to give up. The standard
// allows one key, at most two, for most codes; this is the usual one.
Sense senseOf(int asc, int ascq) {
  static const std::map<int, std::set<int>> codes = {
      {0x1, {0x5D}},                                            // RECOVERED ERROR: it goes on
      {0x2, {0x04, 0x3A}},                                      // NOT READY: wait, or load a medium
      {0x3, {0x0C, 0x11, 0x14, 0x15, 0x30, 0x31}},              // MEDIUM ERROR: take another medium
      {0x5, {0x1A, 0x20, 0x21, 0x24, 0x25, 0x26, 0x39, 0x3B}},  // ILLEGAL REQUEST: do not repeat it
      {0x6, {0x28, 0x29, 0x2A, 0x3F, 0x5A}},                    // UNIT ATTENTION: look, and repeat
      {0x7, {0x27}},                                            // DATA PROTECT: do not write
  };
  if (asc == 0) return {0, 0, ascq};  // NO SENSE: for information
  if (asc == kRemovalPrevented.asc && ascq == kRemovalPrevented.ascq) return kRemovalPrevented;
  for (const auto& [key, known] : codes) {
    if (known.count(asc) != 0) return {key, asc, ascq};
  }
  return {kTargetFailure.key, asc, ascq};  // HARDWARE ERROR: call for service
}

std::vector<unsigned char> fixedFormat(const Sense& sense) {
  std::vector<unsigned char> bytes(18);
  bytes[0] = sense.information ? 0xF0 : 0x70;
  const int flags = (sense.filemark ? 0x80 : 0) | (sense.endOfMedium ? 0x40 : 0) |
                    (sense.incorrectLength ? 0x20 : 0);
  put(bytes, 2, 1, flags | sense.key);
  put(bytes, 3, 4, sense.information.value_or(0));  // negative: a block was longer than asked for
  bytes[7] = 10;                                    // bytes that follow
  put(bytes, 12, 1, sense.asc);
  put(bytes, 13, 1, sense.ascq);
  return bytes;
}

}  // namespace scsi

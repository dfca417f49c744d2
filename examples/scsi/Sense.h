// Why a command failed. Whoever notices a failure throws a Sense; LogicalUnit makes it an answer.
#pragma once

#include <optional>
#include <vector>

#include "TqPlatform/MMError.h"

namespace scsi {

struct Sense {
  int key = 0;
  int asc = 0;   ///< additional sense code
  int ascq = 0;  ///< its qualifier
  bool filemark = false;
  bool endOfMedium = false;
  bool incorrectLength = false;
  std::optional<long long> information = std::nullopt;  ///< what was not done, in blocks or bytes
  int status = 2;  ///< CHECK CONDITION; with another one, the rest is not sent
};

constexpr Sense kFilemark{0, 0x00, 0x01, true};
constexpr Sense kEarlyWarning{0, 0x00, 0x02, false, true};  // all was written, the end is near
constexpr Sense kStartOfTape{0, 0x00, 0x04, false, true};
constexpr Sense kIncorrectLength{0, 0x00, 0x00, false, false, true};
constexpr Sense kNoMedium{0x2, 0x3A, 0x00};
constexpr Sense kWriteError{0x3, 0x0C, 0x00};
constexpr Sense kReadError{0x3, 0x11, 0x00};
constexpr Sense kIncompatibleMedium{0x3, 0x30, 0x00};
constexpr Sense kTargetFailure{0x4, 0x44, 0x00};
constexpr Sense kInvalidCommand{0x5, 0x20, 0x00};
constexpr Sense kInvalidAddress{0x5, 0x21, 0x01};
constexpr Sense kInvalidField{0x5, 0x24, 0x00};
constexpr Sense kNoSuchUnit{0x5, 0x25, 0x00};
constexpr Sense kInvalidParameter{0x5, 0x26, 0x00};
constexpr Sense kSavingNotSupported{0x5, 0x39, 0x00};
constexpr Sense kDestinationFull{0x5, 0x3B, 0x0D};
constexpr Sense kSourceEmpty{0x5, 0x3B, 0x0E};
constexpr Sense kRemovalPrevented{0x5, 0x53, 0x02};
constexpr Sense kMediumChanged{0x6, 0x28, 0x00};
constexpr Sense kPowerOn{0x6, 0x29, 0x00};
constexpr Sense kModeChanged{0x6, 0x2A, 0x01};
constexpr Sense kEndOfData{0x8, 0x00, 0x05};
constexpr Sense kEndOfTape{0xD, 0x00, 0x02, false, true};  // not written, or not whole

/// The sense with what was not done.
Sense withResidue(Sense sense, long long residue);

/// The sense of a call that failed. `object` must be made for the call: it keeps its last code.
Sense senseOf(const MMS2BaseError& object);

/// The sense of an injected status, which has no sense key.
Sense senseOf(int asc, int ascq);

/// Fixed format, 18 bytes.
std::vector<unsigned char> fixedFormat(const Sense& sense);

}  // namespace scsi

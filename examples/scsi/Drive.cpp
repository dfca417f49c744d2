// The commands of SSC-3 that hosts send to a tape drive.
#include "Drive.h"

namespace scsi {

namespace {

constexpr long long kLongestBlock = 8 << 20;
constexpr long long kLongestTransfer = 64 << 20;
constexpr unsigned kMostFilemarks = 10000;  // in one command; each one is a file

/// Throws at the end of data and at a filemark; the position is behind that then.
void requireBlock(Tape& tape, long long residue) {
  if (tape.isAtEndOfData()) throw withResidue(kEndOfData, residue);
  if (!tape.isAtEndOfFile()) return;
  tape.toStartOf(tape.file() + 1);
  throw withResidue(kFilemark, residue);
}

}  // namespace

void Drive::perform(const Request& request) {
  static const std::map<int, void (Drive::*)(const Request&)> commands = {
      {0x00, &Drive::testUnitReady}, {0x01, &Drive::rewind},       {0x05, &Drive::readBlockLimits},
      {0x08, &Drive::read},          {0x0A, &Drive::write},        {0x10, &Drive::writeFilemarks},
      {0x11, &Drive::space},         {0x15, &Drive::modeSelect},   {0x19, &Drive::erase},
      {0x1A, &Drive::modeSense},     {0x1B, &Drive::loadUnload},   {0x1E, &Drive::preventAllow},
      {0x2B, &Drive::locate},        {0x34, &Drive::readPosition}, {0x4D, &Drive::logSense},
      {0x55, &Drive::modeSelect},    {0x5A, &Drive::modeSense},
  };
  dispatch(*this, request, commands);
}

void Drive::setMedium(const std::string& barCode) {
  if (barCode == m_barCode) return;
  m_barCode = barCode;
  m_tape.reset();
  m_isLoaded = !barCode.empty();
  m_lockedBy.clear();
  if (m_isLoaded) attend(kMediumChanged);
}

Tape& Drive::tape() {
  if (!m_isLoaded) throw kNoMedium;
  if (!m_tape) m_tape.emplace(m_barCode);
  return *m_tape;
}

void Drive::testUnitReady(const Request& /*request*/) {
  tape();
}

void Drive::rewind(const Request& /*request*/) {
  tape().toStartOf(0);
}

void Drive::erase(const Request& /*request*/) {
  tape().eraseRest();
}

void Drive::loadUnload(const Request& request) {
  const bool isLoad = request.flag(4, 0x01);
  if (m_barCode.empty()) throw kNoMedium;
  if (!isLoad && isLocked()) throw kRemovalPrevented;
  if (isLoad && !m_isLoaded) attend(kMediumChanged, request.command.initiator);
  m_isLoaded = isLoad;
  m_tape.reset();
}

void Drive::preventAllow(const Request& request) {
  const std::string& initiator = request.command.initiator;
  if (request.flag(4, 0x01)) {
    m_lockedBy.insert(initiator);
  } else {
    m_lockedBy.erase(initiator);
  }
}

void Drive::readBlockLimits(const Request& request) {
  std::vector<unsigned char> bytes(6);
  put(bytes, 1, 3, kLongestBlock);
  put(bytes, 4, 2, 1);
  request.reply(std::move(bytes), 6);
}

// READ and WRITE: a number of blocks of the selected length, or one block of a given length.

void Drive::read(const Request& request) {
  if (request.flag(1, 0x01)) {
    readFixed(request);
  } else {
    readVariable(request);
  }
}

void Drive::readFixed(const Request& request) {
  auto left = static_cast<long long>(request.number(2, 3));
  const bool isTooMuch = left * m_blockLength > kLongestTransfer;
  if (m_blockLength == 0 || request.flag(1, 0x02) || isTooMuch) throw kInvalidField;
  Tape& from = tape();
  from.assume(m_blockLength);
  while (left > 0) {
    requireBlock(from, left);
    const Tape::Blocks blocks = from.ahead(left);
    if (blocks.length != m_blockLength) {
      from.skip({blocks.length, 1});
      throw withResidue(kIncorrectLength, left);
    }
    from.read(request.result.data, blocks.bytes());
    left -= blocks.count;
  }
}

void Drive::readVariable(const Request& request) {
  const auto wanted = static_cast<long long>(request.number(2, 3));
  Tape& from = tape();
  if (wanted == 0) return;
  from.assume(wanted);
  requireBlock(from, wanted);
  const long long length = from.ahead(1).length;
  const long long transferred = std::min(wanted, length);
  from.read(request.result.data, transferred);
  from.skip({length - transferred, 1});
  // SILI: no report of a shorter block, nor of a longer one if none has a fixed length
  const bool isSilent = request.flag(1, 0x02) && (length < wanted || m_blockLength == 0);
  if (length != wanted && !isSilent) throw withResidue(kIncorrectLength, wanted - length);
}

void Drive::write(const Request& request) {
  const auto number = static_cast<long long>(request.number(2, 3));
  const bool isFixed = request.flag(1, 0x01);
  const Tape::Blocks blocks =
      isFixed ? Tape::Blocks{m_blockLength, number} : Tape::Blocks{number, 1};
  if ((isFixed && m_blockLength == 0) || blocks.length > kLongestBlock ||
      static_cast<long long>(request.command.data.size()) < blocks.bytes()) {
    throw kInvalidField;
  }
  Tape& to = tape();
  if (blocks.bytes() == 0) return;
  try {
    to.write(request.command.data.data(), blocks);
  } catch (const Sense& sense) {
    throw withResidue(sense, number);  // nothing was written
  }
  if (to.isNearEnd()) throw withResidue(kEarlyWarning, 0);
}

void Drive::writeFilemarks(const Request& request) {
  const auto count = request.number(2, 3);
  if (request.flag(1, 0x02) || count > kMostFilemarks) throw kInvalidField;  // 0x02: setmarks
  const bool isToWait = !request.flag(1, 0x01);
  Tape& to = tape();
  if (isToWait) to.sync();
  for (auto left = count; left > 0; --left) to.writeFilemark();
  if (isToWait) to.sync();
  if (to.isNearEnd()) throw withResidue(kEarlyWarning, 0);
}

// SPACE stops at what it was not to pass: the position is then behind it, in its direction.

void Drive::space(const Request& request) {
  const auto bits = static_cast<long long>(request.number(2, 3));
  const long long count = bits < 0x800000 ? bits : bits - 0x1000000;
  switch (request.cdb[1] & 0x07) {
    case 0:
      return spaceBlocks(count);
    case 1:
      return spaceFilemarks(count);
    case 3:
      return tape().toEndOf(tape().lastFile());
    default:
      throw kInvalidField;
  }
}

void Drive::spaceBlocks(long long count) {
  Tape& on = tape();
  while (count > 0) {
    requireBlock(on, count);
    const Tape::Blocks blocks = on.ahead(count);
    on.skip(blocks);
    count -= blocks.count;
  }
  for (; count < 0; ++count) {
    if (on.isAtStart()) throw withResidue(kStartOfTape, -count);
    if (on.isAtStartOfFile()) {
      on.toEndOf(on.file() - 1);
      throw withResidue(kFilemark, -count);
    }
    on.backOneBlock();
  }
}

void Drive::spaceFilemarks(long long count) {
  Tape& on = tape();
  const long long target = on.file() + count;
  if (target > on.lastFile()) {
    on.toEndOf(on.lastFile());
    throw withResidue(kEndOfData, target - on.lastFile());
  }
  if (target < 0) {
    on.toStartOf(0);
    throw withResidue(kStartOfTape, -target);
  }
  if (count > 0) on.toStartOf(static_cast<int>(target));
  if (count < 0) on.toEndOf(static_cast<int>(target));
}

void Drive::locate(const Request& request) {
  if (request.flag(1, 0x02) && request.cdb[8] != 0) throw kInvalidField;  // one partition
  if (!tape().locate(static_cast<long long>(request.number(3, 4)))) throw kEndOfData;
}

void Drive::readPosition(const Request& request) {
  if ((request.cdb[1] & 0x1F) > 1) throw kInvalidField;  // the short form only
  Tape& on = tape();
  std::vector<unsigned char> bytes(20);
  bytes[0] = static_cast<unsigned char>((on.isAtStart() ? 0x80 : 0) | (on.isNearEnd() ? 0x40 : 0));
  put(bytes, 4, 4, on.objectNumber());
  put(bytes, 8, 4, on.objectNumber());  // nothing is buffered in the drive
  request.reply(std::move(bytes), 20);
}

// Of the mode parameters, the block length can be changed.

void Drive::modeSense(const Request& request) {
  std::vector<unsigned char> descriptor(8);
  put(descriptor, 5, 3, m_blockLength);
  // Compression and device configuration: hosts ask for them. Neither is offered.
  replyMode(request, descriptor,
            {{0x0F, std::vector<unsigned char>(14)}, {0x10, std::vector<unsigned char>(14)}});
}

void Drive::modeSelect(const Request& request) {
  const auto& data = request.command.data;
  const bool isLong = request.cdb[0] == 0x55;
  const std::size_t header = isLong ? 8 : 4;
  const auto length =
      static_cast<std::size_t>(isLong ? request.number(7, 2) : request.number(4, 1));
  if (length == 0) return;
  if (length < header || data.size() < length) throw kInvalidField;
  const auto descriptor = get(data, isLong ? 6 : 3, isLong ? 2 : 1);
  if (length != header + descriptor || (descriptor != 0 && descriptor != 8)) {
    throw kInvalidParameter;  // no page can be changed
  }
  if (descriptor == 0) return;
  const auto blockLength = static_cast<long long>(get(data, header + 5, 3));
  if (blockLength > kLongestBlock) throw kInvalidParameter;
  m_blockLength = blockLength;
  attend(kModeChanged, request.command.initiator);
}

}  // namespace scsi

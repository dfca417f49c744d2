// INQUIRY, REQUEST SENSE and unit attentions, and the frame of MODE SENSE and LOG SENSE.
#include "LogicalUnit.h"

namespace scsi {

Request::Request(const Command& theCommand, Result& theResult)
    : command(theCommand), result(theResult) {
  std::copy_n(command.cdb.begin(), std::min(command.cdb.size(), cdb.size()), cdb.begin());
}

void Request::reply(std::vector<unsigned char> bytes, unsigned long long allocated) const {
  if (bytes.size() > allocated) bytes.resize(static_cast<std::size_t>(allocated));
  result.data = std::move(bytes);
}

// INQUIRY must work in any state, so it reports no unit attention and leaves it for the next
// command. REQUEST SENSE reports it as data.
void LogicalUnit::execute(const Request& request) {
  const auto [pending, isNew] = m_attentions.try_emplace(request.command.initiator);
  if (isNew) pending->second.push_back(kPowerOn);
  if (request.cdb[0] == 0x12) return inquire(request);
  Sense attention;
  const bool isPending = !pending->second.empty();
  if (isPending) {
    attention = pending->second.front();
    pending->second.pop_front();
  }
  if (request.cdb[0] == 0x03) return request.reply(fixedFormat(attention), request.number(4, 1));
  if (isPending) throw attention;
  perform(request);
}

void LogicalUnit::attend(const Sense& attention, const std::string& except) {
  for (auto& [initiator, pending] : m_attentions) {
    const bool isKnown = std::any_of(pending.begin(), pending.end(), [&](const Sense& known) {
      return known.asc == attention.asc;
    });
    if (initiator != except && !isKnown) pending.push_back(attention);
  }
}

std::string LogicalUnit::identity() const {
  const auto maker = padded(m_device.Manufacturer, 8);
  const auto model = padded(m_device.Model, 16);
  std::string text(maker.begin(), maker.end());
  text.append(model.begin(), model.end());
  return (text + m_device.SerialNumber).substr(0, 255);
}

void LogicalUnit::inquire(const Request& request) const {
  std::vector<unsigned char> bytes(36);
  if (request.flag(1, 0x01)) {
    bytes = productData(request.number(2, 1));
  } else {
    if (request.cdb[2] != 0) throw kInvalidField;
    bytes[1] = 0x80;  // the medium is removable
    bytes[2] = 5;     // SPC-3
    bytes[3] = 2;     // the format of this answer
    bytes[4] = 31;    // bytes that follow
    std::copy_n(identity().begin(), 24, bytes.begin() + 8);
    const auto revision = padded(m_device.FirmwareRevision, 4);
    std::copy(revision.begin(), revision.end(), bytes.begin() + 32);
  }
  put(bytes, 0, 1, m_device.ScsiDeviceType);
  request.reply(std::move(bytes), request.number(3, 2));
}

/// A page of vital product data: type, code, length, content.
std::vector<unsigned char> LogicalUnit::productData(unsigned long long page) const {
  std::vector<unsigned char> bytes(4);
  if (page == 0x00) {
    append(bytes, {0x00, 0x80, 0x83});
  } else if (page == 0x80) {
    append(bytes, padded(m_device.SerialNumber, m_device.SerialNumber.size()));
  } else if (page == 0x83) {
    const std::string name = identity();  // ASCII, begins with the vendor
    append(bytes, {2, 1, 0, static_cast<unsigned char>(name.size())});
    append(bytes, padded(name, name.size()));
  } else {
    throw kInvalidField;
  }
  put(bytes, 1, 1, page);
  put(bytes, 2, 2, bytes.size() - 4);
  return bytes;
}

void LogicalUnit::replyMode(const Request& request,
                            const std::vector<unsigned char>& blockDescriptor,
                            const std::map<int, std::vector<unsigned char>>& pages) {
  const bool isLong = request.cdb[0] == 0x5A;
  const int control = request.cdb[2] >> 6;
  const int wanted = request.cdb[2] & 0x3F;
  if (control == 3) throw kSavingNotSupported;
  std::vector<unsigned char> bytes(isLong ? 8 : 4);
  if (!request.flag(1, 0x08)) append(bytes, blockDescriptor);
  put(bytes, isLong ? 7 : 3, 1, bytes.size() - (isLong ? 8 : 4));
  if (!blockDescriptor.empty()) bytes[isLong ? 3 : 2] = 0x10;  // a tape drive that buffers writes
  const bool isDescriptorOnly = wanted == 0 && !blockDescriptor.empty();
  if (!isDescriptorOnly && wanted != 0x3F && pages.count(wanted) == 0) throw kInvalidField;
  for (const auto& [code, content] : pages) {
    if (wanted != 0x3F && wanted != code) continue;
    append(bytes, {static_cast<unsigned char>(code), static_cast<unsigned char>(content.size())});
    // Of "changeable values", none is set: MODE SELECT changes no page
    append(bytes, control == 1 ? std::vector<unsigned char>(content.size()) : content);
  }
  put(bytes, 0, isLong ? 2 : 1, bytes.size() - (isLong ? 2 : 1));
  request.reply(std::move(bytes), isLong ? request.number(7, 2) : request.number(4, 1));
}

/// Only the list of pages, which names itself: there is nothing to count.
void LogicalUnit::logSense(const Request& request) {
  if ((request.cdb[2] & 0x3F) != 0) throw kInvalidField;
  request.reply({0, 0, 0, 1, 0}, request.number(7, 2));
}

}  // namespace scsi

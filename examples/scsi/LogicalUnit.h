// What changer and drives have in common: identity, unit attentions, sense, mode pages.
#pragma once

#include <array>
#include <deque>
#include <map>

#include "Bytes.h"
#include "Sense.h"
#include "Target.h"
#include "TqLibEmulator.h"

namespace scsi {

/// A command while it is executed. The CDB is filled up with zeros to its greatest length.
struct Request {
  const Command& command;
  Result& result;
  std::array<unsigned char, 16> cdb{};

  Request(const Command& theCommand, Result& theResult);

  unsigned long long number(std::size_t at, std::size_t size) const { return get(cdb, at, size); }
  bool flag(std::size_t at, int mask) const { return (cdb[at] & mask) != 0; }
  /// Answers with as many bytes as the host has room for.
  void reply(std::vector<unsigned char> bytes, unsigned long long allocated) const;
};

class LogicalUnit {
public:
  explicit LogicalUnit(SCSIUnitNoMap device) : m_device(std::move(device)) {}
  virtual ~LogicalUnit() = default;

  /// Executes a command. Throws Sense.
  void execute(const Request& request);

  /// Each initiator that has sent a command gets the unit attention, but not `except`.
  void attend(const Sense& attention, const std::string& except = "");

  /// Manufacturer, model and serial number: names the device worldwide. At most 255 bytes.
  std::string identity() const;

protected:
  virtual void perform(const Request& request) = 0;

  /// Calls the member that a table has for the operation code.
  template <typename Unit>
  static void dispatch(Unit& unit, const Request& request,
                       const std::map<int, void (Unit::*)(const Request&)>& commands) {
    const auto found = commands.find(request.cdb[0]);
    if (found == commands.end()) throw kInvalidCommand;
    (unit.*found->second)(request);
  }

  /// Answers MODE SENSE of 6 or 10 bytes. A page is its content behind code and length.
  static void replyMode(const Request& request, const std::vector<unsigned char>& blockDescriptor,
                        const std::map<int, std::vector<unsigned char>>& pages);
  void logSense(const Request& request);

private:
  void inquire(const Request& request) const;
  std::vector<unsigned char> productData(unsigned long long page) const;

  SCSIUnitNoMap m_device;
  std::map<std::string, std::deque<Sense>> m_attentions;  ///< pending, by initiator
};

}  // namespace scsi

// A tape drive.
#pragma once

#include <set>

#include "LogicalUnit.h"
#include "Tape.h"

namespace scsi {

class Drive : public LogicalUnit {
public:
  explicit Drive(const SCSIUnitNoMap& device)
      : LogicalUnit(device), m_address(device.DriveBaseAddress) {}

  int address() const { return m_address; }
  bool isLocked() const { return !m_lockedBy.empty(); }

  /// What the catalogue has in the drive now; empty for nothing. Another medium is loaded.
  void setMedium(const std::string& barCode);

private:
  void perform(const Request& request) override;

  // Operations
  void erase(const Request& request);
  void loadUnload(const Request& request);
  void locate(const Request& request);
  void modeSelect(const Request& request);
  void modeSense(const Request& request);
  void preventAllow(const Request& request);
  void read(const Request& request);
  void readBlockLimits(const Request& request);
  void readPosition(const Request& request);
  void rewind(const Request& request);
  void space(const Request& request);
  void testUnitReady(const Request& request);
  void write(const Request& request);
  void writeFilemarks(const Request& request);

  Tape& tape();
  void readFixed(const Request& request);
  void readVariable(const Request& request);
  void spaceBlocks(long long count);
  void spaceFilemarks(long long count);

  int m_address;
  std::string m_barCode;
  bool m_isLoaded = false;
  std::set<std::string> m_lockedBy;  ///< initiators; each one has to unlock
  long long m_blockLength = 0;       ///< 0: variable
  std::optional<Tape> m_tape;        ///< since the first command that needs it
};

}  // namespace scsi

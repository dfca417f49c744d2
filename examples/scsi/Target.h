// A tape library as a SCSI target: commands and data in; status, sense and data out.
//
// This header is all that a transport needs, whether it is an iSCSI target, a device in user space
// or a test. Logical unit 0 is the medium changer; 1, 2, ... are the drives in the order of their
// element addresses.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace scsi {

struct Command {
  std::string initiator;  ///< any name; each one has its own unit attentions and locks of drives
  unsigned lun = 0;       ///< logical unit number
  std::vector<unsigned char> cdb;   ///< command descriptor block; missing bytes count as zero
  std::vector<unsigned char> data;  ///< from the host, the parameters or blocks to write
};

struct Result {
  int status = 0;                    ///< 0 GOOD, 2 CHECK CONDITION, 8 BUSY, ...
  std::vector<unsigned char> sense;  ///< 18 bytes, fixed format, with CHECK CONDITION; else empty
  std::vector<unsigned char> data;   ///< to the host, not longer than the CDB allows; may also come
                                     ///< with CHECK CONDITION (a block of another length)
};

class Target {
public:
  /// The library of that key in the configured catalogue. Throws std::runtime_error when it cannot
  /// be read. Drives that are registered later are not seen.
  explicit Target(const std::string& library);
  ~Target();

  /// Executes one command. Any thread may call; the commands of a target take turns.
  Result execute(const Command& command);

private:
  struct Parts;
  std::unique_ptr<Parts> m_parts;
};

}  // namespace scsi

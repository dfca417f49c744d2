// The medium changer: elements of a library and the moves between them.
#pragma once

#include "Catalogue.h"
#include "Drive.h"

namespace scsi {

class Changer : public LogicalUnit {
public:
  Changer(const SCSIUnitNoMap& device, Catalogue& catalogue,
          const std::vector<std::unique_ptr<Drive>>& drives)
      : LogicalUnit(device), m_catalogue(catalogue), m_drives(drives) {}

private:
  void perform(const Request& request) override;

  // Operations
  void accept(const Request& request);
  void exchangeMedium(const Request& request);
  void initializeRange(const Request& request);
  void modeSense(const Request& request);
  void moveMedium(const Request& request);
  void readElementStatus(const Request& request);

  std::pair<int, int> rangeOf(int type) const;
  void requireRobot(const Request& request) const;
  const Drive* driveIn(const LibElement& element) const;
  void requireUnlocked(int address) const;
  std::vector<unsigned char> pageOf(const std::vector<LibElement>& elements,
                                    const Request& request) const;
  std::vector<unsigned char> descriptorOf(const LibElement& element, const Request& request) const;

  Catalogue& m_catalogue;
  const std::vector<std::unique_ptr<Drive>>& m_drives;
};

}  // namespace scsi

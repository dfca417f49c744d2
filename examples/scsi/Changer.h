// The medium changer: elements of a library and the moves between them.
#pragma once

#include <functional>

#include "Catalogue.h"
#include "LogicalUnit.h"

namespace scsi {

class Changer : public LogicalUnit {
public:
  /// What the changer has to know of the drive at an element address.
  struct DriveView {
    std::string identity;
    bool isLocked;  ///< a host prevents removal
  };

  Changer(const SCSIUnitNoMap& device, Catalogue& catalogue, std::function<DriveView(int)> driveAt);

private:
  void perform(const Request& request) override;

  // Operations
  void accept(const Request& request);
  void exchangeMedium(const Request& request);
  void initializeRange(const Request& request);
  void modeSense(const Request& request);
  void moveMedium(const Request& request);
  void positionToElement(const Request& request);
  void readElementStatus(const Request& request);

  struct Range {
    int first = 0;
    int count = 0;
  };
  Range rangeOf(int type) const;
  void requireRobot(const Request& request) const;
  void requireUnlocked(const LibElement& element) const;
  std::vector<unsigned char> pageOf(const std::vector<LibElement>& elements,
                                    const Request& request) const;
  std::vector<unsigned char> descriptorOf(const LibElement& element, const Request& request) const;

  Catalogue& m_catalogue;
  std::function<DriveView(int)> m_driveAt;
};

}  // namespace scsi

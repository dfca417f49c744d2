// The logical units of a library, and what precedes each command: the look at the catalogue.
#include "Target.h"

#include <iostream>
#include <mutex>

#include "Changer.h"
#include "Drive.h"

namespace scsi {

struct Target::Parts {
  explicit Parts(const std::string& library);

  LogicalUnit* unit(unsigned lun);
  void look();
  void perform(const Request& request);

  // A change of the catalogue may wait for another process, up to 30 s. For tapes that go on
  // meanwhile, give each logical unit a lock of its own, and one to the catalogue.
  std::mutex lock;
  Catalogue catalogue;
  std::unique_ptr<Changer> changer;
  std::vector<std::unique_ptr<Drive>> drives;
};

Target::Parts::Parts(const std::string& library) : catalogue(library) {
  constexpr int kChangerType = 8;
  std::map<int, SCSIUnitNoMap> byAddress;
  SCSIUnitNoMap robot;
  for (const SCSIUnitNoMap& device : catalogue.devices()) {
    if (device.ScsiDeviceType == kChangerType) {
      robot = device;
    } else if (device.DriveBaseAddress >= 0) {  // else it is not placed in the library
      byAddress[device.DriveBaseAddress] = device;
    }
  }
  for (const auto& [address, device] : byAddress) drives.push_back(std::make_unique<Drive>(device));
  changer = std::make_unique<Changer>(robot, catalogue, drives);
}

LogicalUnit* Target::Parts::unit(unsigned lun) {
  if (lun == 0) return changer.get();
  return lun <= drives.size() ? drives[lun - 1].get() : nullptr;
}

// Also what an operator's tool or another process changed is noticed here, before the command.
void Target::Parts::look() {
  const Catalogue::Change change = catalogue.refresh();
  if (change == Catalogue::Change::None) return;
  if (change == Catalogue::Change::Others) changer->attend(kMediumChanged);
  std::map<int, std::string> media;
  for (const LibElement& element : catalogue.elements()) {
    if (element.elementType == LIB_ELEM_DRIVE) media[element.elementAddress] = element.barCode;
  }
  for (const auto& drive : drives) drive->setMedium(media[drive->address()]);
}

void Target::Parts::perform(const Request& request) {
  LogicalUnit* const addressed = unit(request.command.lun);
  if (request.cdb[0] == 0xA0) {  // REPORT LUNS
    std::vector<unsigned char> bytes(8 + 8 * (1 + drives.size()));
    put(bytes, 0, 4, bytes.size() - 8);
    for (std::size_t lun = 0; lun <= drives.size(); ++lun) {
      put(bytes, 8 + 8 * lun, 2, lun < 256 ? lun : 0x4000 | lun);
    }
    request.reply(std::move(bytes), request.number(6, 4));
  } else if (addressed != nullptr) {
    if (request.cdb[0] != 0x12) look();  // INQUIRY works without the catalogue
    addressed->execute(request);
  } else if (request.cdb[0] == 0x12) {  // INQUIRY
    std::vector<unsigned char> bytes(36);
    bytes[0] = 0x7F;  // no device, and none of any type can be there
    request.reply(std::move(bytes), request.number(3, 2));
  } else {
    throw kNoSuchUnit;
  }
}

Target::Target(const std::string& library) : m_parts(std::make_unique<Parts>(library)) {
  try {
    m_parts->look();
  } catch (const Sense&) {
    throw std::runtime_error("library " + library + " cannot be read; see the log");
  }
}

Target::~Target() = default;

Result Target::execute(const Command& command) {
  const std::lock_guard<std::mutex> turn(m_parts->lock);
  Result result;
  try {
    m_parts->perform(Request(command, result));
  } catch (const Sense& sense) {
    result.status = sense.status;
    if (sense.status == Sense().status) result.sense = fixedFormat(sense);
  } catch (const std::exception& failure) {
    std::cerr << "command failed: " << failure.what() << '\n';
    result.status = kTargetFailure.status;
    result.sense = fixedFormat(kTargetFailure);
  }
  return result;
}

}  // namespace scsi

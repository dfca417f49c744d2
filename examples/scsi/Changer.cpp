// The commands of SMC-3 that hosts send to a medium changer.
#include "Changer.h"

#include <set>

namespace scsi {

namespace {

constexpr int kRobot = 1;  // the element type of the medium transport element
constexpr std::size_t kTagSize = 36;
constexpr int kElementTypes[] = {kRobot, LIB_ELEM_SLOT, LIB_ELEM_MAIL_SLOT, LIB_ELEM_DRIVE};

int addressIn(const Request& request, std::size_t at) {
  return static_cast<int>(request.number(at, 2));
}

}  // namespace

// An injected status is for the commands that use the robot or report on media. Were it for all,
// the commands by which a host finds the changer would use it up.
void Changer::perform(const Request& request) {
  static const std::set<int> injectable = {0x07, 0x37, 0xA5, 0xA6, 0xB8};
  if (injectable.count(request.cdb[0]) != 0) m_catalogue.throwInjectedStatus();
  static const std::map<int, void (Changer::*)(const Request&)> commands = {
      {0x00, &Changer::accept},  // TEST UNIT READY
      {0x07, &Changer::accept},  // INITIALIZE ELEMENT STATUS: always up to date
      {0x1A, &Changer::modeSense},
      {0x1E, &Changer::accept},  // PREVENT/ALLOW: the catalogue has no door
      {0x37, &Changer::initializeRange},
      {0x4D, &Changer::logSense},
      {0x5A, &Changer::modeSense},
      {0xA5, &Changer::moveMedium},
      {0xA6, &Changer::exchangeMedium},
      {0xB8, &Changer::readElementStatus},
  };
  dispatch(*this, request, commands);
}

void Changer::accept(const Request& /*request*/) {}

void Changer::initializeRange(const Request& request) {
  if (request.flag(1, 0x01)) m_catalogue.element(addressIn(request, 2));
}

void Changer::moveMedium(const Request& request) {
  requireRobot(request);
  if (request.flag(10, 0x01)) throw kInvalidField;  // media have one side
  requireUnlocked(addressIn(request, 4));
  m_catalogue.move(addressIn(request, 4), addressIn(request, 6));
}

void Changer::exchangeMedium(const Request& request) {
  requireRobot(request);
  if (request.flag(10, 0x03)) throw kInvalidField;
  requireUnlocked(addressIn(request, 4));
  requireUnlocked(addressIn(request, 6));
  m_catalogue.exchange(addressIn(request, 4), addressIn(request, 6), addressIn(request, 8));
}

/// First address and number of the elements of a type. The robot is not in the catalogue: it has
/// the lowest address that is free.
std::pair<int, int> Changer::rangeOf(int type) const {
  std::set<int> addresses;
  for (const LibElement& element : m_catalogue.elements()) {
    if (type == kRobot || element.elementType == type) addresses.insert(element.elementAddress);
  }
  int free = 0;
  while (addresses.count(free) != 0) ++free;
  if (type == kRobot) return {free, 1};
  return {addresses.empty() ? 0 : *addresses.begin(), static_cast<int>(addresses.size())};
}

/// Address 0 means the only robot.
void Changer::requireRobot(const Request& request) const {
  const int robot = addressIn(request, 2);
  if (robot != 0 && robot != rangeOf(kRobot).first) throw kInvalidAddress;
}

const Drive* Changer::driveIn(const LibElement& element) const {
  for (const auto& drive : m_drives) {
    if (drive->address() == element.elementAddress) return drive.get();
  }
  return nullptr;
}

void Changer::requireUnlocked(int address) const {
  const Drive* const drive = driveIn(m_catalogue.element(address));
  if (drive != nullptr && drive->isLocked()) throw kRemovalPrevented;
}

// Hosts take the elements' addresses from page 1D, so it must agree with READ ELEMENT STATUS.
void Changer::modeSense(const Request& request) {
  std::vector<unsigned char> assignment(18);
  std::size_t at = 0;
  for (const int type : kElementTypes) {
    const auto [first, count] = rangeOf(type);
    put(assignment, at, 2, first);
    put(assignment, at + 2, 2, count);
    at += 4;
  }
  constexpr unsigned char kAll = 0x0E;  // drives, import/export and storage elements
  std::vector<unsigned char> capabilities(18);
  capabilities[0] = kAll;  // store media
  // The robot moves media from each of them to each, and exchanges them in the same way
  for (const std::size_t i : {3U, 4U, 5U, 11U, 12U, 13U}) capabilities[i] = kAll;
  replyMode(request, {}, {{0x1D, assignment}, {0x1E, {0, 0}}, {0x1F, capabilities}});
}

void Changer::readElementStatus(const Request& request) {
  const int wanted = request.cdb[1] & 0x0F;
  if (wanted > LIB_ELEM_DRIVE) throw kInvalidField;
  std::map<int, LibElement> found;  // by address
  const auto add = [&](const LibElement& element) {
    const bool isWanted = wanted == 0 || wanted == element.elementType;
    if (isWanted && element.elementAddress >= addressIn(request, 2)) {
      found[element.elementAddress] = element;
    }
  };
  add({kRobot, rangeOf(kRobot).first, true, false, ""});
  for (const LibElement& element : m_catalogue.elements()) add(element);
  const auto most = static_cast<std::size_t>(request.number(4, 2));
  while (found.size() > most) found.erase(std::prev(found.end()));

  std::vector<unsigned char> bytes(8);
  put(bytes, 0, 2, found.empty() ? 0 : found.begin()->first);
  put(bytes, 2, 2, found.size());
  for (const int type : kElementTypes) {
    std::vector<LibElement> elements;
    for (const auto& [address, element] : found) {
      if (element.elementType == type) elements.push_back(element);
    }
    if (!elements.empty()) append(bytes, pageOf(elements, request));
  }
  put(bytes, 5, 3, bytes.size() - 8);
  request.reply(std::move(bytes), request.number(7, 3));
}

/// The elements of one type. All descriptors of a page must have the same length.
std::vector<unsigned char> Changer::pageOf(const std::vector<LibElement>& elements,
                                           const Request& request) const {
  std::vector<std::vector<unsigned char>> descriptors;
  std::size_t length = 0;
  for (const LibElement& element : elements) {
    descriptors.push_back(descriptorOf(element, request));
    length = std::max(length, descriptors.back().size());
  }
  std::vector<unsigned char> page(8);
  put(page, 0, 1, elements.front().elementType);
  page[1] = request.flag(1, 0x10) ? 0x80 : 0;  // with volume tags
  put(page, 2, 2, length);
  put(page, 5, 3, length * descriptors.size());
  for (auto& descriptor : descriptors) {
    descriptor.resize(length);
    append(page, descriptor);
  }
  return page;
}

std::vector<unsigned char> Changer::descriptorOf(const LibElement& element,
                                                 const Request& request) const {
  std::vector<unsigned char> bytes(12);
  put(bytes, 0, 2, element.elementAddress);
  // FULL; ACCESS, for the robot; import and export enabled
  bytes[2] = static_cast<unsigned char>((element.isOccupied ? 0x01 : 0) |
                                        (element.elementType == kRobot ? 0 : 0x08) |
                                        (element.elementType == LIB_ELEM_MAIL_SLOT ? 0x30 : 0));
  const int source = m_catalogue.sourceOf(element);
  if (source >= 0) {
    bytes[9] = 0x80;  // the source is valid
    put(bytes, 10, 2, source);
  }
  if (request.flag(1, 0x10)) {
    append(bytes, element.isOccupied ? padded(element.barCode, kTagSize - 4)
                                     : std::vector<unsigned char>(kTagSize - 4));
    bytes.resize(12 + kTagSize);  // four bytes are reserved
  }
  // As in page 83 of the drive's INQUIRY, by which hosts find its device
  const Drive* const drive = request.flag(6, 0x01) ? driveIn(element) : nullptr;
  const std::string name = drive == nullptr ? "" : drive->identity();
  append(bytes, {0, 0, 0, static_cast<unsigned char>(name.size())});
  if (drive != nullptr) put(bytes, bytes.size() - 4, 2, 0x0201);  // ASCII, begins with the vendor
  append(bytes, padded(name, name.size()));
  return bytes;
}

}  // namespace scsi

// When to ask the API again, what came of it, and the changes of a robot.
#include "Catalogue.h"

#include <algorithm>
#include <stdexcept>

#include "Sense.h"
#include "TqLibEmlFile.h"

namespace scsi {

namespace {

bool isSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_ctim.tv_sec == b.st_ctim.tv_sec && a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

bool isEqual(const LibElement& a, const LibElement& b) {
  return a.elementType == b.elementType && a.elementAddress == b.elementAddress &&
         a.isOccupied == b.isOccupied && a.barCode == b.barCode;
}

// A change that is not on the disk would be undone by a restart: the host must not rely on it.
void requireSaved(const TqLibEmulator& api, bool isDone) {
  if (!isDone) throw senseOf(api);
  if (!api.saveError().empty()) throw kTargetFailure;
}

}  // namespace

Catalogue::Catalogue(const std::string& library) : m_library(library) {
  if (TqLibEmlFile::GetTQLibEMLXMLDir(m_path) != 1) {
    throw std::runtime_error("no catalogue directory; see the log");
  }
  m_path += "Lib_" + library + ".xml";
}

std::vector<SCSIUnitNoMap> Catalogue::devices() const {
  std::vector<SCSIUnitNoMap> devices;
  if (!TqLibEmulator().GetVirtualDeviceInfo("", devices, m_library) || devices.empty()) {
    throw std::runtime_error("library " + m_library + " cannot be read; see the log");
  }
  return devices;
}

// The stamp is taken before the file is read: a change in between leads to one more read.
Catalogue::Change Catalogue::refresh() {
  struct stat now {};
  if (stat(m_path.c_str(), &now) != 0) throw kTargetFailure;
  if (isSame(now, m_read)) return Change::None;
  TqLibEmulator api;
  std::vector<LibElement> elements;
  if (!api.GetVirtualLibraryElements(m_library, elements)) throw senseOf(api);
  const auto isHidden = [](const LibElement& element) {
    return element.elementType == LIB_ELEM_SHELF || element.elementAddress < 0 ||
           element.elementAddress > 0xFFFF;
  };
  elements.erase(std::remove_if(elements.begin(), elements.end(), isHidden), elements.end());
  const bool isExpected =
      std::equal(elements.begin(), elements.end(), m_elements.begin(), m_elements.end(), isEqual);
  m_elements.swap(elements);
  remember(elements);
  m_read = now;
  return isExpected ? Change::Ours : Change::Others;
}

const LibElement& Catalogue::element(int address) const {
  for (const LibElement& element : m_elements) {
    if (element.elementAddress == address) return element;
  }
  throw kInvalidAddress;
}

int Catalogue::sourceOf(const LibElement& element) const {
  const auto found = m_sources.find(element.barCode);
  return !element.isOccupied || found == m_sources.end() ? -1 : found->second;
}

void Catalogue::move(int from, int to) {
  const LibElement source = element(from);
  TqLibEmulator api;
  const bool isDone = api.MoveVirtualLibraryElement(m_library, source.elementType, from,
                                                    element(to).elementType, to);
  requireSaved(api, isDone);
  const std::vector<LibElement> before = m_elements;
  put(from, "");
  put(to, source.barCode);
  remember(before);
}

// The API has no exchange, and a move needs an empty place. All elements are set in one save, so no
// crash leaves a medium in two places or in none.
void Catalogue::exchange(int from, int to, int onward) {
  const std::vector<LibElement> before = m_elements;
  const std::string barCode = element(from).barCode;
  const std::string other = element(to).barCode;
  if (barCode.empty() || other.empty()) throw kSourceEmpty;
  if (to == from || to == onward || (onward != from && element(onward).isOccupied))
    throw kDestinationFull;
  put(from, "");
  put(to, barCode);
  put(onward, other);
  try {
    TqLibEmulator api;
    const bool isDone = api.ChangeCatalogue([&] {
      struct stat now {};
      // Somebody moved media since we looked. The host repeats the command.
      if (stat(m_path.c_str(), &now) != 0 || !isSame(now, m_read)) throw kMediumChanged;
      const std::vector<LibElement> changed = {element(from), element(to), element(onward)};
      return api.SetVirtualLibraryElement(m_library, changed, false);
    });
    requireSaved(api, isDone);
  } catch (...) {
    m_elements = before;
    throw;
  }
  remember(before);
}

// Without one, the answer costs a read of the file; that is not repeated until the file changes.
void Catalogue::throwInjectedStatus() {
  if (isSame(m_withoutStatus, m_read)) return;
  TqLibEmulator api;
  int status = 0;
  int asc = 0;
  int ascq = 0;
  if (!api.GetVirtualDeviceStatus(m_library, status, asc, ascq, false)) throw senseOf(api);
  if (status == 0) {
    m_withoutStatus = m_read;
    return;
  }
  Sense sense = senseOf(asc, ascq);
  sense.status = status;
  throw sense;
}

void Catalogue::put(int address, const std::string& barCode) {
  for (LibElement& element : m_elements) {
    if (element.elementAddress != address) continue;
    element.isOccupied = !barCode.empty();
    element.barCode = barCode;
  }
}

// Works for the robot's moves and for those of others alike: a medium that is elsewhere now came
// from the slot that it was in.
void Catalogue::remember(const std::vector<LibElement>& before) {
  std::map<std::string, int> places;
  for (const LibElement& element : m_elements) {
    if (element.isOccupied) places[element.barCode] = element.elementAddress;
  }
  for (const LibElement& element : before) {
    if (element.barCode.empty()) continue;  // nothing to know a medium by
    const auto place = places.find(element.barCode);
    if (place == places.end()) {
      m_sources.erase(element.barCode);  // it left the library
    } else if (element.elementType != LIB_ELEM_DRIVE && place->second != element.elementAddress) {
      m_sources[element.barCode] = element.elementAddress;
    }
  }
}

}  // namespace scsi

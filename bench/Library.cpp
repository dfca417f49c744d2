// Creates the library with the API, keeps the files, and restores them with hard links.

#include "Library.h"

#include <filesystem>

#include "Comparison.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr int kFirstSlot = 1000;
constexpr int kStatusSeconds = 1000000;
constexpr int kStatusReads = 1000000;

std::string barCode(int number) {
  std::string text = std::to_string(1000000 + number);
  text.front() = 'A';
  return text;
}

void linkAnew(const std::string& from, const std::string& to) {
  fs::remove(to);
  fs::create_hard_link(from, to);
}

}  // namespace

// The kept files are outside the catalogue directory, because each save lists that directory.
Library::File::File(const Place& place, const std::string& name, const std::string& firstName)
    : path(place.folder() + "/LibEmulator/" + name),
      first(place.folder() + "/first/" + firstName),
      copy(place.folder() + "/bare/" + firstName) {
  fs::create_directories(place.folder() + "/first");
  fs::create_directories(place.folder() + "/bare");
}

void Library::File::keep() const {
  linkAnew(path, first);
}

void Library::File::restore() const {
  linkAnew(first, path);
  linkAnew(first, copy);
}

Library::Library(const Place& place, int elements, const std::string& use)
    : m_key(("LIB" + use).append(std::to_string(elements))),
      m_builder(m_key),
      m_file(place, "Lib_" + m_key + ".xml", m_key + ".xml"),
      m_list(place, "LibraryList.xml", m_key + ".list.xml") {
  m_builder.slots(kFirstSlot, elements - kDrives).drives(kFirstDrive, kDrives);
  for (int i = 0; i < elements - kDrives; ++i) {
    m_slots.push_back({LIB_ELEM_SLOT, kFirstSlot + i, true, true, barCode(i)});
  }
  if (!fs::exists(m_file.first)) {
    make();
  }
  restore();
}

// The list is removed first: it must hold only this library, because some calls load all listed
// libraries.
void Library::make() {
  const LibElement loaded{LIB_ELEM_DRIVE, address(1), true, true, barCode(elements())};
  fs::remove(m_list.path);
  m_builder.build();
  require(m_catalogue.SetVirtualLibraryElement(m_key, m_slots, false) &&
              m_catalogue.SetVirtualLibraryElement(m_key, loaded, false) &&
              m_catalogue.SetVirtualDeviceStatus(m_key, 2, 4, 1, kStatusSeconds, kStatusReads),
          "making " + m_key);
  m_file.keep();
  m_list.keep();
}

void Library::restore() const {
  m_file.restore();
  m_list.restore();
}

void Library::requireChange() const {
  require(!fs::equivalent(m_file.path, m_file.first), "saving " + m_key);
}

}  // namespace bench

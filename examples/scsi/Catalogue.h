// A library as the robot last saw it. The API parses the library's file on each call, which is far
// too slow for each tape block. So ask again only if the file was replaced, by whom ever: the API
// saves by renaming a new file over the old one.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>
#include <vector>

#include "TqLibEmulator.h"

namespace scsi {

class Catalogue {
public:
  enum class Change { None, Ours, Others };

  explicit Catalogue(const std::string& library);

  /// Looks whether the file was replaced, and then asks again. Throws Sense when the library cannot
  /// be read; the next call tries again.
  Change refresh();

  /// The changer and the drives of the library, in the order of the file.
  std::vector<SCSIUnitNoMap> devices() const;

  /// Drives, slots and import/export slots; shelves are no elements of SCSI.
  const std::vector<LibElement>& elements() const { return m_elements; }

  /// Throws kInvalidAddress.
  const LibElement& element(int address) const;

  /// The slot that the medium in an element was in before; -1 if unknown.
  int sourceOf(const LibElement& element) const;

  /// Both throw Sense; nothing was changed then.
  void move(int from, int to);
  /// The medium of `from` goes to `to`, and the one of `to` to `onward`, which may be `from`.
  void exchange(int from, int to, int onward);

  /// Throws the status that was injected into the library, if any; it counts as reported.
  void throwInjectedStatus();

private:
  void put(int address, const std::string& barCode);
  void remember(const std::vector<LibElement>& before);

  std::string m_library;
  std::string m_path;
  struct stat m_read {};                 ///< the file that `m_elements` came from
  struct stat m_withoutStatus {};        ///< a file that has no injected status
  std::vector<LibElement> m_elements;    ///< with our own moves since
  std::map<std::string, int> m_sources;  ///< slots by barcode
};

}  // namespace scsi

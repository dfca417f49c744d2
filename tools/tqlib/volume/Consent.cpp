// With a catalogue that cannot be read, a volume can still be changed, but not unasked.
#include "volume/Consent.h"

#include "base/Command.h"
#include "catalogue/Elements.h"
#include "catalogue/VolumeFiles.h"

namespace fs = std::filesystem;

Medium mediumOf(const std::set<std::string>& volumes, bool isConsentGiven) {
  Medium medium;
  if (isConsentGiven) return medium;
  try {
    std::vector<std::string> unread;
    for (const auto& [library, element] : placesOf(volumes, "", &unread)) {
      medium.isListed = true;
      if (element.elementType != LIB_ELEM_DRIVE) continue;
      medium.risk = fmt::format("it is in {} of library {}", elementName(element), library);
    }
    if (medium.risk.empty() && !unread.empty()) {
      medium.risk = "it may be in a drive of a library that cannot be read: " + unread.front();
    }
  } catch (const Failure& failure) {
    medium.risk = fmt::format("it may be in a drive: {}", failure.what());
  }
  return medium;
}

std::string dataText(const fs::path& folder, std::optional<int> mark) {
  std::size_t marks = 0;
  std::uintmax_t bytes = 0;
  for (const std::string& name : namesIn(folder)) {
    const auto number = markNumber(name);
    if (mark && number != mark) continue;
    std::error_code failure;
    const auto size = fs::file_size(folder / name, failure);
    bytes += failure ? 0 : size;
    marks += number ? 1 : 0;
  }
  if (bytes == 0) return "";
  return fmt::format(" ({}, {})", counted(marks, "filemark"), counted(bytes, "byte"));
}

void requireVolumeConsent(bool isGiven, const std::string& deed, bool destroys,
                          const Medium& medium) {
  if (!destroys && medium.risk.empty()) return;
  requireConsent(isGiven, medium.risk.empty() ? deed : deed + "; " + medium.risk);
}

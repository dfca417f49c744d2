// The listing of a volume's folder, as erasing and measuring walk it.
#pragma once

#include <string>

#include "TqLibEmulator.h"
#include "TqPlatform/NuUtils.h"

namespace volume {

/// Opens the listing of everything in `folder`.
inline CNuError openListing(CNuDirectory& listing, const std::string& folder) {
  return listing.Open(folder.c_str(), "*", true);
}

/// Calls `visit` with the name of each entry that is left, and closes the listing. `visit` returns
/// a CNuError; its first error, or one of the listing, ends the walk and is the result.
template <typename Visit>
CNuError visitEntries(CNuDirectory& listing, Visit visit) {
  CNuError error;
  for (bool end = false; !end && !error.IsError();) {
    SNuDirEntry entry;
    error = listing.GetEntry(&entry, end);
    if (!end && !error.IsError()) {
      error = visit(entry.name);
    }
  }
  listing.Close();
  return error;
}

/// Calls `visit` as above, with the path of each entry and its stat record.
template <typename Visit>
CNuError visitRecords(CNuDirectory& listing, const std::string& folder, Visit visit) {
  return visitEntries(listing, [&](const std::string& name) {
    const std::string path = folder + "/" + name;
    struct stat record {};
    const CNuError error = CNuUTFOSAPI::stat(path.c_str(), &record);
    if (!error.IsError()) {
      visit(path, record);
    }
    return error;
  });
}

/// Logs that the operation `name` of a volume could not read its folder.
inline void logAccessFailure(const std::string& name, const std::string& folder,
                             const CNuError& error) {
  const std::string origin = "TqLibEmlFile::" + name;
  const std::string text =
      name + "() failed to access directory " + folder + ", error: " + error.AsString();
  EvDebug::Error(debugHandler, origin.c_str(), "%s", text.c_str());
}

}  // namespace volume

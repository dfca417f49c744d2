// The way to what lies in a volume's folder. A folder that is there, as in all calls but
// a volume's first, costs nothing: what is wanted is opened at once, and the folder is looked for
// when that fails.
#pragma once

#include <cerrno>
#include <optional>
#include <string>

#include "TqLibEmlFile.h"

namespace volume {

/// What to append to a folder's path for that of a file mark in it, such as "/00000001".
std::string fileMarkName(int fileMark);

/// Logs that the operation `name` of a volume could not read its folder.
void logAccessFailure(const std::string& name, const std::string& folder, int error);

}  // namespace volume

/// Calls `open`, which returns 0 or an errno value, on something in `folder`, as nameFolder() gave
/// it. The result is that of `open`; none when it failed and the folder could then not be made or
/// looked for.
///
/// What opens shows that each folder on its path is there, so looking for them first would have
/// found them and made none. Any failure is followed by that look, and by another try only where
/// nothing was found: then something on the path was missing, and the folder may be new. Other
/// errors cannot come of a folder that this makes, and stand.
template <typename Open>
std::optional<int> TqLibEmlFile::openIn(const std::string& folder, Open open) {
  const int error = open();
  if (error != 0) {
    std::string made = folder;
    if (!makeFolder(made)) {
      return std::nullopt;
    }
  }
  return error == ENOENT ? open() : error;
}

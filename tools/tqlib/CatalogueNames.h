// The names in the catalogue that the tool itself spells.
#pragma once

#include <cstddef>
#include <string>

namespace names {

inline constexpr char kLibraryList[] = "LibraryList.xml";
inline constexpr char kLibraryPrefix[] = "Lib_";
inline constexpr char kFileSuffix[] = ".xml";
inline constexpr char kDrivePrefix[] = "Drive_";
inline constexpr std::size_t kPrefixLength = sizeof kLibraryPrefix - 1;
inline constexpr std::size_t kSuffixLength = sizeof kFileSuffix - 1;
inline constexpr char kPending[] = ".tqlib-pending";  // a save that is half done
inline constexpr char kAsidePrefix[] = ".tqlib-";     // a file that is to take another's place
inline constexpr char kAsideSuffix[] = ".new";
inline constexpr char kBeforeFix[] = ".before-fix-";  // between a file and the time of its copy
inline constexpr char kStandIn[] = "Lib_.tqlib-stand-in-";  // then a process, then kFileSuffix

/// The name of the file of a library.
inline std::string fileOf(const std::string& key) {
  return kLibraryPrefix + key + kFileSuffix;
}

// Elements and attributes
inline constexpr char kLibrary[] = "Library";  // also the entries of the library list
inline constexpr char kDrive[] = "Drive";
inline constexpr char kLibraryUnit[] = "LibraryScsiUnit";
inline constexpr char kDriveUnit[] = "DriveScsiUnit";
inline constexpr char kBarCode[] = "BarCode";
inline constexpr char kId[] = "Id";
inline constexpr char kName[] = "Name";
inline constexpr char kHost[] = "MAName";

}  // namespace names

// The names that the tool itself gives.
#pragma once

namespace names {

inline constexpr char kBeforeFix[] = ".before-fix-";  // between a file and the time of its copy
inline constexpr char kStandIn[] = "Lib_.tqlib-stand-in-";  // then a process, then fileSuffix

}  // namespace names

// The last-error codes of the catalogue.
#pragma once

namespace codes {

inline constexpr int destinationOccupied = 40006;
inline constexpr int sourceEmpty = 40018;
inline constexpr int unitUnreadable = 50001;
inline constexpr int driveAddressMissing = 50002;
inline constexpr int deviceUnreadable = 50003;
inline constexpr int libraryValuesUnreadable = 50004;
inline constexpr int cannotParse = 50005;
inline constexpr int noParser = 50006;
inline constexpr int noXmlFile = 50007;
inline constexpr int libraryNode = 50008;
inline constexpr int elementNotFound = 50009;

}  // namespace codes

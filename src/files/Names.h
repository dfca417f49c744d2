// All element, attribute and file names of the catalogue, and the fixed values in its files.
#pragma once

#include <string>

#include <xercesc/util/XercesDefs.hpp>

namespace names {

// Elements of a library file
inline constexpr XMLCh devices[] = u"Devices";
inline constexpr XMLCh library[] = u"Library";  // also the entries of the library list
inline constexpr XMLCh slotCount[] = u"SlotCount";
inline constexpr XMLCh slotBaseAddress[] = u"SlotBaseAddress";
inline constexpr XMLCh iePortCount[] = u"IEPortCount";
inline constexpr XMLCh iePortBaseAddress[] = u"IEPortBaseAddress";
inline constexpr XMLCh driveCount[] = u"DriveCount";
inline constexpr XMLCh driveBaseAddress[] = u"DriveBaseAddress";
inline constexpr XMLCh libraryScsiDevice[] = u"LibraryScsiDevice";
inline constexpr XMLCh libraryScsiUnit[] = u"LibraryScsiUnit";
inline constexpr XMLCh drive[] = u"Drive";
inline constexpr XMLCh driveScsiDevice[] = u"DriveScsiDevice";
inline constexpr XMLCh driveScsiUnit[] = u"DriveScsiUnit";
inline constexpr XMLCh slots[] = u"Slots";  // one slot each, despite the plural
inline constexpr XMLCh shelf[] = u"Shelf";
inline constexpr XMLCh baseAddress[] = u"BaseAddress";
inline constexpr XMLCh barCode[] = u"BarCode";

// Unit block
inline constexpr XMLCh scsiPort[] = u"ScsiPort";
inline constexpr XMLCh accessPath[] = u"AccessPath";
inline constexpr XMLCh bus[] = u"Bus";
inline constexpr XMLCh target[] = u"Target";
inline constexpr XMLCh lun[] = u"Lun";

// Device block
inline constexpr XMLCh model[] = u"Model";
inline constexpr XMLCh manufacturer[] = u"Manufacturer";
inline constexpr XMLCh serialNumber[] = u"SerialNumber";
inline constexpr XMLCh firmwareRevision[] = u"FirmwareRevision";
inline constexpr XMLCh scsiDeviceType[] = u"ScsiDeviceType";

// Device status
inline constexpr XMLCh scsiStatus[] = u"ScsiStatus";
inline constexpr XMLCh status[] = u"Status";
inline constexpr XMLCh asc[] = u"ASC";
inline constexpr XMLCh ascq[] = u"ASCQ";

// Attributes
inline constexpr XMLCh name[] = u"Name";
inline constexpr XMLCh isOccupied[] = u"IsOccupied";
inline constexpr XMLCh isMailSlot[] = u"IsMailSlot";
inline constexpr XMLCh maName[] = u"MAName";
inline constexpr XMLCh id[] = u"Id";
inline constexpr XMLCh count[] = u"Count";
inline constexpr XMLCh expireTime[] = u"ExpireTime";

// The library list
inline constexpr XMLCh libraryList[] = u"LibraryList";
inline constexpr char listFile[] = "LibraryList.xml";

// Files and name prefixes
inline constexpr char libraryPrefix[] = "Lib_";
inline constexpr char fileSuffix[] = ".xml";
inline constexpr char drivePrefix[] = "Drive_";
inline constexpr char slotPrefix[] = "Slot_";
inline constexpr char shelfPrefix[] = "Shelf_";

// Files that hold no content of the catalogue
inline constexpr char lockFile[] = ".tqlib-lock";        // on a file system not known to be local
inline constexpr char journalFile[] = ".tqlib-pending";  // of a save of two files
inline constexpr char temporaryPrefix[] = ".tqlib-";     // a new file before it is renamed
inline constexpr char temporarySuffix[] = ".new";
inline constexpr char temporaryFirstSuffix[] = "-first.new";  // must not replace another file

/// The name of the file of a library.
inline std::string fileOf(const std::string& key) {
  return libraryPrefix + key + fileSuffix;
}

/// The key of the library whose file has that name; empty for any other name.
inline std::string keyOf(const std::string& file) {
  constexpr std::size_t kPrefix = sizeof libraryPrefix - 1;
  constexpr std::size_t kAround = kPrefix + sizeof fileSuffix - 1;
  const bool isLibrary = file.size() > kAround && file.starts_with(libraryPrefix) &&
                         file.ends_with(fileSuffix) && file.find('/') == std::string::npos;
  return isLibrary ? file.substr(kPrefix, file.size() - kAround) : "";
}

/// Whether a file of this name, without its directory, is a temporary one.
inline bool isTemporary(const std::string& file) {
  return file.starts_with(temporaryPrefix) && file.ends_with(temporarySuffix) &&
         file.find('/') == std::string::npos;
}

// The key of the file that holds drives without a library
inline constexpr char standaloneKey[] = "Library1";
// The file in the working directory from which a removal without a library removes devices
inline constexpr char standaloneFile[] = "Library1.xml";

inline constexpr XMLCh trueText[] = u"true";
inline constexpr XMLCh falseText[] = u"false";

// The address of a drive that has not yet received one from the library's drive identifier map
inline constexpr XMLCh unplacedAddress[] = u"-999999";

}  // namespace names

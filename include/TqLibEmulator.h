/// @file
/// The catalogue of virtual tape libraries: their identity, drives, slots, shelves and media, kept
/// in one XML file for each library.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "TqPlatform/MMDebug.h"
#include "TqPlatform/MMError.h"

#ifndef TQLIB_API
#define TQLIB_API __attribute__((visibility("default")))
#endif

class TqCriticalSectionH;

// ---------------------------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------------------------

/// What the two device records share: one device, a library or a drive, as one host sees it.
///
/// The initial values are those of a cleared record. "Library" marks what only a library's record
/// carries. The fields named DeviceText and DeviceInteger belong to callers: the catalogue clears
/// and copies them, and neither fills nor reads them.
struct TQLIB_API SCSIUnitFields {
  std::string MAName;            ///< the host that sees the device
  std::string Manufacturer;      ///< vendor, as an inquiry reports it
  std::string Model;             ///< product, as an inquiry reports it
  std::string FirmwareRevision;  ///< product revision, as an inquiry reports it
  std::string DeviceText1;       ///< the caller's
  std::string DeviceText2;       ///< the caller's
  std::string DeviceText3;       ///< the caller's
  std::string SerialNumber;      ///< names the device; a library's is the key of its file
  std::string DeviceText4;       ///< the caller's
  int ScsiDeviceType = -1;       ///< SCSI peripheral device type; 8, a medium changer, is a library
  std::string AccessPath;        ///< the device's path on the host
  std::string ScsiPort;          ///< the host's port that leads to the device
  int Bus = -1;                  ///< SCSI bus number; -1: not given
  int Target = -1;               ///< SCSI target number; -1: not given
  int Lun = -1;                  ///< SCSI logical unit number; -1: not given
  int DriveCount = 0;            ///< library: drives
  int DriveBaseAddress = -1;     ///< library: address of drive 1; drive: its own element address
  int SlotCount = 0;             ///< library: storage slots
  int SlotBaseAddress = -1;      ///< library: address of the first storage slot
  int IEPortCount = 0;           ///< library: import/export slots
  int IEPortBaseAddress = -1;    ///< library: address of the first import/export slot
  int DeviceInteger1 = 1;        ///< the caller's
  int DeviceInteger2 = 0;        ///< the caller's
};

/// A device with its drive identifier map, as the catalogue holds it in memory.
struct TQLIB_API SCSIUnit : SCSIUnitFields {
  // Not defaulted, so that this is no aggregate: in braces, a SCSIUnitNoMap would else initialise
  // the base alone and lose its map.
  SCSIUnit() {}

  std::map<int, std::string> DriveIdentifierMap;  ///< library: drive number to serial number
};

/// A device as callers hand it over and get it: the drive identifier map is flattened to text.
///
/// The text is "Map|", the number of entries, "|", then for each entry in ascending order its
/// number, "|", the serial number, "|", and "EOM" at the end. Serial numbers are not escaped: one
/// that holds "|" corrupts the text.
struct TQLIB_API SCSIUnitNoMap : SCSIUnitFields {
  std::string DriveIdentifierMap;  ///< library: drive number to serial number, as text

  SCSIUnitNoMap() = default;

  /// The record with its map flattened.
  SCSIUnitNoMap(const SCSIUnit& unit);
  /// Takes the record over, with its map flattened.
  SCSIUnitNoMap& operator=(const SCSIUnit& unit);

  /// The record with the map read from the text. Never fails: a text that does not begin with
  /// "Map|", or has a negative count, gives an empty map; one with fewer fields than its count
  /// says gives garbage entries, in time bounded by its length; a missing "EOM" is ignored.
  operator SCSIUnit() const;
};

/// Element types. 2 to 4 are the codes of the SCSI media changer; 5 is the catalogue's own.
enum LibElemType : int {
  LIB_ELEM_SLOT = 2,       ///< storage slot
  LIB_ELEM_MAIL_SLOT = 3,  ///< import/export slot
  LIB_ELEM_DRIVE = 4,      ///< data transfer element
  LIB_ELEM_SHELF = 5       ///< a place outside the library
};

/// One element of a library. The initial values are those of a cleared record.
struct TQLIB_API LibElement {
  int elementType = -1;     ///< a code of LibElemType
  int elementAddress = -1;  ///< element address
  bool isValid = false;     ///< set by queries; changes ignore it
  bool isOccupied = false;  ///< whether a medium is in the element
  std::string barCode;      ///< of the medium in the element; empty when not occupied
};

/// Element nodes of a loaded document by element address. The document owns the nodes.
using ElementMap = std::map<int, xercesc::DOMNode*>;

// ---------------------------------------------------------------------------------------------
// Lock and globals
// ---------------------------------------------------------------------------------------------

/// A recursive lock of the process.
class TQLIB_API TqCriticalSection {
public:
  /// Throws a `const char*`, "Not enough memory to initialize TqCriticalSection", when there is no
  /// memory for it.
  TqCriticalSection();
  ~TqCriticalSection();
  TqCriticalSection(const TqCriticalSection&) = delete;
  TqCriticalSection& operator=(const TqCriticalSection&) = delete;

  /// Acquires the lock; with `wait` true, blocks until it is acquired.
  void enter(bool wait);
  /// Releases one acquisition of the calling thread.
  void leave();

private:
  TqCriticalSectionH* m_pHandle;  // owned
};

/// Holds a TqCriticalSection as long as it lives. A null pointer locks nothing.
class TQLIB_API TqCriticalSectionLock {
public:
  /// Acquires `section`, and waits for it; it has to outlive this object.
  explicit TqCriticalSectionLock(TqCriticalSection* section);
  /// Never throws.
  ~TqCriticalSectionLock();
  TqCriticalSectionLock(const TqCriticalSectionLock&) = delete;
  TqCriticalSectionLock& operator=(const TqCriticalSectionLock&) = delete;

private:
  TqCriticalSection* m_pSection;  // borrowed, may be null
};

/// The handle of this library in the host's log.
extern TQLIB_API MMDebug debugHandler;

/// The one catalogue lock of the process. Callers may take it to make several calls one step.
extern TQLIB_API TqCriticalSection gCriticalSection;

// ---------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------

/// XML text as UTF-8; empty for null.
TQLIB_API std::string MyTranscode(const XMLCh* text);

/// UTF-8 as wide text. Throws std::range_error when `text` is not UTF-8.
TQLIB_API std::wstring MyTranscode(const char* text);

/// Wide text as XML text of at most 1023 units, in a buffer of the function: valid until its next
/// call. Each of the two has a buffer of its own, so that two texts can be used at once. Hold
/// gCriticalSection.
TQLIB_API const XMLCh* GetConstXMLCh(const wchar_t* text);
/// Does what GetConstXMLCh() does, in its own buffer.
TQLIB_API const XMLCh* GetConstXMLCh1(const wchar_t* text);

/// Writes `value` in decimal into `buffer` (21 bytes suffice for any value) and returns `buffer`.
/// `radix` is ignored: callers that pass 16 have always been given decimal.
TQLIB_API char* itoa(long value, char* buffer, int radix);

// ---------------------------------------------------------------------------------------------
// The catalogue
// ---------------------------------------------------------------------------------------------

/// The catalogue of virtual libraries.
///
/// It lives in one directory (see TqLibEmlFile::GetTQLibEMLXMLDir()): a file "Lib_<key>.xml" for
/// each library, whose key is its serial number, and "LibraryList.xml", which lists them. A public
/// operation reads the one file it needs, does its work on it, writes it back when it changed it,
/// and lets go of it. Nothing of it is kept between calls.
///
/// A saved file replaces the old one as a whole, after it was written to the disk; so do the two
/// files of an operation that changes library and list. The exception is a folder that admits no
/// new file: there the old one is overwritten. If a save fails, the old files stay and the failure
/// is logged. The return value does not show it; see saveError().
///
/// Processes: an operation that changes something holds an advisory lock (flock) on the directory
/// from before it looks at a file until it returns; on a file system that is not known to be local,
/// also on the file ".tqlib-lock" in it. If it does not get the lock within 30 s it returns false,
/// with the reason in the last-error text and the log, and changes nothing. The library does not
/// hold gCriticalSection while it waits. Queries need no lock, nor does a status read that changes
/// nothing. If locking is not supported, operations go on without it, which is logged once.
///
/// Names: a library name that is not one path component (it holds "/" or a zero byte, is "." or
/// "..", or gives a file name of more than 255 bytes) is refused before anything is touched, with
/// text. Text is UTF-8; text that XML 1.0 cannot carry makes an operation fail before anything is
/// written.
///
/// Errors: an operation that fails returns false; the reason is in the log and, where the
/// operation says so, in the last-error code (getErrorCode()) and text (getLastError()), which
/// keep their values until the next failure. Any operation may set 50005, a file cannot be parsed;
/// the codes of its own stand at each operation, and all of them in docs/errors.md.
///
/// Threads: any number of objects on any threads, and one object may be shared: every public
/// operation holds gCriticalSection while it works. The last error of a shared object is that of
/// whoever failed last. pthread_cancel() takes effect after a call has returned.
///
/// Limits: 200,000 storage slots and 200,000 import/export slots in a new library; 100 levels and
/// 1,000 names of elements in a file. An operation beyond them fails with text.
///
/// Memory: a library of 50,000 slots takes 150 to 170 MB during a call (docs/performance.md). Up to
/// 256 MiB of what large libraries took stay with the process for the next call, marked (MADV_FREE)
/// for the system to take back when it is short of memory.
class TQLIB_API TqLibEmulator : public MMS2BaseError {
public:
  TqLibEmulator();
  ~TqLibEmulator() override;
  TqLibEmulator(const TqLibEmulator&) = delete;
  TqLibEmulator& operator=(const TqLibEmulator&) = delete;

  /// Creates or updates one device.
  ///
  /// A library (ScsiDeviceType 8) is kept under its serial number: when it has no file, the file is
  /// made with all its slots and entered in the list; otherwise its values, its unit for the host
  /// MAName and the addresses of the drives in the record's map are updated. A drive is added to or
  /// updated in the library `libraryName`, whose file must exist; with `libraryName` empty,
  /// directly under the root of the file of the key "Library1", which must exist too.
  ///
  /// Returns true also when the update of an existing library or drive failed, for instance because
  /// its file holds two libraries: the file is then unchanged. Returns false when the file's path
  /// cannot be had, a drive's file cannot be loaded, a new library cannot be built (one of more
  /// than 200,000 slots is refused) or listed, or a text cannot be stored; nothing is saved then.
  bool UpdateVirtualDevice(const SCSIUnitNoMap& device, const std::string& libraryName);

  /// Creates or updates a library and its drives in one step.
  ///
  /// When `libraryName` has no file, the first record must be the library. At the end the library
  /// is updated once more, which gives the drives in its map their addresses. With `libraryName`
  /// empty, the last library of the batch is handled as a single record and drives are ignored.
  ///
  /// Returns true also when single updates failed: what the others changed is saved; with a library
  /// among the records the file is written in any case, with what a failed update had changed up to
  /// its failure. Returns true,
  /// with nothing saved, when a new library did not come to exist because the first record was a
  /// drive or the list cannot be read. Returns false, with nothing saved, when a path cannot be
  /// had, the file cannot be loaded, or the library cannot be built.
  ///
  /// Throws what derives from std::exception when a text cannot be stored, or, with `libraryName`
  /// empty, returns false then; nothing is saved.
  bool UpdateVirtualDevice(const std::vector<SCSIUnitNoMap>& devices,
                           const std::string& libraryName);

  /// Appends every element of a library to `elements`: all drives, then all slots, then all
  /// shelves, each in the order of the file. What `elements` held stays.
  ///
  /// Returns false, with text, when the file cannot be loaded, has no root (50007), does not hold
  /// exactly one library, or holds another one (50008). What was appended before stays.
  bool GetVirtualLibraryElements(const std::string& libraryName, std::vector<LibElement>& elements);

  /// Sets one element: occupancy and barcode of the element of this type and address. A slot or
  /// shelf that does not exist is created; with `remove` true, it is deleted, and one that does not
  /// exist is no failure. Drives are neither created nor deleted here.
  ///
  /// Returns false when the library's file is missing or cannot be loaded, the type is unknown, a
  /// drive is not found or is to be removed, or a text cannot be stored; the file is unchanged.
  bool SetVirtualLibraryElement(const std::string& libraryName, const LibElement& element,
                                bool remove);

  /// Sets or removes many elements in one step, in the order given, reading and writing the file
  /// once. It differs from the single form in that a drive that does not exist or is to be removed
  /// is skipped, and that slots are found by address alone, import/export or not. Two records for
  /// the same new address create two elements.
  ///
  /// Returns false at the first record that fails; the file is then unchanged.
  bool SetVirtualLibraryElement(const std::string& libraryName,
                                const std::vector<LibElement>& elements, bool remove);

  /// Moves the medium of one element to another one.
  ///
  /// Returns false, with text, when the source is empty (40018), the destination is occupied
  /// (40006), an element is not found (50009), or the library is missing or another one (50008,
  /// logged only); false without a code when barcode and occupancy disagree. The file is then
  /// unchanged.
  bool MoveVirtualLibraryElement(const std::string& libraryName, int sourceType, int sourceAddress,
                                 int destinationType, int destinationAddress);

  /// Appends the devices that a host sees to `devices`: for each library in the order of the list,
  /// the drives configured for the host `maName` in the order of the file, then the library itself,
  /// when it is configured for the host, with the map of all its drives, whoever sees them. An
  /// empty name stands for any host. What `devices` held stays.
  ///
  /// Returns true, with nothing appended, when there is no library list; a file that does not hold
  /// exactly one library is passed over, with text. Returns false, with text, when the list cannot
  /// be parsed (50005), there is no memory for a parser (50006), a listed library cannot be loaded,
  /// or a record cannot be read (50001 to 50004); what was appended before stays.
  bool GetVirtualDeviceInfo(const std::string& maName, std::vector<SCSIUnitNoMap>& devices);

  /// The same for one library, listed or not.
  bool GetVirtualDeviceInfo(const std::string& maName, std::vector<SCSIUnitNoMap>& devices,
                            const std::string& libraryId);

  /// Removes a host's unit, a drive or a library, named by its serial number, from the library
  /// `libraryId`; with `libraryId` empty, from the file "Library1.xml" in the working directory.
  ///
  /// With `maName` empty the whole device goes. A library leaves the list, and its file stays, with
  /// neither library nor shelves, and has to be deleted before a library of that serial number can
  /// be made again. Otherwise only the unit of that host goes; with its last unit the whole drive
  /// or library element goes too, but the list keeps its entry. A host that has no unit is no
  /// failure.
  ///
  /// Returns false, with nothing saved, when the file cannot be loaded, does not hold exactly one
  /// library with one readable device block, does not hold the device, or the list cannot be read.
  bool RemoveVirtualDevice(const std::string& maName, const std::string& serialNumber,
                           const std::string& libraryId);

  /// The same in the first listed library that has the device. False also when there is no list.
  bool RemoveVirtualDevice(const std::string& maName, const std::string& serialNumber);

  /// Attaches a SCSI status to a library, or replaces the one it has: status code, additional sense
  /// code and qualifier, reported for `lifetimeSeconds` from now and `count` times; with a count of
  /// 0 or below, any number of times in its lifetime. The end of the lifetime is kept as a signed
  /// 32-bit number of seconds since 1970.
  ///
  /// Returns true, with text and nothing changed, when the file does not hold exactly one library.
  /// Returns false, with nothing saved, when the file cannot be loaded, has no root (50007, with
  /// text), the serial number in it is another one (50008), or the record in it is incomplete.
  bool SetVirtualDeviceStatus(const std::string& libraryName, int status, int asc, int ascq,
                              int lifetimeSeconds, int count);

  /// Reads the SCSI status of a library; three zeros when it has none. The read is counted, and the
  /// record goes with its last read or with the first one after its lifetime, which still reports
  /// it. With `peek` true the record stays as it is, and is reported also after its lifetime.
  ///
  /// Returns true, with the outputs untouched, when the file does not hold exactly one library.
  /// Fails as SetVirtualDeviceStatus() does, where the outputs may be set nevertheless, and when a
  /// value in the record is no text; the outputs then hold what was read up to there, -1 for the
  /// value that could not be.
  bool GetVirtualDeviceStatus(const std::string& libraryName, int& status, int& asc, int& ascq,
                              bool peek);

  /// Sets `barCode` to the barcode recorded in the drive of that serial number, whether or not the
  /// drive is marked occupied; empty when the drive has none. All listed libraries are searched.
  ///
  /// Returns true also when there is no library list (`barCode` empty) and when the drive's barcode
  /// cannot be read (with text). Returns false, `barCode` empty, when no listed library has the
  /// drive, and, with text, when the list cannot be parsed (50005) or there is no memory for a
  /// parser (50006). A library that cannot be loaded is passed over.
  bool GetCurrentVolume(const std::string& serialNumber, std::string& barCode);

  /// Why the last operation of this object that changes something could not save a file that it had
  /// to: the file and the reason. Empty when all was saved, and when there was nothing to save, as
  /// after an operation that returned false.
  ///
  /// It is set by operations that returned true, also when the update of an existing library or
  /// drive failed. An operation that had nothing to change leaves it as it was. Any thread may
  /// call; of a shared object it is the answer for whoever called last. Throws std::bad_alloc.
  std::string saveError() const;

  /// Runs `steps` as one step: no other thread or process changes the catalogue before it returns.
  /// Operations of any object may be called in it, on this thread. gCriticalSection is held, so
  /// queries of other threads wait; changes of other processes wait for at most 30 s and then fail.
  ///
  /// Returns what `steps` returns, and lets its exceptions through. Returns false without calling
  /// it when the lock cannot be taken within 30 s (with text), or there is no catalogue directory
  /// (logged).
  bool ChangeCatalogue(const std::function<bool()>& steps);

  // The private members take no lock: their callers hold gCriticalSection.
private:
  friend class OperationCycle;  // what every operation has in common

  // Object, runtime and files
  void init();
  bool initXerces();
  void deInit();
  bool GetMeridianInstallDir(std::string& dir);
  bool GetLibListFile(std::string& path);
  bool GetLibFileName(const std::string& name, std::string& path);
  std::string getLibXMLFile(const std::string& name);
  bool isFilePresent(const std::string& path);
  bool loadDocument();
  bool saveDocument(xercesc::DOMNode* node, const std::string& path);
  bool saveDocument(xercesc::DOMNode* node);

  // Values of elements
  xercesc::DOMElement* newDOMElementWithValue(xercesc::DOMDocument* doc, const XMLCh* name,
                                              const XMLCh* value);
  bool updateDOMElementValue(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                             const XMLCh* name, const std::string& value);
  bool getTextForNode(xercesc::DOMNode* node, std::string& text);
  bool extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name, std::string& value);
  bool extractValuesFromChildNode(xercesc::DOMNode* node, const XMLCh* name, int& value);
  bool addTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node, std::string value);
  bool removeTextNode(xercesc::DOMNode* node, std::string value);
  bool updateTextNode(xercesc::DOMDocument*& doc, xercesc::DOMNode* node, std::string value);
  bool ConvertTobool(const XMLCh* value);

  // Device records
  bool extractDeviceScsiUnit(xercesc::DOMNode* node, SCSIUnit& unit);
  bool addDeviceScsiUnit(xercesc::DOMDocument* doc, xercesc::DOMElement* element,
                         const SCSIUnit& unit);
  bool updateDeviceScsiUnit(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                            const SCSIUnit& unit);
  bool extractDeviceScsiDevice(xercesc::DOMNode* node, SCSIUnit& unit);
  bool addDeviceScsiDevice(xercesc::DOMDocument* doc, xercesc::DOMElement* element,
                           const SCSIUnit& unit);
  bool updateDeviceScsiDevice(xercesc::DOMDocument*& doc, xercesc::DOMElement* element,
                              const SCSIUnit& unit);
  bool extractLibSpecificSCSIUnit(xercesc::DOMNode* library, SCSIUnit& unit);
  bool addLibSpecificInfo(xercesc::DOMDocument* doc, xercesc::DOMElement* library,
                          const SCSIUnit& unit);
  bool updateLibSpecificInfo(xercesc::DOMDocument*& doc, xercesc::DOMElement* library,
                             const SCSIUnit& unit);
  xercesc::DOMNode* getScsiUnitForMA(xercesc::DOMNode* device, bool isLibrary,
                                     const std::string& maName);
  bool extractSCSIUnitAndDevice(xercesc::DOMNode* device, const std::string& maName, SCSIUnit& unit,
                                bool isLibrary);
  void clearSCSIUnit(SCSIUnit& unit);
  bool isDeviceALibrary(const SCSIUnit& unit);

  // Registration
  bool createNewLibrary(const SCSIUnit& library, xercesc::DOMDocument*& doc);
  bool updateLibrary(const SCSIUnit& record, xercesc::DOMDocument*& doc);
  bool addNewDrive(xercesc::DOMDocument*& doc, const SCSIUnit& drive, bool isStandaloneDrive);
  bool updateDrive(xercesc::DOMDocument*& doc, const SCSIUnit& drive, bool isStandaloneDrive);
  bool updateDriveIdentifierMap(const SCSIUnit& record, xercesc::DOMElement* library,
                                xercesc::DOMDocument*& doc);
  bool getLibSerialNumber(xercesc::DOMElement* library, std::string& serial);
  bool getDriveSerialNumber(xercesc::DOMElement* drive, std::string& serial);
  int findDriveNumberForSerialNumber(const SCSIUnit& library, const std::string& serial);
  int getDriveAddressFromDriveNumber(int driveBaseAddress, int driveNumber);
  int getDriveNumberFromDriveAddress(int driveBaseAddress, int driveAddress);

  // Device update
  bool UpdateVirtualDeviceNoLock(const SCSIUnit& device, const std::string& libraryName,
                                 bool createNew);

  // Library list
  bool createNewLibList(xercesc::DOMDocument*& doc, const std::string& libFile,
                        const std::string& libId);
  bool addToLibraryList(xercesc::DOMDocument*& doc, const std::string& libFile,
                        const std::string& libId);
  bool removeFromLibraryList(xercesc::DOMDocument*& doc, const std::string& libFile,
                             const std::string& libId);
  bool createNewLibraryFile(const std::string& libFile, const std::string& libId);
  bool addToLibraryListFile(const std::string& libFile, const std::string& libId);
  bool removeFromLibraryListFile(const std::string& libFile, const std::string& libId);

  // Device query
  bool GetVirtualDeviceInfoNoLock(const std::string& maName, std::vector<SCSIUnitNoMap>& devices,
                                  const std::string& libraryId);

  // Device removal
  bool RemoveVirtualDeviceNoLock(const std::string& maName, const std::string& serialNumber,
                                 const std::string& libraryId);
  bool removeLibraryOrDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                            const std::string& serialNumber);
  bool removeDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                   const std::string& serialNumber);
  bool removeScsiUnitforMA(xercesc::DOMNode* element, const std::string& maName, bool isLibrary);
  xercesc::DOMNode* findDrive(xercesc::DOMNode* node, const std::string& serialNumber);

  // Device status
  bool SetVirtualDeviceStatusNoLock(const std::string& libraryName, int status, int asc, int ascq,
                                    int lifetimeSeconds, int count);
  bool GetVirtualDeviceStatusNoLock(const std::string& libraryName, int& status, int& asc,
                                    int& ascq, bool peek);
  bool setVirtualDevStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* library, int status,
                                int asc, int ascq, int lifetimeSeconds, int count);
  bool addVirtualDevStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* library, int status,
                                int asc, int ascq, int lifetimeSeconds, int count);
  bool updateVirtualDevStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* statusNode,
                                   int status, int asc, int ascq, int lifetimeSeconds, int count);
  bool getVirtualDeviceStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* library,
                                   int& status, int& asc, int& ascq, bool peek);
  bool removeVirtualDeviceStatus(xercesc::DOMNode* library);
  bool removeVirtualDeviceStatus(xercesc::DOMNode* library, xercesc::DOMNode* statusNode);

  // Current volume
  bool GetDriveVolumeNoLock(const std::string& libraryId, const std::string& serialNumber,
                            std::string& barCode);

  // Element lookup
  void clearLibElement(LibElement& element);
  bool doesDriveBelongToLibrary(xercesc::DOMNode* drive);
  bool isLibraryPresent(xercesc::DOMNode* library, const std::string& libraryName);
  bool fillLibElementForDrive(xercesc::DOMNode* node, LibElement& element);
  bool fillLibElementForSlot(xercesc::DOMNode* node, LibElement& element);
  bool fillLibElementForShelf(xercesc::DOMNode* node, LibElement& element);
  bool getElementMap(xercesc::DOMNode* parent, int type, ElementMap& map);
  bool findDriveElem(xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found);
  bool findSlotElem(xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found);
  bool findShelfElem(xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found);
  bool findLibElemNode(xercesc::DOMNode* parent, int type, int address, xercesc::DOMNode*& found);

  // Element changes
  bool SetVirtualLibraryElementNoLock(const std::string& libraryName, const LibElement& element,
                                      bool remove);
  bool UpdateVirtualLibraryElement(const std::vector<LibElement>& elements);
  bool RemoveVirtualLibraryElement(const std::vector<LibElement>& elements);
  xercesc::DOMElement* addNewSlotElement(xercesc::DOMDocument*& doc, const LibElement& element);
  xercesc::DOMElement* addNewShelfElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateSlotElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool removeSlot(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateShelfElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool removeShelf(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateDriveElement(xercesc::DOMDocument*& doc, const LibElement& element);

  // Medium move
  bool moveElemContents(xercesc::DOMNode* source, xercesc::DOMNode* destination);
  bool setElemText(xercesc::DOMNode* node, std::string& text);

  xercesc::XercesDOMParser* m_pLibParser;   // owned
  xercesc::XercesDOMParser* m_pListParser;  // owned
  xercesc::DOMDocument* m_pLibDoc;          // borrowed from m_pLibParser or m_pNewLibDoc
  xercesc::DOMDocument* m_pListDoc;         // borrowed from m_pListParser or m_pNewListDoc
  bool m_bInitialized;
  bool m_bLibLoaded;
  bool m_bListLoaded;
  bool m_bLibModified;
  bool m_bListModified;
  std::string m_sLibFile;               // path of the current library file
  xercesc::DOMDocument* m_pNewLibDoc;   // owned: a library that was created, not loaded
  xercesc::DOMDocument* m_pNewListDoc;  // owned: a list that was created, not loaded
  std::string m_saveError;              // see saveError()
};

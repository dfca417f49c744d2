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

// ---- Records ----

/// The fields of both device records: one device, a library or a drive, as one host sees it.
///
/// The initial values are those of a cleared record. Fields marked "library" are used for libraries
/// only. The fields named DeviceText and DeviceInteger belong to callers: the catalogue clears and
/// copies them, but does not store them.
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
  // Not defaulted: SCSIUnit must not be an aggregate. For an aggregate, SCSIUnit{flat} would only
  // initialise the base from a SCSIUnitNoMap and lose the map.
  SCSIUnit() {}

  std::map<int, std::string> DriveIdentifierMap;  ///< library: drive number to serial number
};

/// A device as callers pass and receive it: the drive identifier map is flattened to text.
///
/// Two drives: "Map|2|1|SN1|2|SN2|EOM", the number of entries, then each number and serial number
/// in ascending order. Serial numbers are not escaped: one that holds "|" corrupts the text.
struct TQLIB_API SCSIUnitNoMap : SCSIUnitFields {
  std::string DriveIdentifierMap;  ///< library: drive number to serial number, as text

  SCSIUnitNoMap() = default;

  /// The record with its map flattened.
  SCSIUnitNoMap(const SCSIUnit& unit);
  /// Assigns the record with its map flattened.
  SCSIUnitNoMap& operator=(const SCSIUnit& unit);

  /// The record with the map read from the text. Never fails: a text that does not begin with
  /// "Map|", or has a negative count, gives an empty map; one with fewer fields than its count
  /// gives garbage entries, in time bounded by its length; a missing "EOM" is ignored.
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

// ---- Lock and globals ----

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
  /// Waits for `section` and acquires it; it must outlive this object.
  explicit TqCriticalSectionLock(TqCriticalSection* section);
  /// Never throws.
  ~TqCriticalSectionLock();
  TqCriticalSectionLock(const TqCriticalSectionLock&) = delete;
  TqCriticalSectionLock& operator=(const TqCriticalSectionLock&) = delete;

private:
  TqCriticalSection* m_pSection;  // borrowed, may be null
};

/// The handle of libTqLibEmulator in the embedder's log.
extern TQLIB_API MMDebug debugHandler;

/// The catalogue lock of the process. Callers may hold it to make several calls one step for other
/// threads.
extern TQLIB_API TqCriticalSection gCriticalSection;

// ---- Text ----

/// XML text as UTF-8; empty for null.
TQLIB_API std::string MyTranscode(const XMLCh* text);

/// UTF-8 as wide text. Throws std::range_error when `text` is not UTF-8.
TQLIB_API std::wstring MyTranscode(const char* text);

/// Wide text as XML text of at most 1023 units, in a static buffer that the next call overwrites.
/// Each of the two functions has its own buffer. Hold gCriticalSection.
TQLIB_API const XMLCh* GetConstXMLCh(const wchar_t* text);
/// Does what GetConstXMLCh() does, in its own buffer.
TQLIB_API const XMLCh* GetConstXMLCh1(const wchar_t* text);

/// Writes `value` in decimal into `buffer` (21 bytes suffice for any value) and returns `buffer`.
/// `radix` is ignored: callers that pass 16 have always received decimal.
TQLIB_API char* itoa(long value, char* buffer, int radix);

// ---- The catalogue ----

/// The catalogue of virtual libraries.
///
/// Files: one directory (see TqLibEmlFile::GetTQLibEMLXMLDir()) holds a file "Lib_<key>.xml" for
/// each library, whose key is its serial number, and "LibraryList.xml", which lists the libraries.
/// A public operation loads, changes, saves and frees files. Nothing is kept between calls.
///
/// Saving: a new file is written to the disk and then replaces the old one as a whole. If an
/// operation changes a library and the list, both files are replaced together. If no new file can
/// be created in the directory, the old one is overwritten. If a save fails, the old files stay and
/// the failure is logged. The return value does not show it; see saveError().
///
/// Processes: an operation that changes something holds an advisory lock (flock) on the directory,
/// and on a file system that is not known to be local also on the file ".tqlib-lock" in it, until
/// it returns. If it does not get the lock within 30 s it returns false, with text, and changes
/// nothing. It does not hold gCriticalSection while it waits. Queries, and status reads of a
/// library without a record, need no lock. If locking is not supported, operations run without it,
/// which is logged once.
///
/// Names and text: a library name must be one path component. One that holds "/" or a zero byte, is
/// "." or "..", or gives a file name of more than 255 bytes is refused, with text. Text is UTF-8.
/// Text that XML 1.0 cannot hold makes an operation fail before anything is written.
///
/// Errors: an operation that fails returns false and logs the reason. Where its comment says so, it
/// also sets the last-error code (getErrorCode()) and text (getLastError()), which stay until the
/// next failure. Any operation may set 50005, a file cannot be parsed. docs/errors.md lists all
/// codes.
///
/// Threads: any number of objects on any threads; an object may be shared. Every public operation
/// holds gCriticalSection while it works. A shared object has one last error, that of its last
/// failure. pthread_cancel() acts after a call has returned.
///
/// Limits: 200,000 storage slots and 200,000 import/export slots in a new library; 100 levels and
/// 1,000 element names in a file. An operation beyond them fails with text.
///
/// Memory: a library of 50,000 slots takes 150 to 170 MB during a call (docs/performance.md).
class TQLIB_API TqLibEmulator : public MMS2BaseError {
public:
  TqLibEmulator();
  ~TqLibEmulator() override;
  TqLibEmulator(const TqLibEmulator&) = delete;
  TqLibEmulator& operator=(const TqLibEmulator&) = delete;

  /// Creates or updates one device.
  ///
  /// The key of a library (ScsiDeviceType 8) is its serial number. If it has no file, the file is
  /// made with all its slots, and the library is listed. Otherwise its values, its unit for the
  /// host MAName and the addresses of the drives in the record's map are updated. A drive is added
  /// to or updated in the library `libraryName`; if that is empty, directly under the root of the
  /// file of the key "Library1". Either file must exist.
  ///
  /// Returns true also when the update of an existing library or drive failed, for instance because
  /// its file holds two libraries: the file is then unchanged. Returns false, with nothing saved,
  /// when there is no catalogue directory, a drive's file cannot be loaded, a new library cannot be
  /// built (too many slots) or listed, or a text cannot be stored.
  bool UpdateVirtualDevice(const SCSIUnitNoMap& device, const std::string& libraryName);

  /// Creates or updates a library and its drives in one step.
  ///
  /// If `libraryName` has no file, the first record must be the library. At the end the library is
  /// updated once more, which gives the drives in its map their addresses. If `libraryName` is
  /// empty, the last library of the batch is handled as a single record, and drives are ignored.
  ///
  /// Returns true also when single updates failed: the changes of the others are saved. If there is
  /// a library among the records, the file is always written, with what a failed update had changed
  /// before its failure. Returns true, with nothing saved, when no library was created because the
  /// first record is a drive or the list cannot be read. Returns false, with nothing saved, when
  /// there is no catalogue directory, the file cannot be loaded, or the library cannot be built.
  ///
  /// A text that cannot be stored throws an exception derived from std::exception, or returns false
  /// if `libraryName` is empty; nothing is saved.
  bool UpdateVirtualDevice(const std::vector<SCSIUnitNoMap>& devices,
                           const std::string& libraryName);

  /// Appends every element of a library to `elements`: all drives, then all slots, then all
  /// shelves, each in the order of the file. The present content of `elements` stays.
  ///
  /// Returns false, with text, when the file cannot be loaded, has no root (50007), does not hold
  /// exactly one library, or holds another one (50008). What was appended before stays.
  bool GetVirtualLibraryElements(const std::string& libraryName, std::vector<LibElement>& elements);

  /// Sets the occupancy and the barcode of the element of this type and address; a slot or shelf
  /// that does not exist is created. If `remove` is true, deletes the slot or shelf instead; one
  /// that does not exist is no failure. Drives are neither created nor deleted here.
  ///
  /// Returns false when the library's file is missing or cannot be loaded, the type is unknown, a
  /// drive is not found or is to be removed, or a text cannot be stored; the file is unchanged.
  bool SetVirtualLibraryElement(const std::string& libraryName, const LibElement& element,
                                bool remove);

  /// Sets or removes many elements in the given order, reading and writing the file once. Unlike
  /// the single form, it skips a drive that does not exist or is to be removed, and finds slots by
  /// address alone, import/export or not. Two records for the same new address create two elements.
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

  /// Appends the devices that the host `maName` sees to `devices`, for each library in the order of
  /// the list: the drives in the order of the file, then the library itself, with the map of all
  /// its drives, whether the host sees them or not. An empty name means any host. The present
  /// content of `devices` stays.
  ///
  /// Returns true, with nothing appended, when there is no library list. A file that does not hold
  /// exactly one library is skipped, with text. Returns false, with text, when the list cannot
  /// be parsed (50005), there is no memory for a parser (50006), a listed library cannot be loaded,
  /// or a record cannot be read (50001 to 50004); what was appended before stays.
  bool GetVirtualDeviceInfo(const std::string& maName, std::vector<SCSIUnitNoMap>& devices);

  /// The same for one library, listed or not.
  bool GetVirtualDeviceInfo(const std::string& maName, std::vector<SCSIUnitNoMap>& devices,
                            const std::string& libraryId);

  /// Removes a drive or a library, or the unit of the host `maName` of it, from the library
  /// `libraryId`; if that is empty, from the file "Library1.xml" in the working directory.
  ///
  /// If `maName` is empty the whole device is removed. A library is removed from the list; its file
  /// stays, without the library and its shelves, and must be deleted before a library of that
  /// serial number can be created again. Otherwise only the unit of that host is removed; with the
  /// last unit the drive or library element is removed too, but the entry in the list stays. A host
  /// without a unit is no failure.
  ///
  /// Returns false, with nothing saved, when the file cannot be loaded, does not hold exactly one
  /// library with one readable device block, does not hold the device, or the list cannot be read.
  bool RemoveVirtualDevice(const std::string& maName, const std::string& serialNumber,
                           const std::string& libraryId);

  /// The same in the first listed library that has the device. False also when there is no list.
  bool RemoveVirtualDevice(const std::string& maName, const std::string& serialNumber);

  /// Injects a SCSI status into a library, or replaces the present one: status code, ASC and ASCQ,
  /// reported `count` times within `lifetimeSeconds` from now; if the count is 0 or negative, any
  /// number of times. The end of the lifetime is stored as a signed 32-bit number of seconds since
  /// 1970.
  ///
  /// Returns true, with text and nothing changed, when the file does not hold exactly one library.
  /// Returns false, with nothing saved, when the file cannot be loaded, has no root (50007, with
  /// text), its serial number is another one (50008), or its status record is incomplete.
  bool SetVirtualDeviceStatus(const std::string& libraryName, int status, int asc, int ascq,
                              int lifetimeSeconds, int count);

  /// Reads the SCSI status of a library; three zeros when it has none. The read is counted: the
  /// record is removed by its last read, or by the first one after its lifetime, which still
  /// reports it. If `peek` is true the record stays unchanged, and is reported also after its
  /// lifetime.
  ///
  /// Returns true, with the outputs unchanged, when the file does not hold exactly one library.
  /// Fails as SetVirtualDeviceStatus() does, and when a value in the record is no text. After a
  /// failure the outputs hold what was read before it, -1 for the value that could not be read.
  bool GetVirtualDeviceStatus(const std::string& libraryName, int& status, int& asc, int& ascq,
                              bool peek);

  /// Sets `barCode` to the barcode in the drive of that serial number, whether or not the drive is
  /// marked occupied; empty when the drive has none. Searches all listed libraries.
  ///
  /// Returns true also when there is no library list (`barCode` empty) and when the drive's barcode
  /// cannot be read (with text). Returns false, `barCode` empty, when no listed library has the
  /// drive, and, with text, when the list cannot be parsed (50005) or there is no memory for a
  /// parser (50006). A library that cannot be loaded is skipped.
  bool GetCurrentVolume(const std::string& serialNumber, std::string& barCode);

  /// The file and the reason if the last changing operation of this object returned true although
  /// it could not save; also if it could not update an existing library or drive. Empty when
  /// everything was saved, and after an operation that returned false.
  ///
  /// Queries leave it unchanged. Any thread may call; a shared object has one save error, that of
  /// its last change. Throws std::bad_alloc.
  std::string saveError() const;

  /// Runs `steps` while no other thread or process can change the catalogue. It may call operations
  /// of any object, on this thread. gCriticalSection is held, so queries of other threads wait;
  /// changes of other processes wait for at most 30 s and then fail.
  ///
  /// Returns the result of `steps`; its exceptions pass through. Returns false without calling it
  /// when the lock is not free within 30 s (with text), or there is no catalogue directory
  /// (logged).
  bool ChangeCatalogue(const std::function<bool()>& steps);

private:
  friend class OperationCycle;  // what all operations have in common

  // The private members take no lock: their callers hold gCriticalSection.

  // Parts of the operations above
  bool UpdateVirtualDeviceNoLock(const SCSIUnit& device, const std::string& libraryName,
                                 bool createNew);
  bool GetVirtualDeviceInfoNoLock(const std::string& maName, std::vector<SCSIUnitNoMap>& devices,
                                  const std::string& libraryId);
  bool RemoveVirtualDeviceNoLock(const std::string& maName, const std::string& serialNumber,
                                 const std::string& libraryId);
  bool SetVirtualDeviceStatusNoLock(const std::string& libraryName, int status, int asc, int ascq,
                                    int lifetimeSeconds, int count);
  bool GetVirtualDeviceStatusNoLock(const std::string& libraryName, int& status, int& asc,
                                    int& ascq, bool peek);
  bool GetDriveVolumeNoLock(const std::string& libraryId, const std::string& serialNumber,
                            std::string& barCode);
  bool SetVirtualLibraryElementNoLock(const std::string& libraryName, const LibElement& element,
                                      bool remove);

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

  // Devices in a document
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
  bool removeLibraryOrDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                            const std::string& serialNumber);
  bool removeDrive(xercesc::DOMDocument*& doc, const std::string& maName,
                   const std::string& serialNumber);
  bool removeScsiUnitforMA(xercesc::DOMNode* element, const std::string& maName, bool isLibrary);
  xercesc::DOMNode* findDrive(xercesc::DOMNode* node, const std::string& serialNumber);
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

  // Elements in a document
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
  bool UpdateVirtualLibraryElement(const std::vector<LibElement>& elements);
  bool RemoveVirtualLibraryElement(const std::vector<LibElement>& elements);
  xercesc::DOMElement* addNewSlotElement(xercesc::DOMDocument*& doc, const LibElement& element);
  xercesc::DOMElement* addNewShelfElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateSlotElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool removeSlot(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateShelfElement(xercesc::DOMDocument*& doc, const LibElement& element);
  bool removeShelf(xercesc::DOMDocument*& doc, const LibElement& element);
  bool updateDriveElement(xercesc::DOMDocument*& doc, const LibElement& element);
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

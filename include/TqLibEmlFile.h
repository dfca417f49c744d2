/// @file
/// Virtual tape volumes: a folder for each volume, a plain file for each filemark in it.
///
/// The two C functions at the end may be called from C; the class needs C++17.
#pragma once

#ifndef TQLIB_API
#define TQLIB_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus

#include <string>

#include "TqPlatform/MMError.h"

/// One virtual tape volume.
///
/// A volume is a folder of its name. The data between two filemarks is one plain file in the
/// folder, named by its filemark number in eight decimal digits. The folder is in the configured
/// directory "sVirtualTapeDirectory", or else in the folder "Data" of the catalogue directory.
///
/// The constructor reads the tape directory and the size limit from the configuration. If no tape
/// directory is configured, each call looks the catalogue directory up. No file stays open between
/// calls and nothing is cached. Every operation that needs the folder creates it when it is
/// missing, but never a configured tape directory.
///
/// Errors: an operation that fails sets the last-error code (getErrorCode()) and logs the reason.
/// Two exceptions: a read or write that the system refused (979, 767) is not logged, and a folder
/// that cannot be created is logged but leaves the code unchanged. Codes of the operating system
/// pass through MMS2BaseError::ConvertToMMError().
///
/// Threads: one thread at a time may use an object. No lock is taken: objects for the same volume
/// share its files without synchronisation. pthread_cancel() acts after a call has returned.
///
/// Exceptions: every member may throw std::bad_alloc.
class TQLIB_API TqLibEmlFile : public MMS2BaseError {
public:
  /// The volume `volumeName`, one path component. The constructor touches nothing on disk and
  /// reports no error. A name that is empty, ".", "..", longer than 255 bytes, or that holds "/" or
  /// a zero byte makes every operation fail with code 993.
  explicit TqLibEmlFile(const std::string& volumeName);
  ~TqLibEmlFile() override;

  /// Whether `path` exists, whatever it is.
  static bool IsFilePresent(const std::string& path);

  /// Finds the catalogue directory, creating its last component when it is missing.
  ///
  /// It is the configured "sVirtualLibXMLDirectory" (section MediaManager, then Teifioskon), else
  /// the platform's base directory "dMERIDIANHOME", else the present content of `dir`, else ".";
  /// with "/LibEmulator/" appended.
  ///
  /// Returns 1, or 0 when the directory could not be created (logged). `dir` is set either way.
  static int GetTQLibEMLXMLDir(std::string& dir);

  /// Puts the volume's folder into `folder` and creates it when it is missing.
  ///
  /// Returns false for an unusable volume name (code 993, `folder` unchanged) and for a folder
  /// that cannot be created (`folder` then names it).
  bool GetVolumeFolder(std::string& folder);

  /// Puts the path of a filemark's file into `path`. The file is neither created nor looked for.
  ///
  /// Fails as GetVolumeFolder() does.
  bool GetVolumeFilename(int fileMark, std::string& path);

  /// Deletes every regular file of the volume; the folder and any sub-folder stay.
  ///
  /// Returns false when the folder cannot be created or listed, or an entry cannot be examined; the
  /// files after it then stay. A file that cannot be deleted is not a failure.
  bool EraseVolume();

  /// Puts the number of the next filemark to write into `lastFileMark`: one more than the highest
  /// numeric file name (not increased if it is the largest int), 0 for an empty volume. Gaps are
  /// ignored.
  ///
  /// Returns false, with 0, only when the folder cannot be created. A folder that cannot be listed
  /// counts as empty. When the listing breaks off, the result is true, the code is set, and
  /// `lastFileMark` is the highest number seen, without the increment; -1 when none was.
  bool GetLastFileMark(int& lastFileMark);

  /// Puts the sum of the sizes of all entries of the folder, in bytes, into `volumeSize`.
  ///
  /// Returns false, with 0, when the folder cannot be created or listed. When the listing breaks
  /// off or an entry cannot be examined, the result is true, the code is set, and `volumeSize` is
  /// the sum so far.
  bool GetVolumeSize(unsigned long long& volumeSize);

  /// Reads up to `length` bytes from byte `offset` of a filemark into `buffer`, in one call.
  ///
  /// `bytesRead` is what was read: fewer than `length` near the end of the file, 0 at or past it.
  /// A filemark that has no file gets an empty one. A transfer must stay below 2 GiB.
  ///
  /// Returns false with code 993 (volume name), 764 (cannot be opened, or not a regular file), 979
  /// (read failed, `bytesRead` 0), 786 (seek stopped short) or the seek's own error; `bytesRead` is
  /// unchanged unless said.
  bool ReadDataForDrive(int fileMark, unsigned long long offset, unsigned char* buffer,
                        unsigned long length, unsigned long& bytesRead);

  /// Writes `length` bytes at byte `offset` of a filemark, in one call, then measures the volume.
  ///
  /// A write at offset 0 of filemark 0 erases the volume first. Bytes of the file beyond the
  /// written range stay. A transfer must stay below 2 GiB.
  ///
  /// The result is that of the measuring: true also when the write failed (code 767, `bytesWritten`
  /// 0) or the seek did (797 or its own error, `bytesWritten` unchanged), so judge a transfer by
  /// its count and the code. Returns false with code 993, 764 (as for reading), or 785 when the
  /// volume is now larger than "nVirtualTapeSizeMB" MiB (4 GiB when not set); what was written
  /// stays on disk then. When it returns, the data is with the operating system, not forced to
  /// the disk.
  bool WriteDataForDrive(int fileMark, unsigned long long offset, const unsigned char* buffer,
                         unsigned long length, unsigned long& bytesWritten);

  /// The platform's error number for an operating-system or utility error code.
  int Err_Handler(unsigned int code);

private:
  std::string m_sVolumeName;
  unsigned long long m_nMaxVolumeSize = 0;  ///< bytes
  std::string m_sTapeDirectory;  ///< root of the volumes; empty: the catalogue's Data folder
};

extern "C" {
#endif

/// Reads from a volume as TqLibEmlFile::ReadDataForDrive() does, with an object made for the call.
///
/// Returns 1 on success. Returns 0 on failure, with the last error's code in `*errorCode` and its
/// text in `errorText` (at most `errorTextSize` bytes with the terminator; each may be null).
/// When `volumeName`, `buffer` or `bytesRead` is null, or an exception was caught, nothing is
/// written to them. The caller owns all memory. Any thread may call.
TQLIB_API int DirectReadDataForDrive(const char* volumeName, int fileMark,
                                     unsigned long long offset, unsigned char* buffer,
                                     unsigned long length, unsigned long* bytesRead, int* errorCode,
                                     char* errorText, int errorTextSize);

/// Writes to a volume as TqLibEmlFile::WriteDataForDrive() does, with an object made for the call.
///
/// Results, outputs and threads are those of DirectReadDataForDrive(). As the method does, it
/// reports success for a failed write whose volume could be measured: compare `*bytesWritten`.
TQLIB_API int DirectWriteDataForDrive(const char* volumeName, int fileMark,
                                      unsigned long long offset, const unsigned char* buffer,
                                      unsigned long length, unsigned long* bytesWritten,
                                      int* errorCode, char* errorText, int errorTextSize);

#ifdef __cplusplus
}
#endif

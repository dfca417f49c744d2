// A volume during one call: its folder and the files in it.
#pragma once

#include <cerrno>
#include <optional>
#include <string>

#include "TqPlatform/PlatformInfo.h"
#include "common/FileDescriptor.h"

class FolderListing;

/// Whether `path` exists, whatever it is.
bool isPresent(const std::string& path);

/// Creates the last component of the catalogue directory when it is missing. `dir` is a path from
/// findCatalogueDirectory(). False, which is logged, when it cannot be created.
bool ensureCatalogueDirectory(const std::string& dir);

/// The file name of a filemark with a leading slash, such as "/00000001".
std::string fileMarkName(int fileMark);

/// The configuration at one moment. It is read on first use only: reading costs a system call,
/// which matters for the time of a block.
class Configuration {
public:
  TQPlatformInfo& platform();

private:
  std::optional<TQPlatformInfo> m_platform;
};

/// A volume. Name, tape directory and error code are borrowed from the caller.
///
/// The folder usually exists, so operations open the file or the listing at once. Only if that
/// fails, they check the folder and create it. An existing folder therefore costs no system call.
class Volume {
public:
  struct Settings {
    std::string tapeDirectory;       ///< empty: the catalogue's Data folder
    unsigned long long maxSize = 0;  ///< bytes

    void read(Configuration& configuration);
  };

  Volume(const std::string& name, const std::string& tapeDirectory, unsigned long long maxSize,
         int& errorCode)
      : m_name(name), m_tapeDirectory(tapeDirectory), m_maxSize(maxSize), m_errorCode(errorCode) {}

  /// Sets the path of the folder, which need not exist. `base` is used when nothing is configured.
  /// False, with code 993, when the volume's name is unusable. Call it before the functions below.
  bool nameFolder(Configuration& configuration, const std::string& base = "");

  /// The path of the folder; after a failed makeFolder(), the folder that could not be created.
  const std::string& folder() const { return m_folder; }

  /// Creates the folder and its missing parents, but no configured directory. False, which is
  /// logged, when one cannot be created.
  bool makeFolder();

  // The operations; see the members of TqLibEmlFile with similar names.

  bool erase();
  bool findLastFileMark(int& lastFileMark);
  /// Adds the sizes of the folder's entries to `size`.
  bool measure(unsigned long long& size);
  bool read(int fileMark, unsigned long long offset, unsigned char* buffer, unsigned long length,
            unsigned long& bytesRead);
  bool write(int fileMark, unsigned long long offset, const unsigned char* buffer,
             unsigned long length, unsigned long& bytesWritten);

private:
  template <typename Open>
  std::optional<int> openIn(Open open);
  template <typename Visit>
  std::optional<int> visitRecords(FolderListing& listing, const char* operation, Visit visit);
  FileDescriptor openFileMark(int fileMark, const char* origin);
  bool writeBlock(int fileMark, unsigned long long offset, const unsigned char* buffer,
                  unsigned long length, unsigned long& bytesWritten);
  void failAccess(const std::string& operation, int error);

  const std::string& m_name;
  const std::string& m_tapeDirectory;
  unsigned long long m_maxSize;
  int& m_errorCode;
  std::string m_folder;
};

/// Calls `open`, which opens something in the folder and returns 0 or an errno value. Returns the
/// result of `open`, or nothing when it failed and the folder could not be created.
///
/// A successful open shows that all folders of the path exist, so they are not checked first. After
/// any failure the folders are checked and created. `open` is called again only after ENOENT: only
/// then may a missing folder have been the reason.
template <typename Open>
std::optional<int> Volume::openIn(Open open) {
  const int error = open();
  if (error != 0) {
    const std::string named = m_folder;
    if (!makeFolder()) {
      m_folder = named;  // after a failed erase, the write still needs the folder
      return std::nullopt;
    }
  }
  return error == ENOENT ? open() : error;
}

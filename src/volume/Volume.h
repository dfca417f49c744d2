// The work on one volume during one call: its folder, and the files in it.
#pragma once

#include <cerrno>
#include <optional>
#include <string>

#include "TqPlatform/PlatformInfo.h"
#include "common/FileDescriptor.h"

/// Whether `path` exists, whatever it is.
bool isPresent(const std::string& path);

/// Creates the catalogue directory, as findCatalogueDirectory() names it, when it is missing.
/// False, which is logged, when it cannot be created.
bool ensureCatalogueDirectory(const std::string& dir);

/// What to append to a folder's path for that of a filemark in it, such as "/00000001".
std::string fileMarkName(int fileMark);

/// The configuration at one moment. It is read when it is first asked for: that is a system call,
/// which shows in the time of a block.
class Configuration {
public:
  TQPlatformInfo& platform();

private:
  std::optional<TQPlatformInfo> m_platform;
};

/// A volume's settings are borrowed from an object or from the frame of a C function; its error
/// code, too.
///
/// A folder that exists, as in all calls but a volume's first, costs nothing: what is wanted is
/// opened at once, and the folder is looked for when that fails.
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

  /// Names the folder, which need not exist. `base` is used where nothing is configured. False,
  /// with code 993, when the volume's name is none. Comes before the operations below.
  bool nameFolder(Configuration& configuration, const std::string& base = "");

  /// The folder; after a failed makeFolder() what could not be created.
  const std::string& folder() const { return m_folder; }

  /// Creates what is missing of the folder, from the top.
  bool makeFolder();

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

/// Calls `open`, which returns 0 or an errno value, on something in the folder. The result is that
/// of `open`; none when it failed and the folder could then not be made or looked for.
///
/// What opens shows that each folder on its path exists, so looking for them first would have found
/// them and made none. Any failure is followed by that look, and by another try only after ENOENT:
/// then something on the path was missing, and the folder may be new. Other errors do not come from
/// a missing folder.
template <typename Open>
std::optional<int> Volume::openIn(Open open) {
  const int error = open();
  if (error != 0) {
    const std::string named = m_folder;
    if (!makeFolder()) {
      m_folder = named;  // a write goes on after an erase that failed
      return std::nullopt;
    }
  }
  return error == ENOENT ? open() : error;
}

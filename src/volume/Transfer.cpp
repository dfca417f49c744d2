// The data path: a run of bytes at an offset of a file mark. A call opens, seeks, transfers once
// and closes; nothing is kept for the next one.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"
#include "common/FileDescriptor.h"
#include "common/NoCancel.h"
#include "volume/VolumeFolder.h"

namespace {

constexpr int kOpenFailed = 764;
constexpr int kWriteFailed = 767;
constexpr int kVolumeFull = 785;
constexpr int kReadSeekShort = 786;
constexpr int kWriteSeekShort = 797;
constexpr int kReadFailed = 979;

constexpr char kReadOrigin[] = "TqLibEmlFile::ReadDataForDrive";
constexpr char kWriteOrigin[] = "TqLibEmlFile::WriteDataForDrive";

enum class Seek { reached, failed, fellShort, wentBeyond };

/// Moves to `offset`. `osError` is the reason when the outcome is `failed`.
Seek seekTo(const FileDescriptor& file, unsigned long long offset, const char* origin,
            int& osError) {
  const off64_t position = ::lseek64(file.get(), static_cast<off64_t>(offset), SEEK_SET);
  // First of all: the offset 2^64 - 1 compares equal to the -1 of a failure.
  if (position == -1) {
    osError = errno;
    EvDebug::Error(debugHandler, origin, "%s() _lseek() failed with error %d", origin, osError);
    return Seek::failed;
  }
  const auto reached = static_cast<unsigned long long>(position);
  if (reached < offset) {
    EvDebug::Error(debugHandler, origin, "%s() failed to seek file offset %lld, seek to %lld",
                   origin, static_cast<long long>(offset), static_cast<long long>(position));
    return Seek::fellShort;
  }
  return reached == offset ? Seek::reached : Seek::wentBeyond;
}

}  // namespace

/// The volume object of one call of a C function, and its folder, named as the object was made:
/// the configuration is looked at once.
struct TqLibEmlFileCall {
  explicit TqLibEmlFileCall(const char* volumeName) : file(volumeName, folder) {}

  bool read(int fileMark, unsigned long long offset, unsigned char* buffer, unsigned long length,
            unsigned long& bytesRead) {
    return !folder.empty() && file.readIn(folder, fileMark, offset, buffer, length, bytesRead);
  }

  bool write(int fileMark, unsigned long long offset, const unsigned char* buffer,
             unsigned long length, unsigned long& bytesWritten) {
    return !folder.empty() && file.writeIn(folder, fileMark, offset, buffer, length, bytesWritten);
  }

  std::string folder;  // before the object, which names it
  TqLibEmlFile file;
};

namespace {

/// Runs `transfer` with a volume object for the call. Callers may be C code, so what is thrown
/// ends here.
template <typename Transfer>
int transferForCaller(const char* volumeName, int* errorCode, char* errorText, int errorTextSize,
                      Transfer transfer) {
  const NoCancel noCancel;
  try {
    TqLibEmlFileCall call(volumeName);
    if (transfer(call)) {
      return 1;
    }
    if (errorCode != nullptr) {
      *errorCode = call.file.getErrorCode();
    }
    call.file.getLastError(errorText, errorTextSize);
  } catch (...) {
  }
  return 0;
}

}  // namespace

bool TqLibEmlFile::ReadDataForDrive(int fileMark, unsigned long long offset, unsigned char* buffer,
                                    unsigned long length, unsigned long& bytesRead) {
  const NoCancel noCancel;
  std::string folder;
  return nameFolder(folder) && readIn(folder, fileMark, offset, buffer, length, bytesRead);
}

bool TqLibEmlFile::WriteDataForDrive(int fileMark, unsigned long long offset,
                                     const unsigned char* buffer, unsigned long length,
                                     unsigned long& bytesWritten) {
  const NoCancel noCancel;
  std::string folder;
  return nameFolder(folder) && writeIn(folder, fileMark, offset, buffer, length, bytesWritten);
}

bool TqLibEmlFile::readIn(std::string& folder, int fileMark, unsigned long long offset,
                          unsigned char* buffer, unsigned long length, unsigned long& bytesRead) {
  const FileDescriptor file(openFileMark(folder, fileMark, kReadOrigin));
  if (!file) {
    return false;
  }
  int osError = 0;
  const Seek seek = seekTo(file, offset, kReadOrigin, osError);
  if (seek == Seek::reached) {
    const ssize_t count = ::read(file.get(), buffer, length);
    bytesRead = count < 0 ? 0 : static_cast<unsigned long>(count);
    if (count < 0) {
      m_nErrorCode = kReadFailed;
    }
    return count >= 0;
  }
  if (seek == Seek::failed) {
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(osError));
  } else if (seek == Seek::fellShort) {
    m_nErrorCode = kReadSeekShort;
  }
  // A position beyond the offset counts as a success without data, here and in writing; Linux does
  // not give one.
  return seek == Seek::wentBeyond;
}

bool TqLibEmlFile::writeIn(std::string& folder, int fileMark, unsigned long long offset,
                           const unsigned char* buffer, unsigned long length,
                           unsigned long& bytesWritten) {
  if (fileMark == 0 && offset == 0) {
    eraseIn(folder);  // its code and log line tell a failure; the write goes on
  }
  unsigned long long total = 0;
  if (!writeBlock(folder, fileMark, offset, buffer, length, bytesWritten) ||
      !measure(folder, total)) {
    return false;
  }
  if (total > m_nMaxVolumeSize) {
    EvDebug::Error(debugHandler, kWriteOrigin,
                   "%s() files size %lld reached the maximum size %lld ", kWriteOrigin,
                   static_cast<long long>(total), static_cast<long long>(m_nMaxVolumeSize));
    m_nErrorCode = kVolumeFull;
    return false;
  }
  return true;
}

/// The descriptor of a file mark that was opened in `folder`, as nameFolder() gave it; else -1,
/// with code 764 and a log line for a file that cannot be opened, and neither of its own for a
/// folder that cannot be had. `folder` is lengthened meanwhile, and as it was in the end.
int TqLibEmlFile::openFileMark(std::string& folder, int fileMark, const char* origin) {
  const std::string name = volume::fileMarkName(fileMark);
  int descriptor = -1;
  const auto error = openIn(folder, [&] {
    folder += name;  // for which there is usually room, unlike for another path
    descriptor = openRegularFile(folder.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR);
    const int code = descriptor == -1 ? errno : 0;
    folder.resize(folder.size() - name.size());
    return code;
  });
  if (error.value_or(0) != 0) {
    EvDebug::Error(debugHandler, origin, "%s() open file failed", origin);
    m_nErrorCode = kOpenFailed;
  }
  return descriptor;
}

// False only when the file cannot be opened. What else goes wrong is told by code and count alone:
// the result of a write is that of measuring the volume after it.
bool TqLibEmlFile::writeBlock(std::string& folder, int fileMark, unsigned long long offset,
                              const unsigned char* buffer, unsigned long length,
                              unsigned long& bytesWritten) {
  const FileDescriptor file(openFileMark(folder, fileMark, kWriteOrigin));
  if (!file) {
    return false;
  }
  int osError = 0;
  const Seek seek = seekTo(file, offset, kWriteOrigin, osError);
  if (seek == Seek::reached) {
    const ssize_t count = ::write(file.get(), buffer, length);
    bytesWritten = count < 0 ? 0 : static_cast<unsigned long>(count);
    if (count <= 0) {
      m_nErrorCode = kWriteFailed;
    }
  } else if (seek == Seek::failed) {
    m_nErrorCode = Err_Handler(static_cast<unsigned int>(osError));
  } else if (seek == Seek::fellShort) {
    m_nErrorCode = kWriteSeekShort;
  }
  return true;
}

int DirectReadDataForDrive(const char* volumeName, int fileMark, unsigned long long offset,
                           unsigned char* buffer, unsigned long length, unsigned long* bytesRead,
                           int* errorCode, char* errorText, int errorTextSize) {
  if (volumeName == nullptr || buffer == nullptr || bytesRead == nullptr) {
    return 0;
  }
  return transferForCaller(volumeName, errorCode, errorText, errorTextSize,
                           [&](TqLibEmlFileCall& call) {
                             return call.read(fileMark, offset, buffer, length, *bytesRead);
                           });
}

int DirectWriteDataForDrive(const char* volumeName, int fileMark, unsigned long long offset,
                            const unsigned char* buffer, unsigned long length,
                            unsigned long* bytesWritten, int* errorCode, char* errorText,
                            int errorTextSize) {
  if (volumeName == nullptr || buffer == nullptr || bytesWritten == nullptr) {
    return 0;
  }
  return transferForCaller(volumeName, errorCode, errorText, errorTextSize,
                           [&](TqLibEmlFileCall& call) {
                             return call.write(fileMark, offset, buffer, length, *bytesWritten);
                           });
}

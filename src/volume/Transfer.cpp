// Reads and writes a block at an offset of a filemark's file, and the two C functions for it. Each
// call opens the file, seeks, transfers once and closes; nothing is kept for the next call.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "TqLibEmlFile.h"
#include "common/Log.h"
#include "common/NoCancel.h"
#include "volume/Volume.h"

namespace {

constexpr int kOpenFailed = 764;
constexpr int kWriteFailed = 767;
constexpr int kVolumeFull = 785;
constexpr int kReadSeekShort = 786;
constexpr int kWriteSeekShort = 797;
constexpr int kReadFailed = 979;

constexpr char kReadOrigin[] = "TqLibEmlFile::ReadDataForDrive";
constexpr char kWriteOrigin[] = "TqLibEmlFile::WriteDataForDrive";

enum class Seek { Reached, Failed, FellShort, WentBeyond };

/// Seeks to `offset`. `osError` is the errno value when the result is Failed.
Seek seekTo(const FileDescriptor& file, unsigned long long offset, const char* origin,
            int& osError) {
  const off64_t position = ::lseek64(file.get(), static_cast<off64_t>(offset), SEEK_SET);
  // Check this first: the offset 2^64 - 1 compares equal to the -1 of a failure.
  if (position == -1) {
    osError = errno;
    logError(origin, origin + ("() _lseek() failed with error " + std::to_string(osError)));
    return Seek::Failed;
  }
  const auto reached = static_cast<unsigned long long>(position);
  if (reached < offset) {
    logError(origin, origin + ("() failed to seek file offset " +
                               std::to_string(static_cast<long long>(offset)) + ", seek to " +
                               std::to_string(position)));
    return Seek::FellShort;
  }
  return reached == offset ? Seek::Reached : Seek::WentBeyond;
}

int codeOf(int osError) {
  return static_cast<int>(MMS2BaseError::ConvertToMMError(static_cast<unsigned int>(osError)));
}

}  // namespace

bool Volume::read(int fileMark, unsigned long long offset, unsigned char* buffer,
                  unsigned long length, unsigned long& bytesRead) {
  const FileDescriptor file = openFileMark(fileMark, kReadOrigin);
  if (!file) {
    return false;
  }
  int osError = 0;
  const Seek seek = seekTo(file, offset, kReadOrigin, osError);
  if (seek == Seek::Reached) {
    const ssize_t count = ::read(file.get(), buffer, length);
    bytesRead = count < 0 ? 0 : static_cast<unsigned long>(count);
    if (count < 0) {
      m_errorCode = kReadFailed;
    }
    return count >= 0;
  }
  if (seek == Seek::Failed) {
    m_errorCode = codeOf(osError);
  } else if (seek == Seek::FellShort) {
    m_errorCode = kReadSeekShort;
  }
  // A position beyond the offset counts as success without data, here and in writeBlock(). It does
  // not occur on Linux.
  return seek == Seek::WentBeyond;
}

bool Volume::write(int fileMark, unsigned long long offset, const unsigned char* buffer,
                   unsigned long length, unsigned long& bytesWritten) {
  if (fileMark == 0 && offset == 0) {
    erase();  // after a failure, which sets the code and is logged, the write continues
  }
  unsigned long long total = 0;
  if (!writeBlock(fileMark, offset, buffer, length, bytesWritten) || !measure(total)) {
    return false;
  }
  if (total > m_maxSize) {
    logError(kWriteOrigin,
             kWriteOrigin + ("() files size " + std::to_string(static_cast<long long>(total)) +
                             " reached the maximum size " +
                             std::to_string(static_cast<long long>(m_maxSize)) + " "));
    m_errorCode = kVolumeFull;
    return false;
  }
  return true;
}

/// Opens the file of a filemark. Returns no descriptor when the file cannot be opened (code 764,
/// logged) or the folder cannot be created (logged, code unchanged).
FileDescriptor Volume::openFileMark(int fileMark, const char* origin) {
  const std::string name = fileMarkName(fileMark);
  int descriptor = -1;
  const auto error = openIn([&] {
    m_folder += name;  // usually needs no allocation, unlike a second path
    descriptor = openRegularFile(m_folder.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR);
    const int code = descriptor == -1 ? errno : 0;
    m_folder.resize(m_folder.size() - name.size());
    return code;
  });
  if (error.value_or(0) != 0) {
    m_errorCode = kOpenFailed;
    logError(origin, std::string(origin) + "() open file failed");
  }
  return FileDescriptor(descriptor);
}

// False only when the file cannot be opened. Other failures only set the code and the count: the
// result of write() is that of measuring the volume.
bool Volume::writeBlock(int fileMark, unsigned long long offset, const unsigned char* buffer,
                        unsigned long length, unsigned long& bytesWritten) {
  const FileDescriptor file = openFileMark(fileMark, kWriteOrigin);
  if (!file) {
    return false;
  }
  int osError = 0;
  const Seek seek = seekTo(file, offset, kWriteOrigin, osError);
  if (seek == Seek::Reached) {
    const ssize_t count = ::write(file.get(), buffer, length);
    bytesWritten = count < 0 ? 0 : static_cast<unsigned long>(count);
    if (count <= 0) {
      m_errorCode = kWriteFailed;
    }
  } else if (seek == Seek::Failed) {
    m_errorCode = codeOf(osError);
  } else if (seek == Seek::FellShort) {
    m_errorCode = kWriteSeekShort;
  }
  return true;
}

namespace {

/// The last error during a call of a C function.
struct CallErrors : MMS2BaseError {
  int& code() { return m_nErrorCode; }
};

/// Runs `transfer` on a volume that exists for this call. The configuration is checked once.
/// Callers may be C code, so no exception leaves this function.
template <typename Transfer>
int transferForCaller(const char* volumeName, int* errorCode, char* errorText, int errorTextSize,
                      Transfer transfer) {
  const NoCancel untilTheCallReturns;
  try {
    const std::string name = volumeName;
    auto configuration = std::make_optional<Configuration>();
    Volume::Settings settings;
    settings.read(*configuration);
    CallErrors errors;
    Volume volume(name, settings.tapeDirectory, settings.maxSize, errors.code());
    const bool isNamed = volume.nameFolder(*configuration);
    configuration.reset();  // an embedder's configuration may hold a file or a lock
    if (isNamed && transfer(volume)) {
      return 1;
    }
    if (errorCode != nullptr) {
      *errorCode = errors.getErrorCode();
    }
    errors.getLastError(errorText, errorTextSize);
  } catch (...) {
  }
  return 0;
}

}  // namespace

int DirectReadDataForDrive(const char* volumeName, int fileMark, unsigned long long offset,
                           unsigned char* buffer, unsigned long length, unsigned long* bytesRead,
                           int* errorCode, char* errorText, int errorTextSize) {
  if (volumeName == nullptr || buffer == nullptr || bytesRead == nullptr) {
    return 0;
  }
  return transferForCaller(volumeName, errorCode, errorText, errorTextSize, [&](Volume& volume) {
    return volume.read(fileMark, offset, buffer, length, *bytesRead);
  });
}

int DirectWriteDataForDrive(const char* volumeName, int fileMark, unsigned long long offset,
                            const unsigned char* buffer, unsigned long length,
                            unsigned long* bytesWritten, int* errorCode, char* errorText,
                            int errorTextSize) {
  if (volumeName == nullptr || buffer == nullptr || bytesWritten == nullptr) {
    return 0;
  }
  return transferForCaller(volumeName, errorCode, errorText, errorTextSize, [&](Volume& volume) {
    return volume.write(fileMark, offset, buffer, length, *bytesWritten);
  });
}

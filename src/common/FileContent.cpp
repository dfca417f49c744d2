// Reads in blocks up to the limit, and opens the file again if it was replaced while it was read.

#include "common/FileContent.h"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>

#include "common/FileDescriptor.h"

namespace {

constexpr std::size_t kStep = 65536;  ///< bytes of a read
constexpr int kAttempts = 5;

std::optional<std::string> readOnce(const std::string& path, std::size_t most) {
  const FileDescriptor file(openRegularFile(path.c_str(), O_RDONLY));
  if (!file) {
    return std::nullopt;
  }
  std::string content;
  std::size_t length = 0;
  for (;;) {
    content.resize(length + kStep);
    const ssize_t count = ::read(file.get(), content.data() + length, kStep);
    if (count > 0) {
      length += static_cast<std::size_t>(count);
    }
    if (count == 0 || length > most) {
      content.resize(length);
      return content;
    }
    if (count < 0 && errno != EINTR) {
      return std::nullopt;
    }
  }
}

}  // namespace

std::optional<std::string> contentOf(const std::string& path, std::size_t most) {
  std::optional<std::string> content;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    content = readOnce(path, most);
    // On a network file system, ESTALE means that another machine has replaced the file.
    if (content || errno != ESTALE) {
      break;
    }
  }
  return content;
}

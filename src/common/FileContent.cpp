#include "common/FileContent.h"

#include <fcntl.h>

#include <array>
#include <cerrno>

#include "common/FileDescriptor.h"

std::optional<std::string> contentOf(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    return std::nullopt;
  }
  std::string content;
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
    if (count == 0) {
      return content;
    }
    if (count > 0) {
      content.append(buffer.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
}

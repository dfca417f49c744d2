// The log: a file, or standard error. The file is opened for each line: errors are rare, and this
// way log rotation, a changed variable and the order of destruction at unload need no extra code.

#include "TqPlatform/MMDebug.h"

#include <fcntl.h>
#include <pthread.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "OpenFile.h"

namespace {

std::string formatText(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

std::string formatText(const char* format, std::va_list arguments) {
  char* text = nullptr;
  const int length = ::vasprintf(&text, format, arguments);
  if (length < 0) {
    return format;  // at least log the text without its values
  }
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return {text, static_cast<std::size_t>(length)};
}

/// `text` as one line: control characters are escaped, because names in it may hold any byte and
/// each line of the log is one error.
std::string onOneLine(std::string_view text) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string line;
  line.reserve(text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      line += "\\n";
    } else if (byte < 0x20 || byte == 0x7f) {
      line += {'\\', 'x', digits[byte >> 4], digits[byte & 0xf]};
    } else {
      line += character;
    }
  }
  return line;
}

/// The complete line for the log, with its time.
std::string logLine(const std::string& origin, const std::string& text) {
  spdlog::pattern_formatter formatter("%Y-%m-%d %H:%M:%S.%e [%l] [%n] %v");
  spdlog::memory_buf_t line;
  formatter.format(spdlog::details::log_msg(origin, spdlog::level::err, text), line);
  return {line.data(), line.size()};
}

/// Whether the whole line was written.
bool write(int fd, std::string_view line) {
  while (!line.empty()) {
    const ssize_t count = ::write(fd, line.data(), line.size());
    if (count > 0) {
      line.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

/// Whether descriptor 2 is the standard error stream. If that stream is closed, a file that another
/// thread is opening, for instance a tape, may have the number for a moment. Our files have
/// close-on-exec set; standard streams do not.
bool hasStandardError() {
  const int flags = ::fcntl(STDERR_FILENO, F_GETFD);
  return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

void writeError(const std::string& origin, const std::string& text) {
  static std::mutex oneAtATime;
  const std::scoped_lock lock(oneAtATime);
  const std::string line = logLine(origin, text);
  if (const char* const path = std::getenv("TQ_PLATFORM_LOG"); path != nullptr && *path != '\0') {
    const OpenFile file(path, O_WRONLY | O_CREAT | O_APPEND | O_NOCTTY | O_NONBLOCK,
                        S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
    if (file.get() >= 0 && write(file.get(), line)) {
      return;
    }
  }
  if (hasStandardError()) {
    write(STDERR_FILENO, line);
  }
}

}  // namespace

MMDebug::MMDebug() = default;

MMDebug::~MMDebug() = default;

MMDebug::operator const char*() const {
  return "TqLibEmulator";
}

void EvDebug::Error(const char* /*handle*/, const char* origin, const char* format, ...) {
  // Callers may still use errno after they have logged an error.
  const int savedErrno = errno;
  int cancelState = PTHREAD_CANCEL_ENABLE;  // a cancelled thread must not unwind through a close
  ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  std::va_list arguments;
  va_start(arguments, format);
  try {
    writeError(onOneLine(origin), onOneLine(formatText(format, arguments)));
  } catch (const std::exception&) {  // the caller continues although the error cannot be logged
  }
  va_end(arguments);
  errno = savedErrno;
  ::pthread_setcancelstate(cancelState, nullptr);
}

void EvEvent::initialize(int /*version*/, unsigned int /*component*/, int /*flags*/,
                         Callback /*callback*/, const char* /*name*/) {
  // Nothing to prepare: the log opens its file for each line.
}

// The log: each line goes through a logger of its own to a stream opened for it. Errors are rare,
// and so a rotated file, a changed variable and the order of destruction at unload need no care.

#include "TqPlatform/MMDebug.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/ostream_sink.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace {

std::string formatText(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

std::string formatText(const char* format, std::va_list arguments) {
  char* text = nullptr;
  const int length = ::vasprintf(&text, format, arguments);
  if (length < 0) {
    return format;  // better a text without its values than none
  }
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return {text, static_cast<std::size_t>(length)};
}

/// `text` on one line: names in it may hold anything, and a reader takes each line for an error.
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

/// Returns whether the line arrived.
bool writeLine(std::ostream& stream, const std::string& origin, const std::string& text) {
  auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(stream, true);
  spdlog::logger logger(origin, std::move(sink));
  logger.set_pattern("%Y-%m-%d %H:%M:%S.%e [%l] [%n] %v");
  logger.log(spdlog::level::err, spdlog::string_view_t(text));
  return stream.good();
}

void writeError(const std::string& origin, const std::string& text) {
  static std::mutex oneAtATime;
  const std::scoped_lock lock(oneAtATime);
  if (const char* const path = std::getenv("TQ_PLATFORM_LOG"); path != nullptr && *path != '\0') {
    std::ofstream file(path, std::ios::app);
    if (writeLine(file, origin, text)) {
      return;
    }
  }
  writeLine(std::cerr, origin, text);
}

}  // namespace

MMDebug::MMDebug() = default;

MMDebug::~MMDebug() = default;

MMDebug::operator const char*() const {
  return "TqLibEmulator";
}

void EvDebug::Error(const char* /*handle*/, const char* origin, const char* format, ...) {
  // Callers report errno in several steps, and the log is not to change it between them.
  const int savedErrno = errno;
  std::va_list arguments;
  va_start(arguments, format);
  try {
    writeError(onOneLine(origin), onOneLine(formatText(format, arguments)));
  } catch (...) {  // an error that cannot be logged is no reason to stop the caller
  }
  va_end(arguments);
  errno = savedErrno;
}

void EvEvent::initialize(int /*version*/, unsigned int /*component*/, int /*flags*/,
                         Callback /*callback*/, const char* /*name*/) {
  // Nothing to prepare: the log opens its file for each line.
}

#include "base/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace {

constexpr int kUsualWidth = 80;

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

bool showsColours(int descriptor) {
  const std::string_view terminal = environment("TERM");
  return isatty(descriptor) == 1 && environment("NO_COLOR").empty() && !terminal.empty() &&
         terminal != "dumb";
}

std::string coloured(const std::string& text, Colour colour, int descriptor) {
  if (!showsColours(descriptor)) return text;
  return "\033[" + std::to_string(static_cast<int>(colour)) + 'm' + text + "\033[0m";
}

int terminalWidth(int descriptor) {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const int columns = std::atoi(std::string(environment("COLUMNS")).c_str());
  return columns > 0 ? columns : kUsualWidth;
}

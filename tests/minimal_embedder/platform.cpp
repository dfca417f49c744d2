#include "platform.h"

#include <cstdarg>

void EvDebug::Error(const char* /*handle*/, const char* origin, const char* format, ...) {
  std::fprintf(stderr, "%s: ", origin);
  va_list values;
  va_start(values, format);
  std::vfprintf(stderr, format, values);
  va_end(values);
  std::fputc('\n', stderr);
}

// Formats the last-error text directly into the buffer of the object.

#include "catalogue/ErrorRecord.h"

#include <cstdarg>
#include <cstdio>

#include "common/Log.h"

void ErrorRecord::setText(const char* format, ...) {
  va_list values;
  va_start(values, format);
  std::vsnprintf(m_text, m_size, format, values);
  va_end(values);
}

void ErrorRecord::report(const char* origin, const char* format, ...) {
  va_list values;
  va_start(values, format);
  std::vsnprintf(m_text, m_size, format, values);
  va_end(values);
  logError(origin, m_text);
}

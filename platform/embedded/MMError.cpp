// The last error of an object. Platform error numbers are the codes of the operating system.

#include "TqPlatform/MMError.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

MMS2BaseError::MMS2BaseError() : m_nErrorCode(0) {
  // Only the first byte is set: clearing the whole text would slow down calls that never fail.
  m_szErrorText[0] = '\0';
}

MMS2BaseError::~MMS2BaseError() = default;

void MMS2BaseError::getLastError(char* text, int size) const {
  if (text == nullptr || size <= 0) {
    return;
  }
  const std::size_t room = static_cast<std::size_t>(size) - 1;
  const std::size_t length = std::min(room, ::strnlen(m_szErrorText, sizeof m_szErrorText));
  std::memcpy(text, m_szErrorText, length);
  text[length] = '\0';
}

unsigned int MMS2BaseError::ConvertToMMError(unsigned int code) {
  return code;
}

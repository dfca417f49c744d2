// Numbers and texts as SCSI has them in its parameters: big-endian, padded with spaces.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace scsi {

template <typename Bytes>
unsigned long long get(const Bytes& bytes, std::size_t at, std::size_t size) {
  unsigned long long number = 0;
  for (std::size_t i = 0; i < size; ++i) number = number << 8 | bytes[at + i];
  return number;
}

template <typename Number>
void put(std::vector<unsigned char>& bytes, std::size_t at, std::size_t size, Number number) {
  auto rest = static_cast<unsigned long long>(number);
  for (std::size_t i = size; i > 0; --i, rest >>= 8) {
    bytes[at + i - 1] = static_cast<unsigned char>(rest);
  }
}

inline void append(std::vector<unsigned char>& bytes, const std::vector<unsigned char>& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

inline std::vector<unsigned char> padded(const std::string& text, std::size_t size) {
  std::vector<unsigned char> bytes(text.begin(), text.end());
  bytes.resize(size, ' ');
  return bytes;
}

}  // namespace scsi

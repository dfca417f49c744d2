// The last-error codes of the catalogue, and setting the last error of an object.
#pragma once

#include <cstddef>

namespace codes {

inline constexpr int destinationOccupied = 40006;
inline constexpr int sourceEmpty = 40018;
inline constexpr int unitUnreadable = 50001;
inline constexpr int driveAddressMissing = 50002;
inline constexpr int deviceUnreadable = 50003;
inline constexpr int libraryValuesUnreadable = 50004;
inline constexpr int cannotParse = 50005;
inline constexpr int noParser = 50006;
inline constexpr int noXmlFile = 50007;
inline constexpr int libraryNode = 50008;
inline constexpr int elementNotFound = 50009;

}  // namespace codes

/// The code and the text of an object's last error. Both are borrowed from the object.
class ErrorRecord {
public:
  template <std::size_t size>
  ErrorRecord(int& code, char (&text)[size]) : m_code(&code), m_text(text), m_size(size) {}

  void setCode(int code) { *m_code = code; }

  const char* text() const { return m_text; }

  /// Sets the text; `format` is that of printf. A text that is too long is cut.
  void setText(const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// Sets the text and logs it; `origin` names the operation.
  void report(const char* origin, const char* format, ...) __attribute__((format(printf, 3, 4)));

private:
  int* m_code;   // borrowed
  char* m_text;  // borrowed
  std::size_t m_size;
};

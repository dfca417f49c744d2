#include "Text.h"

#include <algorithm>
#include <stdexcept>

#include "TqLibEmulator.h"

namespace {

bool isUtf8(const std::string& text) {
  try {
    MyTranscode(text.c_str());
    return true;
  } catch (const std::range_error&) {
    return false;
  }
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

// An empty result is how CLI11 is told that a text is good.
std::string complaintAboutText(const std::string& text) {
  if (text.empty()) return "the text is empty";
  if (!isUtf8(text)) return "the text is not valid UTF-8";
  if (std::any_of(text.begin(), text.end(), isControl)) return "the text has a control character";
  return {};
}

std::string complaintAboutName(const std::string& name) {
  if (std::string complaint = complaintAboutText(name); !complaint.empty()) return complaint;
  // "Lib_" and ".xml" go around a library's name in its file name.
  constexpr std::size_t kLongestName = 255 - 8;
  if (name == "." || name == ".." || name.find('/') != std::string::npos ||
      name.size() > kLongestName) {
    return "the name cannot be a file name: " + name;
  }
  return {};
}

}  // namespace

CLI::Validator catalogueText() {
  return {complaintAboutText, "", "catalogue text"};
}

CLI::Validator nameText() {
  return {complaintAboutName, "", "name"};
}

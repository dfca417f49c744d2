#include "base/Command.h"

#include <climits>
#include <stdexcept>

#include "TqLibEmulator.h"
#include "files/Names.h"

namespace {

bool isUtf8(const std::string& text) {
  try {
    MyTranscode(text.c_str());
    return true;
  } catch (const std::range_error&) {
    return false;
  }
}

// Those beyond ASCII take two bytes; terminals obey them too.
bool hasControl(const std::string& text) {
  unsigned char before = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte == 0x7F || (before == 0xC2 && byte < 0xA0)) return true;
    before = byte;
  }
  return false;
}

// An empty result is how CLI11 is told that a text is good.
std::string complaintAboutText(const std::string& text) {
  if (text.empty()) return "the text is empty";
  if (!isUtf8(text)) return "the text is not valid UTF-8";
  if (hasControl(text)) return "the text has a control character";
  return {};
}

std::string complaintAboutName(const std::string& name) {
  if (std::string complaint = complaintAboutText(name); !complaint.empty()) return complaint;
  if (name == "." || name == ".." || name.find('/') != std::string::npos ||
      names::fileOf(name).size() > NAME_MAX) {
    return "the name cannot be a file name: " + name;
  }
  return {};
}

std::string complaintAboutVolume(const std::string& name) {
  if (!name.starts_with(".tqlib-")) return {};
  return "a name that begins with .tqlib- is for the tool's own folders: " + name;
}

}  // namespace

CLI::Validator catalogueText() {
  return {complaintAboutText, "", "catalogue text"};
}

CLI::Validator nameText() {
  return {complaintAboutName, "", "name"};
}

CLI::Option* addText(CLI::App& command, const char* name, std::string& value, const char* help) {
  return command.add_option(name, value, help)->check(catalogueText());
}

CLI::Option* addLibraryOperand(CLI::App& command, std::string& library) {
  return command.add_option("LIBRARY", library, "Serial number of the library")
      ->required()
      ->check(nameText());
}

CLI::Option* addDriveOperand(CLI::App& command, std::string& serial) {
  return addText(command, "SERIAL", serial, "Serial number of the drive")->required();
}

CLI::Option* addVolumeOperand(CLI::App& command, std::string& volume, const char* name,
                              const char* help) {
  return command.add_option(name, volume, help)
      ->required()
      ->check(nameText())
      ->check(CLI::Validator(complaintAboutVolume, "", "volume name"));
}

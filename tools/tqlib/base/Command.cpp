// The texts that operands accept, and the operands that many commands share.
#include "base/Command.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <iostream>
#include <stdexcept>

#include "files/Names.h"
#include "files/XmlText.h"

namespace {

// For CLI11, an empty result means that the text is valid.
std::string complaintAboutText(const std::string& text) {
  if (text.empty()) return "the text is empty";
  // Terminals also obey the control characters beyond ASCII.
  const auto isControl = [](wchar_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); };
  try {
    return std::ranges::any_of(toWide(text), isControl) ? "the text has a control character" : "";
  } catch (const std::range_error&) {
    return "the text is not valid UTF-8";
  }
}

std::string complaintAboutName(const std::string& name) {
  if (std::string complaint = complaintAboutText(name); !complaint.empty()) return complaint;
  const bool isFileName = name != "." && name != ".." && name.find('/') == std::string::npos &&
                          names::fileOf(name).size() <= NAME_MAX;
  return isFileName ? "" : "the name cannot be a file name: " + name;
}

}  // namespace

CLI::Validator catalogueText() {
  return {complaintAboutText, "", "catalogue text"};
}

CLI::Validator nameText() {
  return {complaintAboutName, "", "name"};
}

std::string volumeNameProblem(const std::string& name) {
  if (std::string complaint = complaintAboutName(name); !complaint.empty()) return complaint;
  const bool isOwn = name.starts_with(names::temporaryPrefix) || name.ends_with(checksumSuffix) ||
                     name.ends_with(blockLengthSuffix);
  return isOwn ? "reserved, because it begins with .tqlib- or ends with .sha256 or .blocks: " + name
               : "";
}

CLI::App& addGroup(CLI::App& app, const char* name, const char* help) {
  return *app.add_subcommand(name, help)->require_subcommand(1);
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
  return command.add_option(name, volume, help)->required()->check(volumeNameProblem);
}

void addConsent(CLI::App& command, bool& isGiven) {
  command.add_flag("--yes", isGiven, "Do not ask");
}

void requireConsent(bool isGiven, const std::string& deed) {
  if (isGiven) return;
  if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
    throw Failure("needs confirmation: " + deed, "repeat it with --yes");
  }
  std::cerr << deed << "? [y/N] ";
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "yes") throw Failure("nothing was changed");
}

// tqlib drive: drives leave a library, and tell what they hold.
#include <algorithm>
#include <iostream>
#include <memory>

#include "Catalogue.h"
#include "Commands.h"
#include "Configuration.h"
#include "Errors.h"
#include "Output.h"
#include "Text.h"

namespace {

struct Options {
  std::string library;
  std::string serial;
  std::string host;
};

// The library passes over files that it cannot read, and has no drive at all to answer for when
// there is no list.
std::string currentVolume(const std::string& serial) {
  const std::string missing = "no listed library has a drive " + serial;
  if (listedLibraries().empty()) throw Failure(missing);
  TqLibEmulator emulator;
  std::string barcode;
  if (!emulator.GetCurrentVolume(serial, barcode)) {
    if (emulator.getErrorCode() == 0) throw Failure(missing);
    throw libraryFailure(missing + " that can be read", emulator, "");
  }
  // The text of an unreadable barcode is the last one, whatever was passed over before it.
  char text[64] = "";
  emulator.getLastError(text, sizeof text);
  if (barcode.empty() && std::string(text).starts_with("Failed to read value")) {
    throw Failure("the barcode in drive " + serial + " cannot be read");
  }
  return barcode;
}

void showVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const std::string barcode = currentVolume(options.serial);
  // Scripts take the line for the volume's name, so the words go elsewhere.
  if (barcode.empty() && !session.json) {
    std::cerr << "drive " << options.serial << " holds no medium" << std::endl;
  }
  printResult(session.json, {{"drive", options.serial}, {"barcode", barcode}}, barcode);
}

void requireHostSeesDrive(const Options& options) {
  if (findDrive(devicesOf(options.library, options.host), options.serial) == nullptr) {
    throw Failure("host " + options.host + " does not see a drive " + options.serial +
                  " of library " + options.library);
  }
}

void removeDrive(const Options& options, const Session& session) {
  // The library would take its own serial number for the order to remove all of it.
  if (options.serial == options.library) {
    throw UsageError(options.serial + " is the library itself; see \"library remove\"");
  }
  useConfiguration(session.config);
  requireWholeLibrary(options.library);
  if (!options.host.empty()) requireHostSeesDrive(options);

  const std::size_t before = countInFile(options.library, "Drive");
  TqLibEmulator emulator;
  if (!emulator.RemoveVirtualDevice(options.host, options.serial, options.library)) {
    throw libraryFailure("drive " + options.serial + " cannot be removed", emulator,
                         "library " + options.library + " has no such drive");
  }
  const bool gone = countInFile(options.library, "Drive") < before;
  if (!gone && (options.host.empty() ||
                findDrive(devicesOf(options.library, options.host), options.serial) != nullptr)) {
    throw Failure("the removal of drive " + options.serial + " was not saved; see the log");
  }
  printResult(session.json,
              {{"library", options.library},
               {"drive", options.serial},
               {"host", options.host},
               {"removed", gone}},
              gone
                  ? "drive " + options.serial + " removed"
                  : "host " + options.host + " does not see drive " + options.serial + " any more");
}

using Run = void (*)(const Options&, const Session&);

CLI::App* addCommand(CLI::App& group, Session& session, const char* name, const char* help,
                     const std::shared_ptr<Options>& options, Run run) {
  CLI::App* command = group.add_subcommand(name, help);
  command->callback([options, run, &session] {
    session.action = [options, run, &session] { run(*options, session); };
  });
  return command;
}

void addSerial(CLI::App& command, Options& options) {
  command.add_option("SERIAL", options.serial, "Serial number of the drive")
      ->required()
      ->check(catalogueText());
}

}  // namespace

void addDriveCommands(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("drive", "Drives")->require_subcommand(1);
  addDriveAddition(*group, session);

  auto removal = std::make_shared<Options>();
  CLI::App* remove = addCommand(*group, session, "remove",
                                "Remove a drive; it should be empty, since what it holds is "
                                "forgotten with it",
                                removal, removeDrive);
  remove->add_option("LIBRARY", removal->library, "Serial number of its library")
      ->required()
      ->check(nameText());
  addSerial(*remove, *removal);
  remove
      ->add_option("--host", removal->host,
                   "Only this host loses the drive; with the last host the drive goes")
      ->check(catalogueText());

  auto query = std::make_shared<Options>();
  addSerial(*addCommand(*group, session, "volume", "Print the barcode of the medium in a drive",
                        query, showVolume),
            *query);
}

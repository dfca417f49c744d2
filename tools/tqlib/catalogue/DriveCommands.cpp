// tqlib drive: drives leave a library, and tell what they hold.
#include <iostream>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "files/Names.h"
#include "catalogue/Configuration.h"
#include "catalogue/XmlScan.h"

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

/// Whether the drive itself is gone, not only what one of several hosts sees of it.
bool removeFromLibrary(const Options& options) {
  requireWholeLibrary(options.library);
  if (!options.host.empty()) requireHostSeesDrive(options);
  const std::string file = libraryFile(options.library);
  const std::size_t before = countElements(file, names::drive);
  TqLibEmulator emulator;
  if (!emulator.RemoveVirtualDevice(options.host, options.serial, options.library)) {
    throw libraryFailure("drive " + options.serial + " cannot be removed", emulator,
                         "library " + options.library + " has no such drive");
  }
  requireSaved(emulator, "the removal of drive " + options.serial);
  return countElements(file, names::drive) < before;
}

void removeDrive(const Options& options, const Session& session) {
  // The library would take its own serial number for the order to remove all of it.
  if (options.serial == options.library) {
    throw UsageError(options.serial + " is the library itself; see \"tqlib library remove\"");
  }
  useConfiguration(session.config);
  bool gone = false;
  asOneStep([&] { gone = removeFromLibrary(options); });
  printResult(session.json,
              {{"library", options.library},
               {"drive", options.serial},
               {"host", options.host},
               {"removed", gone}},
              gone
                  ? "drive " + options.serial + " removed"
                  : "host " + options.host + " does not see drive " + options.serial + " any more");
}

}  // namespace

void addDriveCommands(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("drive", "Drives")->require_subcommand(1);
  addDriveAddition(*group, session);

  const auto [remove, removal] = addCommand(
      *group, session,
      {"remove", "Remove a drive; it should be empty, since what it holds is forgotten with it",
       "tqlib drive remove LIB001 LIB001D2"},
      removeDrive);
  addLibraryOperand(remove, removal.library);
  addDriveOperand(remove, removal.serial);
  addText(remove, "--host", removal.host,
          "Only this host loses the drive; with the last host the drive goes");

  const auto [volume, query] = addCommand(
      *group, session,
      {"volume", "Print the barcode of the medium in a drive", "tqlib drive volume LIB001D1"},
      showVolume);
  addDriveOperand(volume, query.serial);
}

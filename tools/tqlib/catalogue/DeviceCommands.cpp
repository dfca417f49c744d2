// tqlib devices: what a host sees.
#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/Printing.h"

namespace {

struct Options {
  std::string host;
  std::string library;
};

std::vector<SCSIUnitNoMap> allDevices(const std::string& host) {
  TqLibEmulator emulator;
  std::vector<SCSIUnitNoMap> devices;
  if (!emulator.GetVirtualDeviceInfo(host, devices)) {
    throw libraryFailure("the devices cannot be read", emulator, kSeeLog);
  }
  return devices;
}

std::vector<SCSIUnitNoMap> wantedDevices(const Options& options) {
  if (options.library.empty()) return allDevices(options.host);
  // The query passes over a file without the library as if the host saw nothing of it.
  requireWholeLibrary(options.library);
  return devicesOf(options.library, options.host);
}

std::string deviceTable(const std::vector<SCSIUnitNoMap>& devices) {
  std::vector<Row> rows{{"TYPE", "SERIAL", "VENDOR", "MODEL", "PORT", "B:T:L", "PATH"}};
  for (const SCSIUnitNoMap& device : devices) {
    const std::string place = std::to_string(device.Bus) + ":" + std::to_string(device.Target) +
                              ":" + std::to_string(device.Lun);
    rows.push_back({isLibrary(device) ? "library" : "drive", device.SerialNumber,
                    device.Manufacturer, device.Model, device.ScsiPort, place, device.AccessPath});
  }
  return tableText(rows);
}

void listDevices(const Options& options, const Session& session) {
  useConfiguration(session.config);
  const std::vector<SCSIUnitNoMap> devices = wantedDevices(options);
  Json list = Json::array();
  for (const SCSIUnitNoMap& device : devices) list.push_back(deviceJson(device));
  printResult(session.json, {{"host", options.host}, {"devices", std::move(list)}},
              devices.empty() ? "host " + options.host + " sees no device" : deviceTable(devices));
}

void addList(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const auto [command, options] = addCommand(parent, session, texts, listDevices);
  addText(command, "HOST", options.host, "Name of the host")->required();
  addLibraryOperand(command, options.library)
      ->required(false)
      ->description("Only this library's devices");
}

}  // namespace

void addDeviceCommands(CLI::App& app, Session& session) {
  CLI::App* group =
      app.add_subcommand("device", "Devices as hosts see them")->require_subcommand(1);
  addList(*group, session,
          {"list", "List the devices that a host sees", "tqlib device list host-a"});
  addList(app, session, {"devices", "Short for \"device list\"", "tqlib devices host-a LIB001"});
}

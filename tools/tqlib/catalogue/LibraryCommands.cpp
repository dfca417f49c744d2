// tqlib library list, show and remove.
#include <unistd.h>

#include <algorithm>
#include <optional>

#include <boost/algorithm/string/trim.hpp>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Devices.h"

namespace {

struct Options {
  std::string library;
  std::string host;
  bool purge = false;
  bool yes = false;
};

/// The keys in the list; null when it cannot be read, for the reason in `failure`.
Json readList(std::optional<Failure>& failure) {
  try {
    return listedLibraries();
  } catch (const Failure& reason) {
    failure = reason;
    return {};
  }
}

/// Whether a library is in the list; null when the list cannot be read.
Json isIn(const Json& list, const std::string& library) {
  if (list.is_null()) return {};
  return std::find(list.begin(), list.end(), library) != list.end();
}

// A library that cannot be read is an entry like the others and does not hide them.
Json entryOf(const std::string& library, const Json& isListed) {
  const bool exists = libraryExists(library);
  Json entry{{"library", library},
             {"listed", isListed},
             {"file", exists},
             {"state", exists ? "ok" : "no file"}};
  if (!exists) return entry;
  try {
    const std::vector<LibElement> elements = inventory(library);
    for (const ElementRange& range : kRanges) {
      entry[range.key] = std::ranges::count(elements, range.type, &LibElement::elementType);
    }
    const auto fullSlots = std::ranges::count_if(elements, [](const LibElement& element) {
      return element.isOccupied && element.elementType == LIB_ELEM_SLOT;
    });
    entry["media"] = std::ranges::count(elements, true, &LibElement::isOccupied);
    entry["share"] = static_cast<double>(fullSlots) / std::max(1, entry["slots"].get<int>());
  } catch (const RemovedLibrary&) {
    entry["state"] = "removed";
  } catch (const Failure& failure) {
    entry["state"] = "unreadable";
    entry["reason"] = failure.what();
  }
  return entry;
}

/// The listed libraries, then those that only have a file.
void listLibraries(const NoOptions&, const Session& session) {
  std::optional<Failure> failure;
  const Json list = readList(failure);
  Json entries = Json::array();
  for (const Json& library : list) entries.push_back(entryOf(library, true));
  for (const std::string& library : storedLibraries()) {
    const Json isListed = isIn(list, library);
    if (isListed != true) entries.push_back(entryOf(library, isListed));
  }
  printList(
      session.json, {}, "libraries", entries,
      {"library", "state", "listed", "drives", "slots", "mailSlots", "media", "share", "reason"});
  if (failure) throw Failure(*failure);
}

void addIdentity(const SCSIUnitFields& library, Json& values, std::vector<Row>& rows) {
  addFields(values, library, kIdentity);
  rows.push_back({"identity:", boost::trim_copy(library.Manufacturer + ' ' + library.Model + ' ' +
                                                library.FirmwareRevision)});
  for (const ElementRange& range : kRanges) {
    const int count = library.*range.count;
    const int base = library.*range.base;
    values[range.key] = {{"count", count}, {"base", base}};
    rows.push_back(
        {fmt::format("{}:", range.name), fmt::format("{} from address {}", count, base)});
  }
}

void addDevices(const LibraryDevices& devices, Json& values, std::vector<Row>& rows) {
  for (const Device& drive : devices.drives) {
    const int address = drive.element.elementAddress;
    values["driveList"].push_back({{"serial", drive.record.SerialNumber}, {"address", address}});
    rows.push_back({"drive:", fmt::format("{} {}", drive.record.SerialNumber,
                                          address < 0 ? "without an address"
                                                      : fmt::format("at address {}", address))});
  }
  for (const auto& [host, units] : unitsByHost(devices)) {
    for (const SCSIUnit& unit : units) values["units"].push_back(deviceJson(unit));
    rows.push_back({"host:", fmt::format("{} sees {}", units.front().MAName,
                                         counted(units.size(), "device"))});
  }
}

void showLibrary(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const LibraryDevices devices = devicesIn(library);
  std::optional<Failure> failure;
  const Json isListed = isIn(readList(failure), library);
  const Status status = readStatus(library, true);
  const std::string file = libraryFile(library);
  Json values{{"library", library}, {"file", file}, {"listed", isListed}};
  std::vector<Row> rows{{"library:", library + (isListed == false ? " (not listed)" : "")},
                        {"file:", file}};
  addIdentity(devices.library.record, values, rows);
  values.update({{"driveList", Json::array()}, {"units", Json::array()}});
  addDevices(devices, values, rows);
  values["status"] = statusJson(status);
  rows.push_back({"status:", statusText(status)});
  printResult(session.json, values, tableText(rows));
  if (failure) throw Failure(*failure);
}

void dropLibrary(const std::string& host, const std::string& library) {
  change(
      "cannot remove library " + library,
      [&](TqLibEmulator& emulator) { return emulator.RemoveVirtualDevice(host, library, library); },
      isListed(library) ? seeLog() : "it is not listed; --purge deletes its file");
}

/// Removes the library, or with `purge` also what is left of one.
void removeWhole(const std::string& library, bool purge) {
  const bool wasListed = isListed(library);
  const bool exists = libraryExists(library);
  if (!exists && wasListed && !purge) throw listedOnly(library);
  if (!exists && !wasListed) requireLibrary(library);
  if (exists && !(purge && wasRemoved(library))) readLibraryFile(library);
  if (purge) return purgeLibrary(library);
  dropLibrary("", library);
  takeOffList(library);  // further entries
}

/// Removes the unit of one host. Returns whether it was the last one: then the library is removed,
/// too, but its entry in the list stays.
bool removeUnit(const std::string& library, const std::string& host, bool purge) {
  const LibraryDevices devices = devicesIn(library);
  unitFor(devices.library, host);
  const bool isLast = devices.library.hosts.size() == 1;
  if (purge && !isLast) {
    throw Failure(fmt::format("cannot delete the file: other hosts see library {} too", library));
  }
  dropLibrary(host, library);
  if (purge) purgeLibrary(library);
  return isLast;
}

/// Asks before places of media are forgotten. A library that cannot be read may be removed as well.
void askToRemove(const std::string& library) {
  if (!isListed(library)) requireLibrary(library);
  std::string content = "cannot be read";
  try {
    const auto media = std::ranges::count(inventory(library), true, &LibElement::isOccupied);
    content = fmt::format("has {}; their volumes stay",
                          counted(static_cast<std::size_t>(media), "medium"));
  } catch (const RemovedLibrary&) {
    content = "was removed before";
  } catch (const Failure&) {  // its media are not known
  }
  requireConsent(false, fmt::format("delete library {}, which {}", library, content));
}

void removeLibrary(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const std::string& host = options.host;
  const bool purge = options.purge;
  bool isRemoved = true;
  const bool isAsked = purge || (host.empty() && isatty(STDIN_FILENO) == 1);
  if (isAsked && !options.yes) askToRemove(library);
  asOneStep([&] {
    if (host.empty()) return removeWhole(library, purge);
    isRemoved = removeUnit(library, host, purge);
  });
  const std::string file = libraryFile(library);
  Json values{{"library", library}};
  if (!host.empty()) values["host"] = host;
  values.update({{"removed", isRemoved}, {"file", file}, {"purged", purge}});
  std::string text = fmt::format("host {} no longer sees library {}", host, library);
  if (isRemoved) {
    const std::string outcome =
        purge ? "is deleted"
              : fmt::format(
                    "stays, empty, and prevents a new library of that name until {} deletes it",
                    purgeCommand(library));
    text = fmt::format("library {} removed; its file {}: {}", library, outcome, file);
  }
  printResult(session.json, values, text);
}

}  // namespace

void addLibraryCommands(CLI::App& group, Session& session) {
  addCommand(group, session, listLibraries, {"list", "List all libraries", "tqlib library list"});
  const auto [show, shown] =
      addCommand(group, session, showLibrary,
                 {"show", "Show a library, its drives and its hosts", "tqlib library show LIB001"});
  addLibraryOperand(show, shown.library);

  const auto [remove, options] = addCommand(
      group, session, removeLibrary,
      {"remove", "Remove a library with its drives and shelves; the data of its media stays",
       "tqlib library remove LIB001 --purge --yes"});
  addLibraryOperand(remove, options.library);
  addText(remove, "--host", options.host,
          "Only this host loses the library; the last host's removal removes the library");
  remove.add_flag("--purge", options.purge,
                  "Delete the file too, so that the library can be created again");
  addConsent(remove, options.yes);
}

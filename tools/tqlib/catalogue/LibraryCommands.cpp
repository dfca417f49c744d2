// tqlib library list, show and remove.
//
// Reports are made as JSON first; the tables for people are made of that.
#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/ElementName.h"
#include "catalogue/LibraryList.h"
#include "catalogue/Status.h"
#include "files/Names.h"

namespace {

struct Options {
  std::string library;
  std::string host;
  bool purge = false;
};

/// The listed libraries, or why the list cannot be read.
struct List {
  std::vector<std::string> libraries;
  std::optional<Failure> failure;
};

List readList() {
  try {
    return {listedLibraries(), std::nullopt};
  } catch (const Failure& failure) {
    return {{}, failure};
  }
}

/// Whether a library is in the list; null when the list cannot be read.
Json isIn(const List& list, const std::string& library) {
  const auto& libraries = list.libraries;
  if (list.failure) return {};
  return std::find(libraries.begin(), libraries.end(), library) != libraries.end();
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
      entry[range.key] = std::count_if(
          elements.begin(), elements.end(),
          [&](const LibElement& element) { return element.elementType == range.type; });
    }
  } catch (const RemovedLibrary&) {
    entry["state"] = "removed";
  } catch (const Failure& failure) {
    entry["state"] = "unreadable";
    entry["reason"] = failure.what();
  }
  return entry;
}

Row entryRow(const Json& entry) {
  Row row{entry["library"], entry["state"]};
  if (entry["listed"] == false) row.back() += ", not listed";
  for (const ElementRange& range : kRanges) {
    row.push_back(entry.contains(range.key) ? entry[range.key].dump() : "-");
  }
  row.push_back(entry.value("reason", ""));
  return row;
}

/// The listed libraries, then those that only have a file.
void listLibraries(const Options&, const Session& session) {
  useConfiguration(session.config);
  const List list = readList();
  Json entries = Json::array();
  for (const std::string& library : list.libraries) entries.push_back(entryOf(library, true));
  for (const std::string& library : storedLibraries()) {
    if (const Json isListed = isIn(list, library); isListed != true) {
      entries.push_back(entryOf(library, isListed));
    }
  }
  std::vector<Row> rows{{"LIBRARY", "STATE", "DRIVES", "SLOTS", "MAIL"}};
  for (const Json& entry : entries) rows.push_back(entryRow(entry));
  const std::string text = entries.empty() ? "no libraries" : tableText(rows);
  printResult(session.json, {{"libraries", std::move(entries)}}, text);
  if (list.failure) throw Failure(*list.failure);
}

Json libraryJson(const std::string& library, const Json& isListed, const Status& status) {
  const std::vector<SCSIUnitNoMap> devices = devicesOf(library, "");
  Json values{{"library", library}, {"file", libraryFile(library)}, {"listed", isListed}};
  // The query has no record of a library that no host sees.
  if (const SCSIUnitNoMap* record = findLibrary(devices)) {
    values["vendor"] = record->Manufacturer;
    values["model"] = record->Model;
    values["firmware"] = record->FirmwareRevision;
    for (const ElementRange& range : kRanges) {
      values[range.key] = {{"count", record->*range.count}, {"base", record->*range.base}};
    }
  }
  values["driveList"] = Json::array();
  for (const SCSIUnitNoMap& device : devices) {
    if (isLibrary(device)) continue;
    values["driveList"].push_back(
        {{"serial", device.SerialNumber}, {"address", device.DriveBaseAddress}});
  }
  values["units"] = Json::array();
  for (const std::string& host : hostsOf(library)) {
    for (const SCSIUnitNoMap& device : devicesOf(library, host)) {
      values["units"].push_back(deviceJson(device));
    }
  }
  values["status"] = statusJson(status);
  return values;
}

std::string textOf(const Json& values, const char* key) {
  return values.at(key).get<std::string>();
}

std::vector<Row> rowsOf(const Json& library, const Status& status) {
  const bool isUnlisted = library["listed"] == false;
  std::vector<Row> rows{
      {"library:", textOf(library, "library") + (isUnlisted ? " (not listed)" : "")},
      {"file:", textOf(library, "file")}};
  if (library.contains("vendor")) {
    rows.push_back(
        {"identity:", fmt::format("{} {} {}", textOf(library, "vendor"), textOf(library, "model"),
                                  textOf(library, "firmware"))});
    for (const ElementRange& range : kRanges) {
      const Json& values = library[range.key];
      rows.push_back(
          {std::string(range.name) + ":",
           fmt::format("{} from address {}", values["count"].dump(), values["base"].dump())});
    }
  }
  for (const Json& drive : library["driveList"]) {
    const int address = drive["address"];
    const std::string place =
        address < 0 ? "without an address" : fmt::format("at address {}", address);
    rows.push_back({"drive:", textOf(drive, "serial") + " " + place});
  }
  for (const Json& unit : library["units"]) {
    const std::string path = textOf(unit, "path");
    rows.push_back(
        {"host:", fmt::format("{} sees {}{}", textOf(unit, "host"), textOf(unit, "serial"),
                              path.empty() ? "" : " (" + path + ")")});
  }
  rows.push_back({"status:", statusText(status)});
  return rows;
}

void showLibrary(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireWholeLibrary(options.library);
  const List list = readList();
  const Status status = readStatus(options.library, true);
  const Json values = libraryJson(options.library, isIn(list, options.library), status);
  printResult(session.json, values, tableText(rowsOf(values, status)));
  if (list.failure) throw Failure(*list.failure);
}

void dropLibrary(const std::string& host, const std::string& library) {
  TqLibEmulator emulator;
  if (!emulator.RemoveVirtualDevice(host, library, library)) {
    throw libraryFailure(
        "cannot remove library " + library, emulator,
        isListed(library) ? seeLog() : "it is not listed; --purge deletes its file");
  }
  requireSaved(emulator, "the removal of library " + library);
}

/// Removes the library, or with `purge` also what is left of one.
void removeWhole(const std::string& library, bool purge) {
  const bool wasListed = isListed(library);
  const bool exists = libraryExists(library);
  if (!exists && wasListed && !purge) throw listedOnly(library);
  if (!exists && !wasListed) requireLibrary(library);
  if (exists && !(purge && wasRemoved(library))) requireWholeLibrary(library);
  if (purge) return purgeLibrary(library);
  dropLibrary("", library);
  takeOffList(library);  // further entries
}

/// Removes the unit of one host. Whether it was the last one: then the library is gone too, but its
/// entry in the list stays.
bool removeUnit(const std::string& library, const std::string& host, bool purge) {
  requireWholeLibrary(library);
  if (findLibrary(devicesOf(library, host)) == nullptr) {
    throw Failure(fmt::format("host {} does not see library {}", host, library));
  }
  const bool isLast = countElements(libraryFile(library), names::libraryScsiUnit) == 1;
  if (purge && !isLast) {
    throw Failure(fmt::format("cannot delete the file: other hosts see library {} too", library));
  }
  dropLibrary(host, library);
  if (purge) purgeLibrary(library);
  return isLast;
}

void removeLibrary(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const std::string& host = options.host;
  const bool purge = options.purge;
  useConfiguration(session.config);
  bool isRemoved = true;
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
    const std::string fate =
        purge ? "is deleted"
              : fmt::format("stays and prevents a new library of that name until {} deletes it",
                            purgeCommand(library));
    text = fmt::format("library {} removed; its file {}: {}", library, fate, file);
  }
  printResult(session.json, values, text);
}

}  // namespace

void addLibraryCommands(CLI::App& group, Session& session) {
  addCommand(group, session, {"list", "List all libraries", "tqlib library list"}, listLibraries);
  const auto [show, shown] =
      addCommand(group, session,
                 {"show", "Show a library, its drives and its hosts", "tqlib library show LIB001"},
                 showLibrary);
  addLibraryOperand(show, shown.library);

  const auto [remove, options] = addCommand(
      group, session,
      {"remove", "Remove a library with its drives and shelves; the data of its media stays",
       "tqlib library remove LIB001 --purge"},
      removeLibrary);
  addLibraryOperand(remove, options.library);
  addText(remove, "--host", options.host,
          "Only this host loses the library; the last host's removal removes the library");
  remove.add_flag("--purge", options.purge,
                  "Delete the file too, so that the library can be created again");
}

// tqlib library list and show: the libraries of the catalogue, and one of them in full.
#include <algorithm>
#include <optional>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/Printing.h"
#include "catalogue/Status.h"

namespace {

struct Options {
  std::string library;
};

struct Entry {
  std::string library;
  std::optional<bool> listed;  // nothing when the list cannot be read
  std::string state = "ok";
  std::string reason;
  std::vector<LibElement> elements;
};

std::string countText(const Entry& entry, int type) {
  const auto count =
      std::count_if(entry.elements.begin(), entry.elements.end(),
                    [=](const LibElement& element) { return element.elementType == type; });
  return std::to_string(count);
}

// One library that cannot be read is told of like the others and hides none of them.
Entry examine(const std::string& library, std::optional<bool> listed) {
  Entry entry{library, listed, "ok", "", {}};
  if (!libraryExists(library)) {
    entry.state = "no file";
    return entry;
  }
  try {
    entry.elements = inventory(library);
  } catch (const RemovedLibrary&) {
    entry.state = "removed";
  } catch (const Failure& failure) {
    entry.state = "unreadable";
    entry.reason = failure.what();
  }
  return entry;
}

/// The listed libraries and then those that have a file alone. A list that cannot be read is none,
/// and leaves its `complaint`.
std::vector<Entry> allEntries(std::optional<Failure>& complaint) {
  std::vector<std::string> listed;
  try {
    listed = listedLibraries();
  } catch (const Failure& failure) {
    complaint = failure;
  }
  std::vector<Entry> entries;
  entries.reserve(listed.size());
  for (const std::string& library : listed) entries.push_back(examine(library, true));
  const std::optional<bool> unlisted = complaint ? std::nullopt : std::optional(false);
  for (const std::string& library : storedLibraries()) {
    if (std::find(listed.begin(), listed.end(), library) == listed.end()) {
      entries.push_back(examine(library, unlisted));
    }
  }
  return entries;
}

Json entryJson(const Entry& entry) {
  Json values{{"library", entry.library},
              {"listed", entry.listed ? Json(*entry.listed) : Json()},
              {"file", entry.state != "no file"},
              {"state", entry.state}};
  if (!entry.reason.empty()) values["reason"] = entry.reason;
  if (entry.state == "ok") {
    values["drives"] = std::stoi(countText(entry, LIB_ELEM_DRIVE));
    values["slots"] = std::stoi(countText(entry, LIB_ELEM_SLOT));
    values["mailSlots"] = std::stoi(countText(entry, LIB_ELEM_MAIL_SLOT));
  }
  return values;
}

Row entryRow(const Entry& entry) {
  Row row{entry.library, entry.listed.value_or(true) ? entry.state : entry.state + ", not listed"};
  for (const int type : {LIB_ELEM_DRIVE, LIB_ELEM_SLOT, LIB_ELEM_MAIL_SLOT}) {
    row.push_back(entry.state == "ok" ? countText(entry, type) : "-");
  }
  row.push_back(entry.reason);
  return row;
}

void listLibraries(const Options&, const Session& session) {
  useConfiguration(session.config);
  std::optional<Failure> complaint;
  const std::vector<Entry> entries = allEntries(complaint);
  Json list = Json::array();
  std::vector<Row> rows{{"LIBRARY", "STATE", "DRIVES", "SLOTS", "MAIL"}};
  for (const Entry& entry : entries) {
    list.push_back(entryJson(entry));
    rows.push_back(entryRow(entry));
  }
  printResult(session.json, {{"libraries", std::move(list)}},
              entries.empty() ? "no libraries" : tableText(rows));
  if (complaint) throw Failure(*complaint);
}

struct Report {
  Json values;
  std::vector<Row> rows;

  Report(Json first, std::vector<Row> firstRows)
      : values(std::move(first)), rows(std::move(firstRows)) {}
};

void addIdentity(Report& report, const SCSIUnitNoMap& library) {
  report.values["vendor"] = library.Manufacturer;
  report.values["model"] = library.Model;
  report.values["firmware"] = library.FirmwareRevision;
  report.rows.push_back(
      {"identity:", library.Manufacturer + " " + library.Model + " " + library.FirmwareRevision});
  const struct {
    const char* key;
    const char* label;
    int count;
    int base;
  } kRanges[] = {
      {"drives", "drives:", library.DriveCount, library.DriveBaseAddress},
      {"slots", "slots:", library.SlotCount, library.SlotBaseAddress},
      {"mailSlots", "mail slots:", library.IEPortCount, library.IEPortBaseAddress},
  };
  for (const auto& range : kRanges) {
    report.values[range.key] = {{"count", range.count}, {"base", range.base}};
    report.rows.push_back(
        {range.label, std::to_string(range.count) + " from address " + std::to_string(range.base)});
  }
}

// The catalogue has a number far below zero for a drive that its library has not placed.
std::string placeText(int address) {
  return address < 0 ? " without an address" : " at address " + std::to_string(address);
}

void addDrives(Report& report, const std::vector<SCSIUnitNoMap>& devices) {
  Json drives = Json::array();
  for (const SCSIUnitNoMap& device : devices) {
    if (isLibrary(device)) continue;
    drives.push_back({{"serial", device.SerialNumber}, {"address", device.DriveBaseAddress}});
    report.rows.push_back({"drive:", device.SerialNumber + placeText(device.DriveBaseAddress)});
  }
  report.values["driveList"] = std::move(drives);
}

void addUnits(Report& report, const std::string& library) {
  Json units = Json::array();
  for (const std::string& host : hostsOf(library)) {
    std::string sentence = host;
    const char* separator = " sees ";
    for (const SCSIUnitNoMap& device : devicesOf(library, host)) {
      units.push_back(deviceJson(device));
      sentence.append(separator).append(device.SerialNumber);
      separator = ", ";
      if (!device.AccessPath.empty()) sentence.append(" (").append(device.AccessPath).append(")");
    }
    report.rows.push_back({"host:", sentence});
  }
  report.values["units"] = std::move(units);
}

/// Nothing, and the `complaint`, when the list cannot be read: the library itself can be.
std::optional<bool> findInList(const std::string& library, std::optional<Failure>& complaint) {
  try {
    return isListed(library);
  } catch (const Failure& failure) {
    complaint = failure;
    return std::nullopt;
  }
}

void showLibrary(const Options& options, const Session& session) {
  const std::string& library = options.library;
  useConfiguration(session.config);
  requireWholeLibrary(library);
  const std::vector<SCSIUnitNoMap> devices = devicesOf(library, "");
  std::optional<Failure> complaint;
  const std::optional<bool> listed = findInList(library, complaint);
  Report report({{"library", library},
                 {"file", libraryFile(library)},
                 {"listed", listed ? Json(*listed) : Json()}},
                {{"library:", library + (listed.value_or(true) ? "" : " (not listed)")},
                 {"file:", libraryFile(library)}});
  // A library that no host sees is in no answer of the query.
  if (const SCSIUnitNoMap* record = findLibrary(devices)) addIdentity(report, *record);
  addDrives(report, devices);
  addUnits(report, library);
  const Status status = readStatus(library, true);
  report.values["status"] = statusJson(status);
  report.rows.push_back({"status:", statusText(status)});
  printResult(session.json, report.values, tableText(report.rows));
  if (complaint) throw Failure(*complaint);
}

}  // namespace

void addLibraryReports(CLI::App& group, Session& session) {
  addCommand(group, session, {"list", "List all libraries", "tqlib library list"}, listLibraries);
  const auto [show, options] =
      addCommand(group, session,
                 {"show", "Show a library, its drives and its hosts", "tqlib library show LIB001"},
                 showLibrary);
  addLibraryOperand(show, options.library);
}

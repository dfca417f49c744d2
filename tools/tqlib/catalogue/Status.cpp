// tqlib status: sets, reads, lists and clears the SCSI status that a library reports in place of
// its own.

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/Devices.h"
#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

struct Options {
  std::string library;
  Status wanted;
  int lifetime = 3600;
  int count = 1;
  bool peek = false;
};

/// The API counts a file without its library as success, with a text.
void changeStatus(const std::string& library, const std::string& complaint,
                  const std::function<bool(TqLibEmulator&)>& call) {
  requireLibrary(library);
  change(fmt::format("{} of library {}", complaint, library), [&](TqLibEmulator& emulator) {
    char text[2] = "";
    const bool isDone = call(emulator);
    emulator.getLastError(text, sizeof text);
    if (!isDone || *text != '\0') readLibraryFile(library);  // throws what is wrong
    return isDone;
  });
}

void setStatus(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const Status& wanted = options.wanted;
  if (wanted == Status{}) throw UsageError("--status, --asc and --ascq of 0 are no status");
  // The end of the lifetime is kept in 32 bits; a later one would wrap into the past.
  if (std::time(nullptr) + std::time_t{options.lifetime} > INT_MAX) {
    throw UsageError(fmt::format("--lifetime is too long: {}", options.lifetime));
  }
  changeStatus(library, "cannot set the status", [&](TqLibEmulator& emulator) {
    return emulator.SetVirtualDeviceStatus(library, wanted.status, wanted.asc, wanted.ascq,
                                           options.lifetime, options.count);
  });
  Json values{{"library", library}};
  values.update(statusJson(wanted));
  values.update({{"lifetime", options.lifetime}, {"count", options.count}});
  std::string text =
      fmt::format("library {} reports {} for {} s", library, statusText(wanted), options.lifetime);
  if (options.count == 1) text += ", once";
  if (options.count > 1) text += fmt::format(", {} times at most", options.count);
  printResult(session.json, values, text);
}

void getStatus(const Options& options, const Session& session) {
  const Status status = readStatus(options.library, options.peek);
  Json values{{"library", options.library}};
  values.update(statusJson(status));
  printResult(session.json, values, statusText(status));
}

void listStatus(const Options& options, const Session& session) {
  Json list = Json::array();
  const auto failure = forEachLibrary(options.library, [&](const std::string& library) {
    const ParsedFile file = readLibraryFile(library);
    const auto* record = Descendants(rootOf(file.document()), names::scsiStatus).first();
    if (record == nullptr) return;
    const auto number = [&](const XMLCh* name) {
      return std::atoi(toUtf8(record->getAttribute(name)).c_str());
    };
    const auto left = std::max<std::time_t>(number(names::expireTime) - std::time(nullptr), 0);
    // One that has expired is still reported by the next read, which removes it.
    const int count = left == 0 ? 1 : number(names::count);
    const Status status = readStatus(library, true);
    Json& values = list.emplace_back(Json{{"library", library}});
    values.update(statusJson(status));
    values.update({{"report", statusText(status)}, {"seconds", left}});
    values["reports"] = count > 0 ? Json(count) : Json();
  });
  if (failure && list.empty()) throw Failure(*failure);
  printList(session.json, {}, "injections", list, {"library", "report", "reports", "seconds"});
  if (failure) throw Failure(*failure);
}

void clearStatus(const Options& options, const Session& session) {
  const std::string& library = options.library;
  requireLibrary(library);
  bool isCleared = false;
  changeFile(libraryFile(library), nullptr, [&](xercesc::DOMDocument& document) {
    xercesc::DOMElement& whole = wholeLibrary(&document, library);
    while (xercesc::DOMElement* record = Descendants(&whole, names::scsiStatus).first()) {
      removeFrom(*record->getParentNode(), record);
      isCleared = true;
    }
    return isCleared;
  });
  printResult(session.json, {{"library", library}, {"cleared", isCleared}},
              fmt::format("library {} {}", library,
                          isCleared ? "reports its own status again" : "has no injected status"));
}

// CLI11 would take 010 for an octal number; an operator means ten.
void addByte(CLI::App& command, const char* name, int& value, const char* help) {
  command.add_option(name, value, help)
      ->required()
      ->check(CLI::Range(255))
      ->transform([](const std::string& text) {
        const auto first = text.find_first_not_of('0');
        return first == std::string::npos || text[first] == 'x' ? text : text.substr(first);
      });
}

}  // namespace

Status readStatus(const std::string& library, bool peek) {
  Status read;
  changeStatus(library, "cannot read the status", [&](TqLibEmulator& emulator) {
    return emulator.GetVirtualDeviceStatus(library, read.status, read.asc, read.ascq, peek);
  });
  return read;
}

Json statusJson(const Status& status) {
  return {{"status", status.status},
          {"asc", status.asc},
          {"ascq", status.ascq},
          {"injected", status != Status{}}};
}

std::string statusText(const Status& status) {
  if (status == Status{}) return "no status";
  return fmt::format("status {:#04x}, asc {:#04x}, ascq {:#04x}", status.status, status.asc,
                     status.ascq);
}

void addStatusCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "status", "Injected SCSI status of a library");
  const auto [set, setting] =
      addCommand(group, session, setStatus,
                 {"set", "Inject a status, in place of an earlier one",
                  "tqlib status set LIB001 --status 0x02 --asc 0x04 --ascq 0x01 --count 2"});
  addLibraryOperand(set, setting.library);
  addByte(set, "--status", setting.wanted.status, "SCSI status, such as 2 or 0x02");
  addByte(set, "--asc", setting.wanted.asc, "Additional sense code, such as 0x04");
  addByte(set, "--ascq", setting.wanted.ascq, "Additional sense code qualifier");
  set.add_option("--lifetime", setting.lifetime, "Lifetime in seconds")
      ->check(CLI::Range(1, INT_MAX))
      ->capture_default_str();
  set.add_option("--count", setting.count, "Number of reports; 0: no limit within the lifetime")
      ->check(CLI::Range(INT_MAX))
      ->capture_default_str();

  const auto [get, reading] =
      addCommand(group, session, getStatus,
                 {"get", "Read the status as an emulator does, which counts as a report",
                  "tqlib status get LIB001 --peek"});
  addLibraryOperand(get, reading.library);
  get.add_flag("--peek", reading.peek, "Do not count the read");

  const auto [list, listing] = addCommand(
      group, session, listStatus,
      {"list", "List the injected statuses, without counting a report", "tqlib status list"});
  addLibraryOperand(list, listing.library)->required(false)->description("Only this library's");

  const auto [clear, clearing] =
      addCommand(group, session, clearStatus,
                 {"clear", "Remove the injected status of a library", "tqlib status clear LIB001"});
  addLibraryOperand(clear, clearing.library);
}

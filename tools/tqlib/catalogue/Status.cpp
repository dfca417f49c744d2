// tqlib status: sets and reads the SCSI status that a library reports in place of its own.

#include <charconv>
#include <cstdint>
#include <ctime>
#include <limits>

#include "catalogue/CatalogueCommands.h"

namespace {

constexpr int kMost = std::numeric_limits<int>::max();

struct Options {
  std::string library;
  std::string status;
  std::string asc;
  std::string ascq;
  int lifetime = 3600;
  int count = 1;
  bool peek = false;
};

// A leading 0 has no meaning: an operator who writes 010 means ten.
int parseByte(const char* option, const std::string& text) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  std::uint8_t value = 0;
  const char* end = text.data() + text.size();
  const auto [last, error] =
      std::from_chars(text.data() + (isHex ? 2 : 0), end, value, isHex ? 16 : 10);
  if (error == std::errc() && last == end) return value;
  throw UsageError(
      fmt::format("{} takes a number from 0 to 255, or 0x00 to 0xff: {}", option, text));
}

void setStatus(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const Status wanted{parseByte("--status", options.status), parseByte("--asc", options.asc),
                      parseByte("--ascq", options.ascq)};
  if (wanted == Status{}) throw UsageError("--status, --asc and --ascq of 0 are no status");
  // The end of the lifetime is kept in 32 bits; a later one would wrap into the past.
  if (std::time(nullptr) + std::time_t{options.lifetime} > kMost) {
    throw UsageError(fmt::format("--lifetime is too long: {}", options.lifetime));
  }
  asOneStep([&] {
    requireWholeLibrary(library);
    change("cannot set the status of library " + library, [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualDeviceStatus(library, wanted.status, wanted.asc, wanted.ascq,
                                             options.lifetime, options.count);
    });
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
  requireWholeLibrary(options.library);
  const Status status = readStatus(options.library, options.peek);
  Json values{{"library", options.library}};
  values.update(statusJson(status));
  printResult(session.json, values, statusText(status));
}

}  // namespace

Status readStatus(const std::string& library, bool peek) {
  Status read;
  change("cannot read the status of library " + library, [&](TqLibEmulator& emulator) {
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
      addCommand(group, session,
                 {"set", "Inject a status, in place of an earlier one",
                  "tqlib status set LIB001 --status 0x02 --asc 0x04 --ascq 0x01 --count 2"},
                 setStatus);
  addLibraryOperand(set, setting.library);
  set.add_option("--status", setting.status, "SCSI status, such as 2 or 0x02")->required();
  set.add_option("--asc", setting.asc, "Additional sense code, such as 0x04")->required();
  set.add_option("--ascq", setting.ascq, "Additional sense code qualifier")->required();
  set.add_option("--lifetime", setting.lifetime, "Lifetime in seconds")
      ->check(CLI::Range(1, kMost))
      ->capture_default_str();
  set.add_option("--count", setting.count, "Number of reports; 0: no limit within the lifetime")
      ->check(CLI::Range(kMost))
      ->capture_default_str();

  const auto [get, reading] =
      addCommand(group, session,
                 {"get", "Read the status as an emulator does, which counts as a report",
                  "tqlib status get LIB001 --peek"},
                 getStatus);
  addLibraryOperand(get, reading.library);
  get.add_flag("--peek", reading.peek, "Do not count the read");
}

// tqlib status: a SCSI status that a library reports in place of its own.
#include <charconv>
#include <ctime>
#include <limits>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Configuration.h"
#include "catalogue/Status.h"

namespace {

struct Options {
  std::string library;
  std::string status;
  std::string asc;
  std::string ascq;
  int lifetime = 3600;
  int count = 1;
  bool peek = false;
};

// A leading 0 alone means nothing: an operator who writes 010 means ten.
int parseByte(const char* option, const std::string& text) {
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data() + (hex ? 2 : 0), end, value, hex ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || value > 0xFF) {
    throw UsageError(std::string(option) +
                     " takes a number from 0 to 255, or 0x00 to 0xff: " + text);
  }
  return static_cast<int>(value);
}

// The end of the lifetime is kept in 32 bits; one that does not fit would lie in the past.
void checkLifetime(int seconds) {
  const long long now = std::time(nullptr);
  if (now + seconds > std::numeric_limits<int>::max()) {
    throw UsageError("--lifetime is too long: " + std::to_string(seconds));
  }
}

std::string timesText(int count) {
  if (count == 0) return "";
  return count == 1 ? ", once" : ", " + std::to_string(count) + " times at most";
}

void setStatus(const Options& options, const Session& session) {
  const Status wanted{parseByte("--status", options.status), parseByte("--asc", options.asc),
                      parseByte("--ascq", options.ascq)};
  if (wanted == Status{})
    throw UsageError("--status, --asc and --ascq of 0 together are no status");
  checkLifetime(options.lifetime);
  useConfiguration(session.config);
  asOneStep([&] {
    requireWholeLibrary(options.library);
    TqLibEmulator emulator;
    if (!emulator.SetVirtualDeviceStatus(options.library, wanted.status, wanted.asc, wanted.ascq,
                                         options.lifetime, options.count)) {
      throw libraryFailure("the status of library " + options.library + " cannot be set", emulator);
    }
    requireSaved(emulator, "the status of library " + options.library);
  });
  Json values{{"library", options.library}};
  values.update(statusJson(wanted));
  values["lifetime"] = options.lifetime;
  values["count"] = options.count;
  printResult(session.json, values,
              "library " + options.library + " reports " + statusText(wanted) + " for " +
                  std::to_string(options.lifetime) + " s" + timesText(options.count));
}

void getStatus(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireWholeLibrary(options.library);
  const Status status = readStatus(options.library, options.peek);
  Json values{{"library", options.library}};
  values.update(statusJson(status));
  printResult(session.json, values, statusText(status));
}

}  // namespace

void addStatusCommands(CLI::App& app, Session& session) {
  CLI::App* group =
      app.add_subcommand("status", "Injected SCSI status of a library")->require_subcommand(1);
  const auto [set, setting] =
      addCommand(*group, session,
                 {"set", "Inject a status, in place of an earlier one",
                  "tqlib status set LIB001 --status 0x02 --asc 0x04 --ascq 0x01 --count 2"},
                 setStatus);
  addLibraryOperand(set, setting.library);
  set.add_option("--status", setting.status, "SCSI status, such as 2 or 0x02")->required();
  set.add_option("--asc", setting.asc, "Additional sense code, such as 0x04")->required();
  set.add_option("--ascq", setting.ascq, "Additional sense code qualifier")->required();
  set.add_option("--lifetime", setting.lifetime, "Seconds that it lasts")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->capture_default_str();
  set.add_option("--count", setting.count, "Times that it is reported; 0: as long as it lasts")
      ->check(CLI::Range(std::numeric_limits<int>::max()))
      ->capture_default_str();

  const auto [get, reading] =
      addCommand(*group, session,
                 {"get", "Read the status as an emulator does, which uses it up",
                  "tqlib status get LIB001 --peek"},
                 getStatus);
  addLibraryOperand(get, reading.library);
  get.add_flag("--peek", reading.peek, "Do not count the read");
}

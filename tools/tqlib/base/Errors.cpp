// Failures get their text, and the next step for the operator, from a table of the API's codes.
#include "base/Errors.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>

namespace {

struct Meaning {
  int code;
  std::string text;
  std::string next{};
};

constexpr char kCheck[] = "\"tqlib check\" shows which file, and what is wrong in it";
constexpr char kLocked[] = "fuser(1) on the folder names the process";

// The API sets a text for some of its codes only.
const Meaning kMeanings[] = {
    {764, "the file cannot be opened"},
    {767, "the write failed"},
    {kVolumeFull, "the volume is now larger than nVirtualTapeSizeMB allows; what was written stays",
     "raise nVirtualTapeSizeMB in the configuration, or erase the volume"},
    {786, "the seek stopped short"},
    {797, "the seek stopped short"},
    {979, "the read failed"},
    {993, "the volume name cannot be used"},
    {kDestinationOccupied, "the destination is occupied"},
    {kSourceEmpty, "the source is empty"},
    {50001, "a device's address cannot be read", kCheck},
    {50002, "a drive's element address cannot be read", kCheck},
    {50003, "a device's identity cannot be read", kCheck},
    {50004, "the counts and addresses of a library cannot be read", kCheck},
    {50005, "a catalogue file cannot be parsed", kCheck},
    {50006, "no memory for a parser"},
    {50007, "the catalogue folder cannot be made, or a file has no root"},
    {50008, "the catalogue file does not hold exactly this library", kCheck},
    {kElementNotFound, "no such element"},
};

volatile std::sig_atomic_t recordedSignal = 0;

}  // namespace

std::string seeLog() {
  const char* const log = std::getenv("TQ_PLATFORM_LOG");
  return log != nullptr && *log != '\0' ? fmt::format("see the log, {}", log)
                                        : "see the log above, on standard error";
}

std::string adviceOn(const std::string& text) {
  static const std::pair<int, const char*> kAdvice[] = {
      {ENOSPC, "free space on that file system, then try again"},
      {EDQUOT, "free space within the quota, then try again"},
      {EACCES, "run it as the user of the emulator"},
      {EPERM, "run it as the user of the emulator"},
      {EROFS, "the file system is mounted read-only"}};
  for (const auto& [code, advice] : kAdvice) {
    if (text.find(std::generic_category().message(code)) != std::string::npos) return advice;
  }
  return "";
}

Failure systemFailure(const std::string& what, int code) {
  return Failure(what + ": " + std::generic_category().message(code));
}

Failure libraryFailure(const std::string& what, const MMS2BaseError& error,
                       const std::string& otherwise) {
  std::array<char, 16384> buffer{};
  error.getLastError(buffer.data(), static_cast<int>(buffer.size()));
  const std::string text = buffer.data();
  const int code = error.getErrorCode();
  const auto* const known = std::ranges::find(kMeanings, code, &Meaning::code);
  const Meaning meaning =
      known != std::end(kMeanings) ? *known : Meaning{code, std::generic_category().message(code)};
  std::string reason = text.empty() ? otherwise : text;
  if (code != 0) {
    reason = fmt::format("{} (error {}){}{}", meaning.text, code, text.empty() ? "" : ": ", text);
  }
  const bool isLocked = text.find("another process keeps it locked") != std::string::npos;
  return Failure(what + ": " + reason, isLocked ? kLocked : meaning.next, code);
}

void watchForInterruption() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // it stays ignored: nohup, a background job
    action = {};                                 // no SA_RESTART: a signal ends a blocked write
    action.sa_handler = [](int number) { recordedSignal = number; };
    sigaction(signal, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);
}

int interruption() {
  return recordedSignal;
}

void stopIfInterrupted(const std::string& left) {
  if (interruption() != 0) throw Interrupted(left);
}

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  _exit(128 + signal);  // the signal is blocked
}

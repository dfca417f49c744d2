#include "base/Errors.h"

#include <system_error>
#include <vector>

namespace {

// The library's transfers leave a code without a text, so the words are ours.
struct Meaning {
  int code;
  const char* text;
  const char* next = "";
};

constexpr char kCheck[] = "\"tqlib check\" tells which file, and what is wrong in it";
constexpr char kLocked[] = "fuser(1) on the folder names the process";
constexpr char kElements[] = "\"tqlib element list LIBRARY\" shows what is where";

const Meaning kMeanings[] = {
    {764, "the file cannot be opened"},
    {767, "the write failed"},
    {785, "the volume is now larger than nVirtualTapeSizeMB allows; what was written stays",
     "raise nVirtualTapeSizeMB in the configuration, or erase the volume"},
    {786, "the seek stopped short"},
    {797, "the seek stopped short"},
    {979, "the read failed"},
    {993, "the volume name cannot be used"},
    {40006, "the destination is occupied", kElements},
    {40018, "the source is empty", kElements},
    {50001, "how a host addresses a device cannot be read", kCheck},
    {50002, "a drive's element address cannot be read", kCheck},
    {50003, "a device's identity cannot be read", kCheck},
    {50004, "the counts and addresses of a library cannot be read", kCheck},
    {50005, "a catalogue file cannot be parsed", kCheck},
    {50006, "there is no memory for a parser"},
    {50007, "the catalogue folder cannot be made, or a file has no root"},
    {50008, "the catalogue file does not hold this one library", kCheck},
    {50009, "there is no such element", kElements},
};

const Meaning* find(int code) {
  for (const Meaning& known : kMeanings) {
    if (known.code == code) return &known;
  }
  return nullptr;
}

std::string meaning(int code) {
  const Meaning* known = find(code);
  return known ? known->text : std::generic_category().message(code);
}

std::string nextStep(int code) {
  const Meaning* known = find(code);
  return known ? known->next : "";
}

}  // namespace

Failure systemFailure(const std::string& what, int code) {
  return Failure(what + ": " + std::generic_category().message(code));
}

Failure libraryFailure(const std::string& what, const MMS2BaseError& error,
                       const std::string& otherwise) {
  std::vector<char> buffer(16384);
  error.getLastError(buffer.data(), static_cast<int>(buffer.size()));
  const std::string text = buffer.data();
  const int code = error.getErrorCode();

  std::string reason;
  if (code != 0) reason = "error " + std::to_string(code) + ", " + meaning(code);
  if (!text.empty()) reason += (reason.empty() ? "" : ": ") + text;
  const bool isLocked = text.find("another process keeps it locked") != std::string::npos;
  return Failure(what + ": " + (reason.empty() ? otherwise : reason),
                 isLocked ? kLocked : nextStep(code), code);
}

Failure notSaved(const std::string& what) {
  return Failure(what + " was not saved", kSeeLog);
}

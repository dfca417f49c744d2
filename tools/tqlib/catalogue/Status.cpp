#include "catalogue/Status.h"

#include <cstdio>
#include <limits>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"

Status readStatus(const std::string& library, bool peek) {
  // The library leaves the values alone, and calls that a success, when the file has no library.
  constexpr int kNever = std::numeric_limits<int>::min();
  const Status untouched{kNever, kNever, kNever};
  Status read = untouched;
  TqLibEmulator emulator;
  if (!emulator.GetVirtualDeviceStatus(library, read.status, read.asc, read.ascq, peek) ||
      read == untouched) {
    throw libraryFailure("the status of library " + library + " cannot be read", emulator);
  }
  if (!peek) requireSaved(emulator, "that the status of library " + library + " was read");
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
  char text[64];
  std::snprintf(text, sizeof text, "status 0x%02x, asc 0x%02x, ascq 0x%02x",
                static_cast<unsigned>(status.status), static_cast<unsigned>(status.asc),
                static_cast<unsigned>(status.ascq));
  return text;
}

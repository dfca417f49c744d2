// The SCSI status that a library reports in place of its own.
#pragma once

#include <string>

#include "base/Output.h"

struct Status {
  int status = 0;
  int asc = 0;
  int ascq = 0;

  bool operator==(const Status&) const = default;
};

/// The status of a library that is whole, all zero when it has none; counted as a report unless
/// `peek`. Throws Failure when it cannot be read.
Status readStatus(const std::string& library, bool peek);

Json statusJson(const Status& status);
std::string statusText(const Status& status);

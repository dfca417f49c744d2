// What a check, and a mending after it, tell: lines for people, JSON for programs.
#pragma once

#include <string>
#include <vector>

#include "base/Output.h"
#include "check/Checkup.h"

/// Findings with what came of them.
struct MendedFindings {
  struct One {
    Finding finding;
    bool isFixed;
    std::string copy;  ///< of the file before it was changed; empty when it was not
  };
  std::vector<One> all;             ///< also those that came up only after the mending
  std::vector<std::string> copies;  ///< of all files that were changed
  std::vector<std::string> failures;
  std::size_t left = 0;
};

Json checkJson(const Checkup& checkup);
Json mendingJson(const Checkup& checkup, const MendedFindings& mended);

/// The findings by file, each on a line, many of one kind cut short; empty without any.
std::string findingsText(const Findings& findings);

/// "3 findings: ..." or "no findings: ...", and how much was looked at.
std::string summaryText(const Checkup& checkup);

std::string mendingText(const MendedFindings& mended);

std::size_t countMendable(const Findings& findings);

// tqlib check: what is wrong in the catalogue and the volumes, and mending what has one right
// answer.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <tuple>

#include "check/CheckCommand.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Configuration.h"
#include "check/CheckReport.h"
#include "check/Checkup.h"
#include "check/Mending.h"

namespace {

struct Options {
  bool fix = false;
  bool yes = false;
};

/// What two findings of the same fault have in common.
using Identity = std::tuple<const Kind*, std::string, std::string>;

Identity identityOf(const Finding& finding) {
  return {finding.kind, finding.place.file, finding.place.element};
}

std::set<Identity> identitiesOf(const Findings& findings) {
  std::set<Identity> identities;
  for (const Finding& finding : findings) identities.insert(identityOf(finding));
  return identities;
}

// Beside a process that keeps the lock these are not looked at.
bool isUnknown(const Finding& finding, const Findings& after) {
  const bool isOfLock = finding.is(kinds::kHalfSaved) || finding.is(kinds::kLeftOver);
  return isOfLock && std::any_of(after.begin(), after.end(), [](const Finding& other) {
           return other.is(kinds::kLockedCatalogue);
         });
}

// The verdict is that of a second check: a call that mends may say that it did and not have done
// so.
MendedFindings compare(const Findings& before, const Findings& after, const KeptCopies& copies) {
  MendedFindings result;
  result.left = after.size();
  result.copies = copies.all();
  const std::set<Identity> left = identitiesOf(after);
  for (const Finding& finding : before) {
    const bool isFixed = left.count(identityOf(finding)) == 0 && !isUnknown(finding, after);
    result.all.push_back({finding, isFixed, isFixed ? copies.copyOf(finding.place.file) : ""});
  }
  const std::set<Identity> known = identitiesOf(before);
  for (const Finding& finding : after) {
    if (known.count(identityOf(finding)) == 0) result.all.push_back({finding, false, ""});
  }
  return result;
}

/// The findings of `after` that `before` does not have.
Findings newFindings(const MendedFindings& mended, std::size_t known) {
  Findings findings;
  for (std::size_t i = known; i < mended.all.size(); ++i) findings.push_back(mended.all[i].finding);
  return findings;
}

// Nobody could answer a question that a script asks.
bool isConfirmed(const Options& options, const Checkup& checkup) {
  if (options.yes || isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) return true;
  std::cerr << "Mend " << countMendable(checkup.findings) << " of " << checkup.findings.size()
            << " findings? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

std::size_t mendFindings(const Checkup& before, bool json) {
  KeptCopies copies;
  const std::vector<std::string> failures = mend(before.findings, copies);
  copies.settle();
  const Checkup after = checkCatalogue();
  MendedFindings mended = compare(before.findings, after.findings, copies);
  mended.failures = failures;
  const Findings more = newFindings(mended, before.findings.size());
  printResult(
      json, mendingJson(after, mended),
      mendingText(mended) + findingsText(more) + "after the mending: " + summaryText(after));
  return mended.left;
}

void endWith(std::size_t findings) {
  if (findings > 0) throw SilentFailure();
}

void fix(const Options& options, bool json) {
  const Checkup before = checkCatalogue();
  if (!json) std::cout << findingsText(before.findings) << std::flush;
  const bool isMendable = countMendable(before.findings) > 0;
  if (isMendable && isConfirmed(options, before)) {
    endWith(mendFindings(before, json));
    return;
  }
  printResult(json, mendingJson(before, compare(before.findings, before.findings, KeptCopies())),
              (isMendable ? "nothing was mended; " : "") + summaryText(before));
  endWith(before.findings.size());
}

void check(const Options& options, const Session& session) {
  useConfiguration(session.config);
  if (options.fix) {
    fix(options, session.json);
    return;
  }
  const Checkup checkup = checkCatalogue();
  printResult(session.json, checkJson(checkup),
              findingsText(checkup.findings) + summaryText(checkup));
  endWith(checkup.findings.size());
}

}  // namespace

void addCheckCommand(CLI::App& app, Session& session) {
  const auto [command, options] =
      addCommand(app, session,
                 {"check",
                  "Look for faults in the catalogue and the volumes; the exit code is 1 when there "
                  "are findings",
                  "tqlib check || echo 'there are findings'"},
                 check);
  CLI::Option* fix = command.add_flag(
      "--fix", options.fix, "Mend what has one right answer, keeping copies of the files");
  command.add_flag("--yes", options.yes, "Do not ask before mending")->needs(fix);
}

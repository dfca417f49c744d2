// tqlib check: what is wrong in the catalogue and the volumes, and the fix of what has one right
// answer.
#include "check/CheckCommand.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <set>

#include "base/Output.h"
#include "catalogue/Configuration.h"
#include "check/Checkup.h"

namespace {

struct Options {
  bool fix = false;
  bool yes = false;
};

/// What two findings of the same fault have in common.
std::string identityOf(const Finding& finding) {
  return fmt::format("{}\n{}\n{}", finding.fault->kind, finding.place.file, finding.place.element);
}

std::set<std::string> identitiesOf(const std::vector<Finding>& findings) {
  std::set<std::string> identities;
  for (const Finding& finding : findings) identities.insert(identityOf(finding));
  return identities;
}

// Nobody could answer a question that a script asks.
bool isConfirmed(const Options& options, const std::vector<Finding>& findings) {
  if (options.yes || isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) return true;
  std::cerr << fmt::format("Fix {} of {} findings? [y/N] ", countFixable(findings), findings.size())
            << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

/// Says of each finding whether it is fixed, which a second check shows, and appends those that
/// only this one found.
std::vector<Finding> outcomes(std::vector<Finding> before, const Checkup& after,
                              const FixResult& result) {
  const std::set<std::string> known = identitiesOf(before);
  const std::set<std::string> left = identitiesOf(after.findings);
  const bool isLocked = std::ranges::any_of(
      after.findings, [](const Finding& finding) { return finding.is(faults::kLockedCatalogue); });
  for (Finding& finding : before) {
    // These are not looked for while another process keeps the lock.
    const bool isUnknown =
        isLocked && (finding.is(faults::kHalfSaved) || finding.is(faults::kStaleFile));
    finding.isFixed = !left.contains(identityOf(finding)) && !isUnknown;
    const auto copy = result.copies.find(finding.place.file);
    if (*finding.isFixed && copy != result.copies.end()) finding.copy = copy->second;
  }
  for (const Finding& finding : after.findings) {
    if (known.contains(identityOf(finding))) continue;
    before.push_back(finding);
    before.back().isFixed = false;
  }
  return before;
}

/// Returns the number of findings that are left.
std::size_t fix(const Options& options, bool json) {
  const Checkup before = checkCatalogue();
  if (!json) std::cout << findingsText(before.findings) << std::flush;
  const bool isFixable = countFixable(before.findings) > 0;
  const bool isWanted = isFixable && isConfirmed(options, before.findings);
  const FixResult result = isWanted ? fixFindings(before.findings) : FixResult();
  const Checkup after = isWanted ? checkCatalogue() : before;
  const std::vector<Finding> all = outcomes(before.findings, after, result);
  Json values = findingsJson(all, after.scope);
  values["left"] = after.findings.size();
  values["copies"] = Json::array();
  for (const auto& copy : result.copies) values["copies"].push_back(copy.second);
  values["failures"] = result.failures;
  std::string text = isFixable ? "nothing was fixed; " : "";
  if (isWanted) {
    const auto firstNew = all.begin() + static_cast<std::ptrdiff_t>(before.findings.size());
    text = outcomesText(all, result) + findingsText({firstNew, all.end()}) + "after the fix: ";
  }
  printResult(json, values, text + summaryText(after.findings, after.scope));
  return after.findings.size();
}

std::size_t report(bool json) {
  const Checkup checkup = checkCatalogue();
  printResult(json, findingsJson(checkup.findings, checkup.scope),
              findingsText(checkup.findings) + summaryText(checkup.findings, checkup.scope));
  return checkup.findings.size();
}

void check(const Options& options, const Session& session) {
  const std::size_t findings = options.fix ? fix(options, session.json) : report(session.json);
  if (findings > 0) throw SilentFailure();
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
      "--fix", options.fix, "Fix what has one right answer, and keep copies of the files");
  command.add_flag("--yes", options.yes, "Do not ask before the fix")->needs(fix);
}

// tqlib check: reports what is wrong in the catalogue and the volumes, and fixes what has only one
// correct repair. Prints lines for people and JSON for programs.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <iostream>

#include "base/Output.h"
#include "base/Screen.h"
#include "check/Checkup.h"

namespace {

constexpr std::size_t kMostOfAKind = 50;  // are shown to people
constexpr const char* kSeverities[] = {"error", "warning", "note"};
constexpr Colour kSeverityColours[] = {Colour::Red, Colour::Yellow, Colour::Cyan};

struct Options {
  bool fix = false;
  bool yes = false;
};

std::size_t countFixable(const std::vector<Finding>& findings) {
  return static_cast<std::size_t>(std::ranges::count_if(findings, &Finding::isFixable));
}

/// "1 volume", "2 volumes".
std::string counted(std::size_t count, const char* one) {
  return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
}

/// A line with a coloured word in front. A name on disk may have control characters for terminals.
std::string line(const char* word, Colour colour, const std::string& text) {
  return fmt::format("{}: {}\n", coloured(word, colour, STDOUT_FILENO),
                     fitted(text, INT_MAX, Charset::Utf8));
}

/// The texts of the first findings of each kind, made by `textOf`, and how many more there are.
template <typename TextOf>
std::string textsOf(const std::vector<Finding>& findings, TextOf textOf) {
  std::string text;
  std::map<std::string, std::size_t> counts;
  for (const Finding& finding : findings) {
    if (++counts[finding.fault->kind] <= kMostOfAKind) text += textOf(finding);
  }
  for (const auto& [kind, count] : counts) {
    if (count <= kMostOfAKind) continue;
    text +=
        fmt::format("and {} more of the kind {}; --json lists all\n", count - kMostOfAKind, kind);
  }
  return text;
}

/// The findings by file, each on a line; empty without any.
std::string findingsText(const std::vector<Finding>& findings) {
  std::string file;
  return textsOf(findings, [&](const Finding& finding) {
    const auto& [path, element] = finding.place;
    const std::string heading = path == file ? "" : fitted(path, INT_MAX, Charset::Utf8) + "\n";
    file = path;
    const auto severity = static_cast<std::size_t>(finding.fault->severity);
    return heading + "  " +
           line(kSeverities[severity], kSeverityColours[severity],
                fmt::format("{}: {}{}{}; next: {}", finding.fault->kind, element,
                            element.empty() ? "" : ": ", finding.text, finding.next));
  });
}

/// "3 findings (...)" or "no findings", and how much was looked at.
std::string summaryText(const Checkup& checkup) {
  const std::string checked =
      fmt::format("{} {}, {} and {} checked", checkup.libraries,
                  checkup.libraries == 1 ? "library" : "libraries",
                  counted(checkup.elements, "element"), counted(checkup.volumes.size(), "volume"));
  const std::vector<Finding>& findings = checkup.findings;
  if (findings.empty()) return "no findings; " + checked;
  std::map<Severity, std::size_t> counts;
  for (const Finding& finding : findings) ++counts[finding.fault->severity];
  std::string severities;
  for (const auto& [severity, count] : counts) {
    severities += severities.empty() ? "" : ", ";
    severities += counted(count, kSeverities[static_cast<std::size_t>(severity)]);
  }
  const std::size_t fixable = countFixable(findings);
  return fmt::format("{} ({}); {}{}", counted(findings.size(), "finding"), severities, checked,
                     fixable == 0 ? "" : fmt::format("; \"tqlib check --fix\" fixes {}", fixable));
}

/// The findings that were fixed, or not fixed although they are fixable, and the result of the fix,
/// each on a line.
std::string outcomesText(std::vector<Finding> findings, const FixResult& result) {
  std::erase_if(findings, [](const Finding& finding) {
    return !finding.isFixed.value_or(false) && !finding.isFixable;
  });
  std::string text = textsOf(findings, [](const Finding& finding) {
    const auto& [path, element] = finding.place;
    const bool isFixed = finding.isFixed.value_or(false);
    return line(isFixed ? "fixed" : "not fixed", isFixed ? Colour::Green : Colour::Red,
                fmt::format("{}: {}{}{}", finding.fault->kind, element,
                            element.empty() ? "" : " of ", path));
  });
  for (const auto& copy : result.copies) text += line("kept copy", Colour::Blue, copy.second);
  for (const std::string& failure : result.failures) text += line("failed", Colour::Red, failure);
  return text;
}

Json checkupJson(const Checkup& checkup) {
  Json list = Json::array();
  for (const Finding& finding : checkup.findings) {
    Json& json = list.emplace_back(
        Json{{"kind", finding.fault->kind},
             {"severity", kSeverities[static_cast<std::size_t>(finding.fault->severity)]},
             {"file", finding.place.file},
             {"element", finding.place.element},
             {"text", finding.text},
             {"next", finding.next},
             {"fixable", finding.isFixable}});
    if (finding.isFixed) json["fixed"] = *finding.isFixed;
    if (!finding.copy.empty()) json["copy"] = finding.copy;
  }
  return {{"findings", std::move(list)},
          {"count", checkup.findings.size()},
          {"checked",
           {{"libraries", checkup.libraries},
            {"elements", checkup.elements},
            {"volumes", checkup.volumes.size()}}}};
}

/// What two findings of the same fault have in common.
std::string identityOf(const Finding& finding) {
  return fmt::format("{}\n{}\n{}", finding.fault->kind, finding.place.file, finding.place.element);
}

std::set<std::string> identitiesOf(const std::vector<Finding>& findings) {
  std::set<std::string> identities;
  for (const Finding& finding : findings) identities.insert(identityOf(finding));
  return identities;
}

// In a script, nobody can answer the question.
bool isConfirmed(const Options& options, const std::vector<Finding>& findings) {
  if (options.yes || isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) return true;
  std::cerr << fmt::format("Fix {} of {} findings? [y/N] ", countFixable(findings), findings.size())
            << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

/// Compares two checks: marks each finding of the first one as fixed or not, and appends those that
/// only the second one found.
std::vector<Finding> outcomes(std::vector<Finding> before, const std::vector<Finding>& after,
                              const FixResult& result) {
  const std::set<std::string> known = identitiesOf(before);
  const std::set<std::string> left = identitiesOf(after);
  const bool isLocked = std::ranges::any_of(
      after, [](const Finding& finding) { return finding.is(faults::kLockedCatalogue); });
  for (Finding& finding : before) {
    // These are not looked for while another process keeps the lock.
    const bool isUnknown =
        isLocked && (finding.is(faults::kHalfSaved) || finding.is(faults::kStaleFile));
    finding.isFixed = !left.contains(identityOf(finding)) && !isUnknown;
    const auto copy = result.copies.find(finding.place.file);
    if (*finding.isFixed && copy != result.copies.end()) finding.copy = copy->second;
  }
  for (const Finding& finding : after) {
    if (known.contains(identityOf(finding))) continue;
    before.push_back(finding);
    before.back().isFixed = false;
  }
  return before;
}

/// Fixes what `checkup` found; then it holds what a second check found.
void fix(Checkup& checkup, const Options& options, bool json) {
  const std::vector<Finding> before = checkup.findings;
  const bool isFixable = countFixable(before) > 0;
  const bool isWanted = isFixable && isConfirmed(options, before);
  const FixResult result = isWanted ? fixFindings(before) : FixResult();
  if (isWanted) checkup = checkCatalogue();
  Checkup all = checkup;
  all.findings = outcomes(before, checkup.findings, result);
  Json values = checkupJson(all);
  values["left"] = checkup.findings.size();
  values["copies"] = Json::array();
  for (const auto& copy : result.copies) values["copies"].push_back(copy.second);
  values["failures"] = result.failures;
  std::string text = isFixable ? "nothing was fixed; " : "";
  if (isWanted) {
    const auto firstNew = all.findings.begin() + static_cast<std::ptrdiff_t>(before.size());
    text = outcomesText(all.findings, result) + findingsText({firstNew, all.findings.end()}) +
           "after the fix: ";
  }
  printResult(json, values, text + summaryText(checkup));
}

void check(const Options& options, const Session& session) {
  Checkup checkup = checkCatalogue();
  if (!session.json) std::cout << findingsText(checkup.findings) << std::flush;
  if (options.fix) fix(checkup, options, session.json);
  if (!options.fix) printResult(session.json, checkupJson(checkup), summaryText(checkup));
  if (!checkup.findings.empty()) throw SilentFailure();
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

// tqlib check: reports what is wrong in the catalogue and the volumes, as lines for people and JSON
// for programs, and has it fixed.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <span>

#include "base/Screen.h"
#include "check/Checkup.h"

namespace {

constexpr std::size_t kMostOfAKind = 10;  // are shown to people

struct Options {
  std::string library;
  bool notes = false;
  bool strict = false;
  bool fix = false;
  bool yes = false;
};

std::size_t countOf(Severity severity, const std::vector<Finding>& findings) {
  return static_cast<std::size_t>(std::ranges::count(
      findings, severity, [](const Finding& each) { return each.fault->severity; }));
}

std::pair<const char*, Colour> headingOf(const Finding& finding) {
  constexpr std::pair<const char*, Colour> kHeadings[] = {
      {"error", Colour::Red}, {"warning", Colour::Yellow}, {"note", Colour::Cyan}};
  return kHeadings[static_cast<std::size_t>(finding.fault->severity)];
}

std::size_t countFixable(const std::vector<Finding>& findings) {
  return static_cast<std::size_t>(std::ranges::count_if(findings, &Finding::isFixable));
}

/// A line with a coloured word in front. A name on disk may have control characters for terminals.
std::string line(const char* word, Colour colour, const std::string& text) {
  return fmt::format("{}: {}\n", coloured(word, colour, STDOUT_FILENO),
                     fitted(text, INT_MAX, Charset::Utf8));
}

/// Whether it is a note that nothing was done about.
bool isOpenNote(const Finding& finding) {
  return finding.fault->severity == Severity::Note && !finding.isFixed.value_or(false);
}

/// Findings of one group: the first of them, or all notes, and the next step of the first.
std::string groupText(std::span<const Finding> group) {
  const Finding& first = group.front();
  const bool isFixed = first.isFixed.value_or(false);
  const std::size_t most = isOpenNote(first) ? group.size() : kMostOfAKind;
  const auto [word, colour] = isFixed ? std::pair("fixed", Colour::Green) : headingOf(first);
  std::string text = line(word, colour, first.fault->kind);
  for (const Finding& finding : group.first(std::min(group.size(), most))) {
    const bool hasPath = finding.text.find(finding.place.file) != std::string::npos;
    const std::string words = (hasPath ? "" : finding.place.words() + ": ") + finding.text;
    text += "  " + fitted(words, INT_MAX, Charset::Utf8) + "\n";
  }
  if (group.size() > most) {
    text += fmt::format("  and {} more; --json lists them all\n",
                        fmt::group_digits(group.size() - most));
  }
  if (isFixed) return text;
  const bool isForAll = std::ranges::count(group, first.next, &Finding::next) == std::ssize(group);
  const std::string next = first.next + (isForAll ? "" : "; likewise for the others");
  return text + line("  next", Colour::Blue, next);
}

/// Of notes, only the number is shown without --notes.
std::string findingsText(std::span<const Finding> sorted, bool withNotes) {
  std::string text;
  std::string notes;
  while (!sorted.empty()) {
    const Finding& first = sorted.front();
    const auto end = std::ranges::upper_bound(sorted, groupOf(first), {}, groupOf);
    const auto group = sorted.first(static_cast<std::size_t>(end - sorted.begin()));
    if (isOpenNote(first) && !withNotes) {
      notes += fmt::format("{} {}; ", fmt::group_digits(group.size()), first.fault->kind);
    } else {
      text += groupText(group);
    }
    sorted = sorted.subspan(group.size());
  }
  if (notes.empty()) return text;
  return text + line("notes", Colour::Cyan, notes + "--notes lists them");
}

/// How many errors and warnings there are, how much was looked at, and what a fix would do.
std::string summaryText(const Checkup& checkup) {
  const std::size_t fixable = countFixable(checkup.findings);
  const std::string library = checkup.only.empty() ? "" : shellWord(checkup.only) + " ";
  return fmt::format(
      "{}, {}; {}, {} and {} checked{}",
      counted(countOf(Severity::Error, checkup.findings), "error"),
      counted(countOf(Severity::Warning, checkup.findings), "warning"),
      counted(checkup.libraries, "library"), counted(checkup.elements, "element"),
      counted(checkup.volumes.size(), "volume"),
      fixable == 0 ? "" : fmt::format("; \"tqlib check {}--fix\" fixes {}", library, fixable));
}

Json checkupJson(const std::vector<Finding>& findings, const Checkup& checkup,
                 const FixResult& result) {
  Json list = Json::array();
  for (const Finding& finding : findings) {
    Json& json = list.emplace_back(Json{{"kind", finding.fault->kind},
                                        {"severity", headingOf(finding).first},
                                        {"file", finding.place.file},
                                        {"element", finding.place.element},
                                        {"text", finding.text},
                                        {"next", finding.next},
                                        {"fixable", finding.isFixable}});
    if (finding.isFixed) json["fixed"] = *finding.isFixed;
    const auto copy = result.copies.find(finding.place.file);
    if (finding.isFixed.value_or(false) && copy != result.copies.end()) json["copy"] = copy->second;
  }
  return {{"findings", std::move(list)},
          {"count", findings.size()},
          {"checked",
           {{"libraries", checkup.libraries},
            {"elements", checkup.elements},
            {"volumes", checkup.volumes.size()}}}};
}

/// What two findings of the same fault have in common.
std::string identityOf(const Finding& finding) {
  return fmt::format("{}\n{}\n{}", finding.fault->kind, finding.place.file, finding.place.element);
}

/// What is still wrong after a fix, and what no longer is.
std::vector<Finding> outcomes(const std::vector<Finding>& before, std::vector<Finding> after) {
  std::set<std::string> left;
  bool isLocked = false;
  for (Finding& finding : after) {
    finding.isFixed = false;
    left.insert(identityOf(finding));
    isLocked |= finding.is(faults.lockedCatalogue);
  }
  for (const Finding& finding : before) {
    if (left.contains(identityOf(finding))) continue;
    // These are not looked for while another process keeps the lock.
    const bool isUnknown =
        isLocked && (finding.is(faults.halfSaved) || finding.is(faults.staleFile));
    after.emplace_back(finding).isFixed = !isUnknown;
  }
  std::ranges::stable_sort(after, {}, groupOf);
  return after;
}

void check(const Options& options, const Session& session) {
  Checkup checkup = checkCatalogue(options.library);
  std::vector<Finding> findings = checkup.findings;  // also those that were fixed
  FixResult result;
  if (options.fix && countFixable(findings) > 0) {
    // In a script, nobody can answer the question.
    if (!options.yes && isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1) {
      std::cerr << findingsText(findings, options.notes);
      requireConsent(false, "fix " + counted(countFixable(findings), "finding"));
    }
    result = fixFindings(findings);
    checkup = checkCatalogue(options.library);
  }
  if (options.fix) findings = outcomes(findings, checkup.findings);
  Json values = session.json ? checkupJson(findings, checkup, result) : Json();
  std::string text = findingsText(findings, options.notes);
  if (options.fix) {
    values["left"] = checkup.findings.size();
    values["copies"] = Json::array();
    for (const auto& copy : result.copies) values["copies"].push_back(copy.second);
    values["failures"] = result.failures;
    for (const auto& copy : result.copies) text += line("kept copy", Colour::Blue, copy.second);
    for (const auto& failure : result.failures) text += line("failed", Colour::Red, failure);
    text += "after the fix: ";
  }
  printResult(session.json, values, text + summaryText(checkup));
  const std::size_t allowed = options.strict ? 0 : countOf(Severity::Note, checkup.findings);
  if (checkup.findings.size() > allowed) throw SilentFailure();
}

}  // namespace

void addCheckCommand(CLI::App& app, Session& session) {
  const auto [command, options] =
      addCommand(app, session, check,
                 {"check",
                  "Look for faults in the catalogue and the volumes; the exit code is 1 when there "
                  "are errors or warnings",
                  "tqlib check LIB001 || echo 'something needs doing'"});
  addLibraryOperand(command, options.library)
      ->required(false)
      ->description("Check this library only, with the volumes of its media");
  command.add_flag("--notes", options.notes, "List the notes too, not only their number");
  command.add_flag("--strict", options.strict, "Notes make the exit code 1 too");
  CLI::Option* fix = command.add_flag(
      "--fix", options.fix, "Fix what has one right answer, and keep copies of the files");
  command.add_flag("--yes", options.yes, "Do not ask before the fix")->needs(fix);
}

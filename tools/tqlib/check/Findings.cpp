// The report on findings: lines for people, JSON for programs.
#include "check/Findings.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <map>

#include "base/Screen.h"

namespace {

constexpr std::size_t kMostOfAKind = 50;  // are shown to people

struct SeverityWords {
  const char* one;
  const char* many;
  Colour colour;
};

constexpr SeverityWords kSeverities[] = {{"error", "errors", Colour::Red},
                                         {"warning", "warnings", Colour::Yellow},
                                         {"note", "notes", Colour::Cyan}};

const SeverityWords& wordsOf(Severity severity) {
  return kSeverities[static_cast<std::size_t>(severity)];
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

/// A line with a coloured word in front. A name on disk may have control characters for terminals.
std::string line(const char* word, Colour colour, const std::string& text) {
  return fmt::format("{}: {}\n", coloured(word, colour, STDOUT_FILENO),
                     fitted(text, INT_MAX, Charset::Utf8));
}

/// What `textOf` makes of the first findings of each kind, and how many others there are.
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

Json findingJson(const Finding& finding) {
  Json json{{"kind", finding.fault->kind}, {"severity", wordsOf(finding.fault->severity).one},
            {"file", finding.place.file},  {"element", finding.place.element},
            {"text", finding.text},        {"next", finding.next},
            {"fixable", finding.isFixable}};
  if (finding.isFixed) json["fixed"] = *finding.isFixed;
  if (!finding.copy.empty()) json["copy"] = finding.copy;
  return json;
}

}  // namespace

Json findingsJson(const std::vector<Finding>& findings, const Scope& scope) {
  Json list = Json::array();
  for (const Finding& finding : findings) list.push_back(findingJson(finding));
  return {
      {"findings", std::move(list)},
      {"count", findings.size()},
      {"checked",
       {{"libraries", scope.libraries}, {"elements", scope.elements}, {"volumes", scope.volumes}}}};
}

std::string findingsText(const std::vector<Finding>& findings) {
  const std::string* file = nullptr;
  return textsOf(findings, [&](const Finding& finding) {
    const auto& [path, element] = finding.place;
    const bool isSameFile = file != nullptr && *file == path;
    file = &path;
    const SeverityWords& severity = wordsOf(finding.fault->severity);
    return (isSameFile ? "  " : fitted(path, INT_MAX, Charset::Utf8) + "\n  ") +
           line(severity.one, severity.colour,
                fmt::format("{}: {}{}{}; next: {}", finding.fault->kind, element,
                            element.empty() ? "" : ": ", finding.text, finding.next));
  });
}

std::string summaryText(const std::vector<Finding>& findings, const Scope& scope) {
  const std::string checked = fmt::format(
      "{}, {} and {} checked", counted(scope.libraries, "library", "libraries"),
      counted(scope.elements, "element", "elements"), counted(scope.volumes, "volume", "volumes"));
  if (findings.empty()) return "no findings; " + checked;
  std::map<Severity, std::size_t> counts;
  for (const Finding& finding : findings) ++counts[finding.fault->severity];
  std::vector<std::string> severities;
  for (const auto& [severity, count] : counts) {
    severities.push_back(counted(count, wordsOf(severity).one, wordsOf(severity).many));
  }
  const std::size_t fixable = countFixable(findings);
  return fmt::format("{} ({}); {}{}", counted(findings.size(), "finding", "findings"),
                     fmt::join(severities, ", "), checked,
                     fixable == 0 ? "" : fmt::format("; \"tqlib check --fix\" fixes {}", fixable));
}

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

std::size_t countFixable(const std::vector<Finding>& findings) {
  return static_cast<std::size_t>(std::ranges::count_if(findings, &Finding::isFixable));
}

#include "check/CheckReport.h"

#include <unistd.h>

#include <algorithm>
#include <map>

#include "base/Screen.h"

namespace {

constexpr std::size_t kMostOfAKind = 50;  // are told to people

// A name on disk may have what a terminal would take for an order.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F;
      },
      '?');
  return text;
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string scopeText(const Checkup& checkup) {
  return counted(checkup.libraries, "library", "libraries") + ", " +
         counted(checkup.elements, "element", "elements") + " and " +
         counted(checkup.volumes, "volume", "volumes") + " checked";
}

std::string severityText(Severity severity) {
  const Colour colour = severity == Severity::Error     ? Colour::Red
                        : severity == Severity::Warning ? Colour::Yellow
                                                        : Colour::Cyan;
  return coloured(severityWord(severity), colour, STDOUT_FILENO);
}

/// "occupancy: slot:1000: it is empty, ..."
std::string whatText(const Finding& finding) {
  const std::string& element = finding.place.element;
  return std::string(finding.kind->name) + ": " + (element.empty() ? "" : element + ": ") +
         finding.text;
}

std::string findingLine(const Finding& finding) {
  return "  " + severityText(finding.kind->severity) + ": " +
         printable(whatText(finding) + "; next: " + finding.next) + "\n";
}

Json findingJson(const Finding& finding) {
  return {{"kind", finding.kind->name},   {"severity", severityWord(finding.kind->severity)},
          {"file", finding.place.file},   {"element", finding.place.element},
          {"text", finding.text},         {"next", finding.next},
          {"fixable", finding.isMendable}};
}

Json resultJson(const Checkup& checkup, Json findings) {
  const std::size_t count = findings.size();
  return {{"findings", std::move(findings)},
          {"count", count},
          {"checked",
           {{"libraries", checkup.libraries},
            {"elements", checkup.elements},
            {"volumes", checkup.volumes}}}};
}

std::string severitiesText(const Findings& findings) {
  std::map<Severity, std::size_t> counts;
  for (const Finding& finding : findings) ++counts[finding.kind->severity];
  std::string text;
  for (const auto& [severity, count] : counts) {
    const std::string word = severityWord(severity);
    text += (text.empty() ? "" : ", ") + counted(count, word.c_str(), (word + "s").c_str());
  }
  return text;
}

/// Lets the first lines of each kind through and counts the others.
class Sieve {
public:
  bool letsThrough(const Kind* kind) { return ++m_counts[kind] <= kMostOfAKind; }

  std::string restText() const {
    std::string text;
    for (const auto& [kind, count] : m_counts) {
      if (count <= kMostOfAKind) continue;
      text += "and " + std::to_string(count - kMostOfAKind) + " more of the kind " + kind->name +
              "; --json tells all\n";
    }
    return text;
  }

private:
  std::map<const Kind*, std::size_t> m_counts;
};

std::string outcomeLine(const MendedFindings::One& one) {
  const std::string element =
      one.finding.place.element.empty() ? "" : one.finding.place.element + " of ";
  return (one.isFixed ? coloured("mended", Colour::Green, STDOUT_FILENO)
                      : coloured("not mended", Colour::Red, STDOUT_FILENO)) +
         ": " +
         printable(std::string(one.finding.kind->name) + ": " + element + one.finding.place.file) +
         "\n";
}

}  // namespace

Json checkJson(const Checkup& checkup) {
  Json findings = Json::array();
  for (const Finding& finding : checkup.findings) findings.push_back(findingJson(finding));
  return resultJson(checkup, std::move(findings));
}

Json mendingJson(const Checkup& checkup, const MendedFindings& mended) {
  Json findings = Json::array();
  for (const MendedFindings::One& one : mended.all) {
    Json values = findingJson(one.finding);
    values["fixed"] = one.isFixed;
    if (!one.copy.empty()) values["copy"] = one.copy;
    findings.push_back(std::move(values));
  }
  Json result = resultJson(checkup, std::move(findings));
  result["left"] = mended.left;
  result["copies"] = mended.copies;
  result["failures"] = mended.failures;
  return result;
}

std::string findingsText(const Findings& findings) {
  std::string text;
  Sieve sieve;
  const std::string* file = nullptr;
  for (const Finding& finding : findings) {
    if (!sieve.letsThrough(finding.kind)) continue;
    if (file == nullptr || *file != finding.place.file)
      text += printable(finding.place.file) + "\n";
    file = &finding.place.file;
    text += findingLine(finding);
  }
  return text + sieve.restText();
}

std::string summaryText(const Checkup& checkup) {
  const Findings& findings = checkup.findings;
  if (findings.empty()) return "no findings; " + scopeText(checkup);
  const std::size_t mendable = countMendable(findings);
  return counted(findings.size(), "finding", "findings") + " (" + severitiesText(findings) + "); " +
         scopeText(checkup) +
         (mendable == 0 ? "" : "; \"tqlib check --fix\" mends " + std::to_string(mendable));
}

std::string mendingText(const MendedFindings& mended) {
  std::string text;
  Sieve sieve;
  for (const MendedFindings::One& one : mended.all) {
    const bool isToTell = one.isFixed || one.finding.isMendable;
    if (isToTell && sieve.letsThrough(one.finding.kind)) text += outcomeLine(one);
  }
  text += sieve.restText();
  for (const std::string& copy : mended.copies) text += "as it was: " + printable(copy) + "\n";
  for (const std::string& failure : mended.failures) {
    text += coloured("failed", Colour::Red, STDOUT_FILENO) + ": " + printable(failure) + "\n";
  }
  return text;
}

std::size_t countMendable(const Findings& findings) {
  return static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(), [](const Finding& finding) { return finding.isMendable; }));
}

#include "CheckReport.h"

#include <unistd.h>

#include <algorithm>
#include <map>

#include "Terminal.h"

namespace {

constexpr std::size_t kMostOfAKind = 10;  // of one file are told to people

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
  return "\n  " + severityText(finding.kind->severity) + ": " +
         printable(whatText(finding) + "; next: " + finding.next);
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

/// How many of a kind in a file are left out.
std::string restText(const Finding& last, std::size_t count) {
  return count <= kMostOfAKind ? ""
                               : "\n  and " + std::to_string(count - kMostOfAKind) +
                                     " more of the kind " + last.kind->name + "; --json tells all";
}

/// The lines of one file, the kinds in the order in which they come up.
std::string fileText(Findings::const_iterator begin, Findings::const_iterator end) {
  std::vector<const Kind*> order;
  std::map<const Kind*, Findings> byKind;
  for (; begin != end; ++begin) {
    Findings& ofKind = byKind[begin->kind];
    if (ofKind.empty()) order.push_back(begin->kind);
    ofKind.push_back(*begin);
  }
  std::string text;
  for (const Kind* kind : order) {
    const Findings& ofKind = byKind[kind];
    for (std::size_t i = 0; i < std::min(ofKind.size(), kMostOfAKind); ++i) {
      text += findingLine(ofKind[i]);
    }
    text += restText(ofKind.front(), ofKind.size());
  }
  return text;
}

std::string outcomeLine(const MendedFindings::One& one) {
  const std::string& copy = one.copy;
  const std::string element =
      one.finding.place.element.empty() ? "" : one.finding.place.element + " of ";
  return (one.isFixed ? coloured("mended", Colour::Green, STDOUT_FILENO)
                      : coloured("not mended", Colour::Red, STDOUT_FILENO)) +
         ": " +
         printable(std::string(one.finding.kind->name) + ": " + element + one.finding.place.file +
                   (copy.empty() ? "" : "; as it was: " + copy)) +
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
  result["failures"] = mended.failures;
  return result;
}

std::string findingsText(const Findings& findings) {
  std::string text;
  for (auto begin = findings.begin(); begin != findings.end();) {
    const auto end = std::find_if(begin, findings.end(), [&](const Finding& finding) {
      return finding.place.file != begin->place.file;
    });
    text += printable(begin->place.file) + fileText(begin, end) + "\n";
    begin = end;
  }
  return text;
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
  std::map<std::pair<std::string, const Kind*>, std::size_t> told;
  for (const MendedFindings::One& one : mended.all) {
    if (!one.isFixed && !one.finding.isMendable) continue;
    const std::size_t count = ++told[{one.finding.place.file, one.finding.kind}];
    if (count <= kMostOfAKind || !one.isFixed) text += outcomeLine(one);
  }
  for (const std::string& failure : mended.failures) {
    text += coloured("failed", Colour::Red, STDOUT_FILENO) + ": " + printable(failure) + "\n";
  }
  return text;
}

std::size_t countMendable(const Findings& findings) {
  return static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(), [](const Finding& finding) { return finding.isMendable; }));
}

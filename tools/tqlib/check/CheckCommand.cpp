// tqlib check: reports what is wrong in the catalogue and the volumes, and fixes what has only one
// correct repair. Prints lines for people and JSON for programs.
//
// An emulator may change the catalogue at the same time, so each fix is made with the catalogue
// locked, and only if the fault is still there. The API adds or removes a list entry only together
// with a library, and sets an occupancy only together with a barcode. Therefore the documents are
// changed here, and saved as the API saves them.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <filesystem>
#include <functional>
#include <span>

#include <fmt/chrono.h>

#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "check/Checkup.h"
#include "common/FileContent.h"
#include "files/Documents.h"
#include "files/FolderLock.h"
#include "files/PairedSave.h"
#include "files/ReplacedFile.h"

namespace fs = std::filesystem;

namespace {

using xercesc::DOMDocument;

constexpr std::size_t kMostOfAKind = 10;  // are shown to people

struct Options {
  std::string library;
  bool notes = false;
  bool strict = false;
  bool fix = false;
  bool yes = false;
};

struct FixResult {
  std::map<std::string, std::string> copies;  ///< of the files that were changed, by file
  std::vector<std::string> failures;
};

// A process that still writes a temporary file or folder holds a lock on it.
void deleteStale(const std::string& path) {
  if (isAbsent(path)) return;
  const FolderLock lock(path, std::chrono::milliseconds(0));
  std::error_code error;
  if (lock.isExclusive()) fs::remove_all(path, error);
  if (error) throw systemFailure("cannot delete " + path, error.value());
}

/// Corrects the elements that are among `found`, by name and barcode.
bool setOccupancies(const DOMDocument& document,
                    const std::set<std::pair<std::string, std::string>>& found) {
  bool isChanged = false;
  for (const ElementContent& element : readLibrary(document).elements) {
    const bool isSame = found.contains({nameOf(element), element.barcode});
    if (!isSame || !hasWrongOccupancy(element)) continue;
    setOccupied(*element.node, !element.barcode.empty());
    isChanged = true;
  }
  return isChanged;
}

/// Fixes what is fixable and still wrong. The next check shows what was fixed.
struct Fix {
  FixResult run() {
    if (!fixable(faults.halfSaved).empty()) attempt([&] { completeSave(); });
    if (!fixable(faults.staleFile).empty()) attempt([&] { deleteStaleFiles(); });
    for (const Finding* finding : fixable(faults.staleVolume)) {
      attempt([&] { deleteStale(finding->place.file); });
    }
    attempt([&] { fixList(); });
    fixOccupancies();
    deleteNeedlessCopies();
    return std::move(result);
  }

  std::vector<const Finding*> fixable(const Fault& fault) const {
    std::vector<const Finding*> found;
    for (const Finding& finding : findings) {
      if (finding.isFixable && finding.is(fault)) found.push_back(&finding);
    }
    return found;
  }

  void attempt(const std::function<void()>& step) {
    try {
      step();
    } catch (const std::exception& failure) {
      result.failures.emplace_back(failure.what());
    }
  }

  /// Copies a file beside itself before its first change. Throws Failure when that cannot be done:
  /// the file must then stay as it is.
  void keepCopy(const std::string& file) {
    if (result.copies.contains(file) || isAbsent(file)) return;
    const auto content = contentOf(file);
    if (!content) throw systemFailure(file, errno);
    const std::string now =
        fmt::format("{}.before-fix-{:%Y%m%d-%H%M%S}", file, fmt::localtime(std::time(nullptr)));
    std::string copy = now;
    for (int number = 2; !isAbsent(copy); ++number) copy = fmt::format("{}-{}", now, number);
    ReplacedFile kept(copy, Existing::Kept);
    kept.copyAccessOf(file);
    if (!kept.prepare(*content) || !kept.commit()) {
      throw Failure(fmt::format("{}: {}", copy, kept.error()));
    }
    result.copies.emplace(file, copy);
  }

  /// Deletes the copies of files that were not changed.
  void deleteNeedlessCopies() {
    std::erase_if(result.copies, [](const auto& each) {
      const auto& [file, copy] = each;
      const auto content = contentOf(file);
      return content && content == contentOf(copy) && unlink(copy.c_str()) == 0;
    });
  }

  // The next change completes an interrupted save, or deletes a damaged journal. The operator has
  // to look at a damaged journal first.
  SaveJournal journal() const {
    SaveJournal journal = PairedSave::readJournal(folder);
    if (journal.mayNeed("")) throw Failure("the journal of a save is damaged");
    return journal;
  }

  void completeSave() {
    const std::vector<std::string> names = journal().names;
    for (std::size_t i = 1; i < names.size(); i += 2) keepCopy(folder + names[i]);
    asOneStep([] {});  // taking the lock completes the save
  }

  // Without the lock they may belong to a save in progress.
  void deleteStaleFiles() {
    journal();
    asOneStep([&] {
      const SaveJournal pending = PairedSave::readJournal(folder);
      for (const Finding* finding : fixable(faults.staleFile)) {
        const std::string& path = finding->place.file;
        if (pending.mayNeed(path.substr(folder.size()))) continue;
        attempt([&] { deleteStale(path); });
      }
    });
  }

  void fixFile(const std::string& file, const XMLCh* newRoot,
               const std::function<bool(DOMDocument&)>& change) {
    journal();
    changeFile(file, newRoot, [&](DOMDocument& document) {
      const bool isChanged = change(document);
      if (isChanged) keepCopy(file);
      return isChanged;
    });
  }

  /// The keys of the libraries with that finding.
  std::set<std::string> keysOf(const Fault& fault) const {
    std::set<std::string> keys;
    for (const Finding* finding : fixable(fault)) keys.insert(finding->place.library());
    return keys;
  }

  void fixList() {
    const std::set<std::string> withoutFile = keysOf(faults.entryWithoutFile);
    const std::set<std::string> doubled = keysOf(faults.doubledEntry);
    const std::set<std::string> unlisted = keysOf(faults.fileWithoutEntry);
    if (withoutFile.empty() && doubled.empty() && unlisted.empty()) return;
    fixFile(folder + names::listFile, names::libraryList, [&](DOMDocument& list) {
      std::set<std::string> listed;
      bool isChanged = removeEntries(list, [&](const std::string& key) {
        const bool isTwin = !listed.insert(key).second && doubled.contains(key);
        return isTwin || (withoutFile.contains(key) && !hasFile(key));
      });
      for (const std::string& key : unlisted) {
        if (listed.contains(key) || !isStillThere(key)) continue;
        addListEntry(list, names::fileOf(key), key);
        isChanged = true;
      }
      return isChanged;
    });
  }

  bool hasFile(const std::string& key) const { return !isAbsent(folder + names::fileOf(key)); }

  bool isStillThere(const std::string& key) const {
    if (!hasFile(key)) return false;
    const ParsedFile file = readDocument(folder + names::fileOf(key));
    return isLibraryOfKey(readLibrary(*file.document()), key);
  }

  void fixOccupancies() {
    std::map<std::string, std::set<std::pair<std::string, std::string>>> files;
    for (const Fault* fault : {&faults.wronglyEmpty, &faults.wronglyFull}) {
      for (const Finding* finding : fixable(*fault)) {
        files[finding->place.file].emplace(finding->place.element, finding->barcode);
      }
    }
    for (const auto& each : files) {
      attempt([&] {
        fixFile(each.first, nullptr,
                [&](const DOMDocument& document) { return setOccupancies(document, each.second); });
      });
    }
  }

  const std::vector<Finding>& findings;
  const std::string folder = configuredCatalogue();
  FixResult result = {};
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

std::set<std::string> identitiesOf(const std::vector<Finding>& findings) {
  std::set<std::string> identities;
  for (const Finding& finding : findings) identities.insert(identityOf(finding));
  return identities;
}

/// Compares two checks: marks each finding of the first one as fixed or not, and appends those that
/// only the second one found.
std::vector<Finding> outcomes(std::vector<Finding> before, const std::vector<Finding>& after) {
  const std::set<std::string> known = identitiesOf(before);
  const std::set<std::string> left = identitiesOf(after);
  const bool isLocked = std::ranges::any_of(
      after, [](const Finding& finding) { return finding.is(faults.lockedCatalogue); });
  std::ranges::copy_if(after, std::back_inserter(before), [&](const Finding& finding) {
    return !known.contains(identityOf(finding));
  });
  for (Finding& finding : before) {
    // These are not looked for while another process keeps the lock.
    const bool isUnknown =
        isLocked && (finding.is(faults.halfSaved) || finding.is(faults.staleFile));
    finding.isFixed = !left.contains(identityOf(finding)) && !isUnknown;
  }
  std::ranges::stable_sort(before, {}, groupOf);
  return before;
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
    result = Fix{findings}.run();
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

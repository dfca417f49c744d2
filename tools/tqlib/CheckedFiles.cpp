#include "CheckedFiles.h"

#include <chrono>
#include <map>
#include <optional>
#include <set>

#include "Catalogue.h"
#include "CatalogueNames.h"
#include "FolderLock.h"
#include "LeftOvers.h"
#include "XmlScan.h"

namespace {

constexpr char kMends[] = "\"tqlib check --fix\" ";
constexpr std::chrono::seconds kPatience{5};

/// The folder and the list at one moment.
struct Look {
  std::vector<std::string> names;
  std::vector<std::string> halfSaved;
  bool isPending = false;
  bool isAlone = false;  ///< no other process was changing anything
  std::optional<std::vector<std::string>> listed;
  std::string complaint;  ///< why the list cannot be read
};

// With the lock, since a save that is going on looks like one that broke off. Whoever does not let
// go of it must not keep the operator from finding out why.
Look look(const std::string& folder) {
  const FolderLock lock(folder, kPatience);
  Look seen;
  seen.isAlone = lock.isHeld();
  seen.names = namesIn(folder);
  seen.isPending = !isAbsent(folder + names::kPending);
  seen.halfSaved = halfSavedNames(folder);
  const std::string list = folder + names::kLibraryList;
  try {
    seen.listed.emplace();
    if (!isAbsent(list)) seen.listed = attributeValues(list, names::kLibrary, names::kId);
  } catch (const std::exception& failure) {
    seen.listed.reset();
    seen.complaint = failure.what();
  }
  return seen;
}

bool canBeFileName(const std::string& key) {
  return !key.empty() && key != "." && key != ".." && key.find('/') == std::string::npos &&
         names::fileOf(key).size() <= 255;
}

class FileCheck {
public:
  FileCheck(const std::string& folder, Findings& findings)
      : m_folder(folder), m_seen(look(folder)), m_findings(findings) {}

  std::vector<LibraryFile> run() {
    checkPending();
    checkLeftOvers();
    if (m_seen.listed) {
      checkEntries();
    } else {
      add(kinds::kUnparsableFile, names::kLibraryList, m_seen.complaint,
          "mend the list by hand, or write it anew");
    }
    addUnlisted();
    return m_files;
  }

private:
  Finding& add(const Kind& kind, const std::string& file, const std::string& text,
               const std::string& next) {
    return m_findings.emplace_back(kind, Place{m_folder + file, ""}, text, next);
  }

  void addEntry(const Kind& kind, const std::string& key, const std::string& text,
                const std::string& next) {
    Finding& finding = add(kind, names::kLibraryList, text, next);
    finding.library = finding.place.element = key;
  }

  void checkPending() {
    if (m_seen.isPending && m_seen.isAlone) {
      add(kinds::kHalfSaved, names::kPending, "a save of a library and the list broke off",
          "the next call of the library completes it");
    }
  }

  void checkLeftOvers() {
    const std::set<std::string> needed(m_seen.halfSaved.begin(), m_seen.halfSaved.end());
    for (const std::string& name : m_seen.names) {
      const bool isBroken = isPrepared(name) && m_seen.isAlone && needed.count(name) == 0;
      if (isBroken || isLeftInCatalogue(name)) {
        add(kinds::kLeftOver, name, "a crash left it", std::string(kMends) + "deletes it");
      }
    }
  }

  void checkEntries() {
    std::map<std::string, int> counts;
    for (const std::string& key : *m_seen.listed) {
      if (++counts[key] == 1) checkEntry(key);
    }
    for (const auto& [key, count] : counts) {
      if (count == 1 || key.empty()) continue;
      addEntry(kinds::kDoubledEntry, key, "it is in the list " + std::to_string(count) + " times",
               std::string(kMends) + "takes the later entries out");
    }
  }

  void checkEntry(const std::string& key) {
    if (!canBeFileName(key)) {
      addEntry(kinds::kBadEntry, key,
               key.empty() ? "an entry has no Id" : "the Id cannot be part of a file name",
               "mend the list by hand");
      return;
    }
    const std::string file = names::fileOf(key);
    m_listedFiles.insert(file);
    if (isAbsent(m_folder + file)) {
      addEntry(kinds::kEntryWithoutFile, key, "the library has no file",
               "bring " + file + " back; or " + kMends + "takes the entry out");
    } else {
      m_files.push_back({key, m_folder + file, false});
    }
  }

  void addUnlisted() {
    for (const std::string& name : m_seen.names) {
      const std::string key = keyOfFile(name);
      const bool isStandIn = name.starts_with(names::kStandIn);
      if (key.empty() || isStandIn || m_listedFiles.count(name) != 0) continue;
      m_files.push_back({key, m_folder + name, m_seen.listed.has_value()});
    }
  }

  const std::string& m_folder;
  const Look m_seen;
  Findings& m_findings;
  std::set<std::string> m_listedFiles;  // by name
  std::vector<LibraryFile> m_files;
};

}  // namespace

std::vector<LibraryFile> checkFiles(const std::string& folder, Findings& findings) {
  return FileCheck(folder, findings).run();
}

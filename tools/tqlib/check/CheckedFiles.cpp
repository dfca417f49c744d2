#include "check/CheckedFiles.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <set>

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueNames.h"
#include "catalogue/FolderLock.h"
#include "catalogue/XmlScan.h"
#include "check/LeftOvers.h"
#include "files/Descendants.h"
#include "files/Names.h"
#include "files/PairedSave.h"
#include "files/XmlText.h"

namespace {

constexpr char kMends[] = "\"tqlib check --fix\" ";
constexpr std::chrono::seconds kPatience{5};

/// An entry of the list.
struct Entry {
  std::string key;
  bool holdsOthers;  ///< elements, which would go with it
};

std::vector<Entry> entriesOf(const std::string& list) {
  std::vector<Entry> entries;
  const ParsedFile file = readDocument(list);
  for (const xercesc::DOMElement* entry : Descendants(rootOf(file.document()), names::library)) {
    entries.push_back(
        {toUtf8(entry->getAttribute(names::id)), entry->getFirstElementChild() != nullptr});
  }
  return entries;
}

/// The folder and the list at one moment.
struct Look {
  std::vector<std::string> names;
  bool isAlone = false;  ///< no other process was changing anything
  SaveJournal pending;
  std::optional<std::vector<Entry>> listed;
  std::string complaint;  ///< why the list cannot be read
};

void readList(const std::string& list, Look& seen) {
  try {
    seen.listed.emplace();
    if (!isAbsent(list)) seen.listed = entriesOf(list);
  } catch (const std::exception& failure) {
    seen.listed.reset();
    seen.complaint = failure.what();
  }
}

// With the lock, since a save that is going on looks like one that broke off. Whoever does not let
// go of it must not keep the operator from finding out why.
Look look(const std::string& folder) {
  const FolderLock lock(folder, kPatience);
  Look seen;
  seen.isAlone = lock.isHeld();
  seen.names = namesIn(folder);
  seen.pending = PairedSave::readJournal(folder);
  readList(folder + names::listFile, seen);
  return seen;
}

bool canBeFileName(const std::string& key) {
  return !key.empty() && key != "." && key != ".." && key.find('/') == std::string::npos &&
         names::fileOf(key).size() <= 255;
}

class FileCheck {
public:
  FileCheck(const std::string& folder, Findings& findings, Inventory& inventory)
      : m_folder(folder), m_seen(look(folder)), m_findings(findings), m_inventory(inventory) {}

  std::vector<LibraryFile> run() {
    checkPending();
    if (m_seen.isAlone) {
      checkLeftOvers();
    } else {
      add(kinds::kLockedCatalogue, "",
          "another process keeps the catalogue locked; left-overs were not looked at",
          "check again when its call is over, or find out what it waits for");
    }
    if (m_seen.listed) {
      checkEntries();
    } else {
      m_inventory.isWhole = false;
      add(kinds::kUnparsableFile, names::listFile, m_seen.complaint,
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
    Finding& finding = add(kind, names::listFile, text, next);
    finding.library = finding.place.element = key;
    if (!finding.isMendable || !holdsOthers(key)) return;
    finding.isMendable = false;
    finding.next = "mend the list by hand: an entry of that Id holds others";
  }

  bool holdsOthers(const std::string& key) const {
    return std::any_of(m_seen.listed->begin(), m_seen.listed->end(),
                       [&](const Entry& entry) { return entry.key == key && entry.holdsOthers; });
  }

  void checkPending() {
    const SaveJournal::State state = m_seen.pending.state;
    if (state == SaveJournal::State::Unreadable) {
      add(kinds::kUnparsableFile, names::journalFile,
          systemFailure(m_folder + names::journalFile, m_seen.pending.error).what(),
          "mend the permissions, or the disk");
    } else if (state == SaveJournal::State::Damaged) {
      add(kinds::kHalfSaved, names::journalFile, "the note of a save that broke off is damaged",
          "look by hand whether a .tqlib-*.new file has to be kept: the next call of the library "
          "throws the note away")
          .isMendable = false;
    } else if (state == SaveJournal::State::Sound && m_seen.isAlone) {
      add(kinds::kHalfSaved, names::journalFile, "a save of a library and the list broke off",
          "the next call of the library completes it");
    }
  }

  void checkLeftOvers() {
    for (const std::string& name : m_seen.names) {
      const bool isBroken = names::isTemporary(name) && !m_seen.pending.mayNeed(name);
      if ((isBroken || isLeftInCatalogue(name)) && isPlainFile(m_folder + name)) {
        add(kinds::kLeftOver, name, "a crash left it", std::string(kMends) + "deletes it");
      }
    }
  }

  void checkEntries() {
    std::map<std::string, int> counts;
    for (const Entry& entry : *m_seen.listed) {
      if (++counts[entry.key] == 1) checkEntry(entry.key);
    }
    for (const auto& [key, count] : counts) {
      if (count == 1 || key.empty()) continue;
      addEntry(kinds::kDoubledEntry, key, "it is in the list " + std::to_string(count) + " times",
               std::string(kMends) + "takes the later entries out");
    }
  }

  void checkEntry(const std::string& key) {
    if (!canBeFileName(key)) {
      m_inventory.isWhole = false;
      addEntry(kinds::kBadEntry, key,
               key.empty() ? "an entry has no Id" : "the Id cannot be part of a file name",
               "mend the list by hand");
      return;
    }
    const std::string file = names::fileOf(key);
    m_listedFiles.insert(file);
    if (!std::binary_search(m_seen.names.begin(), m_seen.names.end(), file)) {
      m_inventory.isWhole = false;
      addEntry(kinds::kEntryWithoutFile, key, "the library has no file",
               "bring " + file + " back; or " + kMends + "takes the entry out");
    } else {
      m_files.push_back({key, m_folder + file, false});
    }
  }

  void addUnlisted() {
    for (const std::string& name : m_seen.names) {
      const std::string key = names::keyOf(name);
      const bool isStandIn = name.starts_with(names::kStandIn);
      if (key.empty() || isStandIn || m_listedFiles.count(name) != 0) continue;
      m_files.push_back({key, m_folder + name, m_seen.listed.has_value()});
    }
  }

  const std::string& m_folder;
  const Look m_seen;
  Findings& m_findings;
  Inventory& m_inventory;
  std::set<std::string> m_listedFiles;  // by name
  std::vector<LibraryFile> m_files;
};

}  // namespace

std::vector<LibraryFile> checkFiles(const std::string& folder, Findings& findings,
                                    Inventory& inventory) {
  return FileCheck(folder, findings, inventory).run();
}

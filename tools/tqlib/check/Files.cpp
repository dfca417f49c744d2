// The check as a whole, and that of the catalogue folder: the list against the files, and what a
// crash left.
//
// The folder and the list are read with the catalogue locked, since a save in progress looks like
// one that broke off. The library files are read afterwards without the lock.
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <filesystem>
#include <set>

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/FolderLock.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/Descendants.h"
#include "files/PairedSave.h"
#include "files/XmlText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestWait{5};
constexpr char kTemporary[] = ".tqlib-";  // of earlier versions: behind a file, then a process

/// An entry of the list.
struct Entry {
  std::string key;
  bool holdsOthers;  ///< elements, which would go with it
};

/// The folder and the list at one moment.
struct Look {
  bool hasLock;  ///< no other process was changing anything
  std::vector<std::string> names;
  SaveJournal journal;
  std::optional<std::vector<Entry>> listed = {};
  std::string listError = {};
};

std::vector<Entry> entriesOf(const std::string& list) {
  std::vector<Entry> entries;
  if (isAbsent(list)) return entries;
  const ParsedFile file = readDocument(list);
  for (const xercesc::DOMElement* entry : Descendants(rootOf(file.document()), names::library)) {
    entries.push_back(
        {toUtf8(entry->getAttribute(names::id)), entry->getFirstElementChild() != nullptr});
  }
  return entries;
}

// A process that keeps the lock must not keep the operator from finding out why.
Look lookAt(const std::string& folder) {
  const FolderLock lock(folder, kLongestWait);
  Look look{lock.isHeld(), namesIn(folder), PairedSave::readJournal(folder)};
  try {
    look.listed = entriesOf(folder + names::listFile);
  } catch (const std::exception& failure) {
    look.listError = failure.what();
  }
  return look;
}

bool isRegularFile(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(fs::symlink_status(path, ignored));
}

bool isLeftByTool(const std::string& name) {
  const std::string file = name.substr(0, name.rfind(kTemporary));
  const std::string original = file.substr(0, file.find(kBeforeFix));
  const bool isOfCatalogue = original == names::listFile || !names::keyOf(original).empty();
  return isOfEndedProcess(name, kStandIn, names::fileSuffix) ||
         (isOfCatalogue && isOfEndedProcess(name, file + kTemporary, ""));
}

class FolderCheck {
public:
  FolderCheck(const std::string& folder, Checkup& checkup)
      : m_folder(folder), m_look(lookAt(folder)), m_checkup(checkup) {}

  void run() {
    checkJournal();
    if (m_look.hasLock) {
      checkStaleFiles();
    } else {
      m_checkup.add(faults::kLockedCatalogue, {m_folder});
    }
    if (m_look.listed) {
      checkEntries();
    } else {
      m_checkup.knowsAll = false;
      m_checkup.add(faults::kUnreadableList, {m_folder + names::listFile}, m_look.listError);
    }
    for (const std::string& key : m_listed) checkFile(key, true);
    const std::set<std::string> listed(m_listed.begin(), m_listed.end());
    for (const std::string& name : m_look.names) {
      const std::string key = names::keyOf(name);
      const bool isLibrary = !key.empty() && !name.starts_with(kStandIn);
      if (isLibrary && !listed.contains(key)) checkFile(key, false);
    }
  }

private:
  template <typename... Values>
  void addEntry(const Fault& fault, const std::string& key, const Values&... values) {
    Finding& finding = m_checkup.add(fault, {m_folder + names::listFile, key}, values...);
    const bool holdsOthers = std::ranges::any_of(
        *m_look.listed, [&](const Entry& entry) { return entry.key == key && entry.holdsOthers; });
    if (finding.isFixable && holdsOthers) {
      finding.leaveToOperator("fix the list by hand: an entry of that Id holds others");
    }
  }

  void checkJournal() {
    const SaveJournal::State state = m_look.journal.state;
    const std::string file = m_folder + names::journalFile;
    if (state == SaveJournal::State::Unreadable) {
      m_checkup.add(faults::kUnreadable, {file}, systemFailure(file, m_look.journal.error).what());
    } else if (state == SaveJournal::State::Damaged) {
      m_checkup.add(faults::kDamagedJournal, {file});
    } else if (state == SaveJournal::State::Sound && m_look.hasLock) {
      m_checkup.add(faults::kHalfSaved, {file});
    }
  }

  void checkStaleFiles() {
    for (const std::string& name : m_look.names) {
      const bool isTemporary = names::isTemporary(name) && !m_look.journal.mayNeed(name);
      if ((isTemporary || isLeftByTool(name)) && isRegularFile(m_folder + name)) {
        m_checkup.add(faults::kStaleFile, {m_folder + name});
      }
    }
  }

  void checkEntries() {
    std::map<std::string, int> counts;
    for (const Entry& entry : *m_look.listed) {
      if (++counts[entry.key] == 1) checkEntry(entry.key);
    }
    for (const auto& [key, count] : counts) {
      if (count > 1 && !key.empty()) addEntry(faults::kDoubledEntry, key, count);
    }
  }

  void checkEntry(const std::string& key) {
    const std::string file = names::fileOf(key);
    if (names::keyOf(file) != key || key.empty() || file.size() > NAME_MAX) {
      addEntry(faults::kBadId, key);
    } else if (!std::ranges::binary_search(m_look.names, file)) {
      addEntry(faults::kEntryWithoutFile, key, file);
    } else {
      m_listed.push_back(key);
      return;
    }
    m_checkup.knowsAll = false;
  }

  void checkFile(const std::string& key, bool isListed) {
    const std::string path = m_folder + names::fileOf(key);
    try {
      const ParsedFile file = readDocument(path);
      const LibraryContent content = readLibrary(*file.document());
      // A copy of a library under another name does not belong in the list.
      if (!isListed && m_look.listed && isLibraryOfKey(content, key)) {
        m_checkup.add(faults::kFileWithoutEntry, {path});
      }
      checkLibrary(key, path, content, m_checkup);
    } catch (const std::exception& failure) {
      if (isAbsent(path)) return;  // its library was removed meanwhile
      m_checkup.add(faults::kUnreadableLibrary, {path}, failure.what());
      m_checkup.knowsAll = false;
    }
  }

  const std::string& m_folder;
  const Look m_look;
  Checkup& m_checkup;
  std::vector<std::string> m_listed;  // the keys of the listed libraries that have a file
};

/// The files in the order of their first findings.
void groupByFile(std::vector<Finding>& findings) {
  std::map<std::string, std::size_t> ranks;
  for (const Finding& finding : findings) ranks.emplace(finding.place.file, ranks.size());
  std::ranges::stable_sort(findings, {},
                           [&](const Finding& finding) { return ranks.at(finding.place.file); });
}

}  // namespace

Checkup checkCatalogue() {
  const std::string folder = configuredCatalogue();
  if (isAbsent(folder)) {
    throw Failure("there is no catalogue: " + folder,
                  "bring the folder back, or \"tqlib init DIR\"");
  }
  Checkup checkup;
  try {
    FolderCheck(folder, checkup).run();
  } catch (const Failure& failure) {
    checkup.add(faults::kUnreadable, {folder}, failure.what());
    checkup.knowsAll = false;
  }
  checkDoubledMedia(checkup);
  checkVolumes(checkup);
  groupByFile(checkup.findings);
  return checkup;
}

bool isAbsent(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) == 0) return false;
  if (errno != ENOENT) throw systemFailure(path, errno);
  return true;
}

bool isOfEndedProcess(std::string_view name, std::string_view before, std::string_view behind) {
  if (!name.starts_with(before) || !name.ends_with(behind)) return false;
  name.remove_prefix(before.size());
  name.remove_suffix(std::min(behind.size(), name.size()));
  int process = 0;
  const auto result = std::from_chars(name.data(), name.data() + name.size(), process);
  return result.ec == std::errc() && result.ptr == name.data() + name.size() && process > 0 &&
         kill(process, 0) != 0 && errno == ESRCH;
}

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
#include "files/FolderLock.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/Descendants.h"
#include "files/PairedSave.h"
#include "files/XmlText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestWait{5};
constexpr char kTemporary[] = ".tqlib-";  // of earlier versions: behind a file, then a process

/// The entries of the list with one key.
struct Entries {
  int count = 0;
  bool holdOthers = false;  ///< elements, which would go with them
};

/// The folder and the list at one moment.
struct Look {
  bool hasLock;  ///< no other process was changing anything
  std::vector<std::string> names;
  SaveJournal journal;
  std::optional<std::map<std::string, Entries>> listed = {};  ///< by key
  std::string listError = {};
};

std::map<std::string, Entries> entriesOf(const std::string& list) {
  std::map<std::string, Entries> entries;
  if (isAbsent(list)) return entries;
  const ParsedFile file = readDocument(list);
  for (const xercesc::DOMElement* entry : Descendants(rootOf(file.document()), names::library)) {
    Entries& same = entries[toUtf8(entry->getAttribute(names::id))];
    ++same.count;
    same.holdOthers |= entry->getFirstElementChild() != nullptr;
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

bool isLeftByTool(const std::string& name) {
  const std::string file = name.substr(0, name.rfind(kTemporary));
  const std::string original = file.substr(0, file.find(kBeforeFix));
  const bool isOfCatalogue = original == names::listFile || !names::keyOf(original).empty();
  return isOfEndedProcess(name, kStandIn, names::fileSuffix) ||
         (isOfCatalogue && isOfEndedProcess(name, file + kTemporary, ""));
}

struct FolderCheck {
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
    for (const std::string& name : m_look.names) {
      const std::string key = names::keyOf(name);
      if (!key.empty() && !name.starts_with(kStandIn)) checkFile(key);
    }
  }

  template <typename... Values>
  void addEntry(const Fault& fault, const std::string& key, const Values&... values) {
    Finding& finding = m_checkup.add(fault, {m_folder + names::listFile, key}, values...);
    if (finding.isFixable && m_look.listed->at(key).holdOthers) {
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
      std::error_code ignored;
      if ((isTemporary || isLeftByTool(name)) &&
          fs::is_regular_file(fs::symlink_status(m_folder + name, ignored))) {
        m_checkup.add(faults::kStaleFile, {m_folder + name});
      }
    }
  }

  void checkEntries() {
    for (const auto& [key, entries] : *m_look.listed) {
      const std::string file = names::fileOf(key);
      const bool isBad = names::keyOf(file) != key || key.empty() || file.size() > NAME_MAX;
      const bool hasFile = !isBad && std::ranges::binary_search(m_look.names, file);
      m_checkup.knowsAll &= hasFile;
      if (isBad) addEntry(faults::kBadId, key);
      if (!isBad && !hasFile) addEntry(faults::kEntryWithoutFile, key, file);
      if (entries.count > 1 && !key.empty()) addEntry(faults::kDoubledEntry, key, entries.count);
    }
  }

  void checkFile(const std::string& key) {
    const std::string path = m_folder + names::fileOf(key);
    try {
      const ParsedFile file = readDocument(path);
      const LibraryContent content = readLibrary(*file.document());
      // A copy of a library under another name does not belong in the list.
      if (m_look.listed && !m_look.listed->contains(key) && isLibraryOfKey(content, key)) {
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
  Checkup& m_checkup;
  const Look m_look = lookAt(m_folder);
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
    FolderCheck{folder, checkup}.run();
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

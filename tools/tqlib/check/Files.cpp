// The check as a whole, and that of the catalogue folder: the list against the files, and what a
// crash left.
//
// The folder and the list are read with the catalogue locked, since a save in progress looks like
// one that broke off. The library files are read afterwards without the lock.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"
#include "catalogue/VolumeFiles.h"
#include "check/Checkup.h"
#include "files/Descendants.h"
#include "files/FolderLock.h"
#include "files/PairedSave.h"
#include "files/XmlText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kLongestWait{5};

/// The entries of the list with one key.
struct Entries {
  int count = 0;
  bool holdOthers = false;  ///< other elements, which would be removed with them
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

struct FolderCheck {
  void run() {
    checkLocked();
    if (listed) checkEntries();
    // The chosen library comes last, so that what it shares with another one is found in it.
    std::stable_partition(files.begin(), files.end(), [&](const std::string& file) {
      return names::keyOf(file) != checkup.only;
    });
    for (const std::string& file : files) {
      const std::string key = names::keyOf(file);
      if (!key.empty()) checkFile(key);
    }
  }

  // If another process keeps the lock, checks without it: the operator may look for the reason.
  void checkLocked() {
    const FolderLock lock(folder, kLongestWait);
    hasLock = lock.isHeld();
    files = namesIn(folder);
    journal = PairedSave::readJournal(folder);
    checkJournal();
    if (!hasLock) checkup.add(faults::kLockedCatalogue, {folder});
    if (hasLock) checkStaleFiles();
    try {
      listed = entriesOf(folder + names::listFile);
    } catch (const std::exception& failure) {
      checkup.knowsAll = false;
      checkup.add(faults::kUnreadableList, {folder + names::listFile}, failure.what());
    }
  }

  template <typename... Values>
  void addEntry(const Fault& fault, const std::string& key, const Values&... values) {
    Finding& finding = checkup.add(fault, {folder + names::listFile, key}, values...);
    if (finding.isFixable && listed->at(key).holdOthers) {
      finding.leaveToOperator("fix {file} by hand: an entry of that Id holds others");
    }
  }

  void checkJournal() {
    using enum SaveJournal::State;
    const std::string file = folder + names::journalFile;
    if (journal.state == Sound && hasLock) checkup.add(faults::kHalfSaved, {file});
    if (journal.state == Damaged) checkup.add(faults::kDamagedJournal, {file});
    if (journal.state == Unreadable) {
      checkup.add(faults::kUnreadable, {file}, systemFailure(file, journal.error).what());
    }
  }

  void checkStaleFiles() {
    for (const std::string& file : files) {
      if (!names::isTemporary(file) || journal.mayNeed(file)) continue;
      std::error_code ignored;
      const bool isFile = fs::is_regular_file(fs::symlink_status(folder + file, ignored));
      if (isFile) checkup.add(faults::kStaleFile, {folder + file});
    }
  }

  void checkEntries() {
    for (const auto& [key, entries] : *listed) {
      const std::string file = names::fileOf(key);
      const bool isBad = names::keyOf(file) != key || key.empty() || file.size() > NAME_MAX;
      const bool hasFile = !isBad && std::ranges::binary_search(files, file);
      checkup.knowsAll &= hasFile;
      if (isBad) addEntry(faults::kBadId, key);
      if (!isBad && !hasFile) addEntry(faults::kEntryWithoutFile, key, file);
      if (entries.count > 1 && !key.empty()) addEntry(faults::kDoubledEntry, key, entries.count);
    }
  }

  void checkFile(const std::string& key) {
    const std::string path = folder + names::fileOf(key);
    try {
      const ParsedFile file = readDocument(path);
      const LibraryContent content = readLibrary(*file.document());
      // A copy of a library under another name does not belong in the list.
      if (listed && !listed->contains(key) && isLibraryOfKey(content, key)) {
        checkup.add(faults::kFileWithoutEntry, {path});
      }
      checkLibrary(key, path, content, checkup);
    } catch (const std::exception& failure) {
      if (isAbsent(path)) return;  // its library was removed in the meantime
      checkup.add(faults::kUnreadableLibrary, {path}, failure.what());
      checkup.knowsAll = false;
    }
  }

  const std::string& folder;
  Checkup& checkup;
  // The folder and the list at one moment
  bool hasLock = false;  // no other process was changing anything
  std::vector<std::string> files = {};
  SaveJournal journal = {};
  std::optional<std::map<std::string, Entries>> listed = {};  // by key
};

/// Removes what concerns other libraries only.
void leaveOut(Checkup& checkup) {
  std::erase_if(checkup.findings, [&](const Finding& finding) {
    const std::string library = finding.place.library();
    return !checkup.covers(library) && (!library.empty() || finding.is(faults::kStaleFile));
  });
  std::erase_if(checkup.media, [&](const auto& medium) {
    return !checkup.covers(medium.second.back().library());
  });
}

}  // namespace

std::string Place::library() const {
  return name() == names::listFile ? element : names::keyOf(name());
}

std::string Place::words() const {
  const std::string key = names::keyOf(name());
  const std::string where = key.empty() ? file : "library " + key;
  return element.empty() ? where : fmt::format("{} of {}", element, where);
}

Checkup checkCatalogue(const std::string& library) {
  const std::string folder = configuredCatalogue();
  if (isAbsent(folder)) {
    throw Failure("there is no catalogue: " + folder,
                  "bring the folder back, or \"tqlib init DIR\"");
  }
  if (!library.empty() && isAbsent(folder + names::fileOf(library)) && !isListed(library)) {
    requireLibrary(library);
  }
  Checkup checkup{library};
  try {
    FolderCheck{folder, checkup}.run();
  } catch (const std::exception& failure) {
    checkup.add(faults::kUnreadable, {folder}, failure.what());
    checkup.knowsAll = false;
  }
  checkDoubledMedia(checkup);
  leaveOut(checkup);
  checkVolumes(checkup);
  std::ranges::stable_sort(checkup.findings, {}, groupOf);
  return checkup;
}

bool isAbsent(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) == 0) return false;
  if (errno != ENOENT) throw systemFailure(path, errno);
  return true;
}

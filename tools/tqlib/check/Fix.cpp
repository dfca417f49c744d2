// tqlib check --fix: fixes what has only one correct repair.
//
// An emulator may change the catalogue at the same time, so each fix is made with the catalogue
// locked, and only if the fault is still there. The API adds or removes a list entry only together
// with a library, and sets an occupancy only together with a barcode. Therefore the documents are
// changed here, and saved as the API saves them.
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <functional>

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

}  // namespace

FixResult fixFindings(const std::vector<Finding>& findings) {
  return Fix{findings}.run();
}

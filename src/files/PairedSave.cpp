// Writes the journal, renames both files, removes the journal. The journal is a list of file names
// without directories, each with a zero byte at its end: temporary file, target, and again for the
// second file.

#include "files/PairedSave.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "common/FileContent.h"
#include "common/FolderSync.h"
#include "common/Log.h"
#include "files/Names.h"

namespace {

constexpr std::size_t kLongestJournal = 4096;  // a journal has four names of at most 255 bytes

std::string pathIn(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

std::string nameIn(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// The entry of the journal for a prepared file. Names have no directory, so an interrupted save
/// survives a move of the catalogue.
std::string describe(const ReplacedFile& file) {
  return nameIn(file.temporary()) + '\0' + nameIn(file.target()) + '\0';
}

bool isFileOfCatalogue(const std::string& name) {
  return name == names::listFile ||
         (name.starts_with(names::libraryPrefix) && name.ends_with(names::fileSuffix) &&
          name.find('/') == std::string::npos);
}

/// Whether the journal may name the file: it is in the catalogue directory, with a temporary file.
bool fitsJournal(const ReplacedFile& file) {
  return !file.temporary().empty() && !file.isElsewhere() &&
         isFileOfCatalogue(nameIn(file.target()));
}

/// The names in a journal: temporary file, target, and so on. Empty when the text is no journal:
/// the content of a foreign file must not make us rename files.
std::vector<std::string> namesIn(const std::string& text) {
  std::vector<std::string> names;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\0', at), text.size());
    names.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  bool areOurs = names.size() % 2 == 0;
  for (size_t i = 0; areOurs && i < names.size(); i += 2) {
    areOurs = names::isTemporary(names[i]) && isFileOfCatalogue(names[i + 1]);
  }
  return areOurs ? names : std::vector<std::string>();
}

/// The files that the journal names as targets. The library list is always one of them: each pair
/// consists of the list and a library.
std::vector<std::string> targets(const std::vector<std::string>& names) {
  std::vector<std::string> files{names::listFile};
  for (size_t i = 1; i < names.size(); i += 2) {
    files.push_back(names[i]);
  }
  return files;
}

/// The result of completing one entry of the journal.
enum class Completion { Done, Failed, TargetExists };

Completion putInPlace(ReplacedFile& file, const std::string& temporary) {
  const bool isThere = file.adopt(temporary);
  if (isThere ? file.commit() : file.error().empty()) {
    return Completion::Done;  // also without the temporary file: it has already been renamed
  }
  return file.isTargetInTheWay() ? Completion::TargetExists : Completion::Failed;
}

}  // namespace

bool UnfinishedSave::concerns(const std::string& name) const {
  return !reason.empty() &&
         (files.empty() || std::find(files.begin(), files.end(), name) != files.end());
}

bool PairedSave::commit() {
  const bool isJoined =
      fitsJournal(m_first) && fitsJournal(m_second) && m_first.folder() == m_second.folder();
  return isJoined ? commitJoined() : commitOneByOne();
}

bool PairedSave::commitJoined() {
  // The temporary files must be durable before the journal that names them.
  syncFolder(m_first.folder());
  const std::string text = describe(m_first) + describe(m_second);
  ReplacedFile journal(pathIn(m_first.folder(), names::journalFile));
  if (!journal.prepare(text) || !journal.commit()) {
    m_error = "cannot write the journal: " + journal.error();
    return false;
  }
  // From here on, the temporary files must stay for the process that completes the save. The first
  // rename is not synced: the commit of the second file syncs the folder for both, before the
  // journal is removed.
  m_first.leave();
  m_second.leave();
  if (m_first.place() && m_second.commit()) {
    journal.remove();
    return true;
  }
  if (m_first.isTargetInTheWay() || m_second.isTargetInTheWay()) {
    // Another attempt would find the same file, so the whole save is given up.
    removeNewFirst();
    journal.remove();
    m_error = reason();
  } else {
    m_error = reason() + "; it will be tried again";
  }
  return false;
}

bool PairedSave::commitOneByOne() {
  if (m_first.commit() && m_second.commit()) {
    return true;
  }
  m_error = reason();
  removeNewFirst();
  return false;
}

// The file of a new library without its entry in the list would prevent creating the library again.
void PairedSave::removeNewFirst() {
  if (m_first.error().empty() && m_first.isNew()) {
    m_first.remove();
  }
}

const std::string& PairedSave::reason() const {
  return m_first.error().empty() ? m_second.error() : m_first.error();
}

bool PairedSave::isPending(const std::string& folder) {
  return ::access(pathIn(folder, names::journalFile).c_str(), F_OK) == 0;
}

SaveJournal PairedSave::readJournal(const std::string& folder) {
  const auto text = contentOf(pathIn(folder, names::journalFile), kLongestJournal);
  if (!text) {
    const int code = errno;
    const bool isAbsent = code == ENOENT || code == ENOTDIR;
    return {isAbsent ? SaveJournal::State::Absent : SaveJournal::State::Unreadable, code, {}};
  }
  std::vector<std::string> names =
      text->size() > kLongestJournal ? std::vector<std::string>() : namesIn(*text);
  const auto state = names.empty() ? SaveJournal::State::Damaged : SaveJournal::State::Sound;
  return {state, 0, std::move(names)};
}

bool SaveJournal::mayNeed(const std::string& temporaryFile) const {
  return state == State::Damaged || state == State::Unreadable ||
         std::find(names.begin(), names.end(), temporaryFile) != names.end();
}

UnfinishedSave PairedSave::complete(const std::string& folder) {
  const std::string journal = pathIn(folder, names::journalFile);
  const auto [state, code, entries] = readJournal(folder);
  if (state == SaveJournal::State::Absent) {
    return {};
  }
  if (state == SaveJournal::State::Unreadable) {
    const std::string reason = "Cannot read " + journal + ": " + std::strerror(code);
    // What is not a regular file is not a journal and names no library. But no journal can be
    // written while it is there, so the list cannot be saved.
    const bool isForeign = code == EISDIR || code == EINVAL || code == ENXIO || code == ELOOP;
    return {reason,
            isForeign ? std::vector<std::string>{names::listFile} : std::vector<std::string>()};
  }
  if (state == SaveJournal::State::Damaged) {
    logError("PairedSave::complete", journal + " is none of ours, removed");
  }
  for (size_t i = 0; i < entries.size(); i += 2) {
    ReplacedFile file(pathIn(folder, entries[i + 1]));
    const Completion completion = putInPlace(file, pathIn(folder, entries[i]));
    if (completion == Completion::Failed) {
      return {"Cannot complete the save of " + file.path() + ": " + file.error(), targets(entries)};
    }
    if (completion == Completion::TargetExists) {
      logError("PairedSave::complete", "Save of " + file.path() + " given up: " + file.error());
      break;
    }
  }
  // If the journal stayed, it would be completed again and undo later changes.
  if (::unlink(journal.c_str()) != 0 && errno != ENOENT) {
    return {"Cannot remove " + journal + ": " + std::strerror(errno), targets(entries)};
  }
  syncFolder(folder);
  return {};
}

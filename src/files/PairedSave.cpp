#include "files/PairedSave.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "files/Names.h"
#include "common/FileContent.h"
#include "common/FolderSync.h"
#include "common/Log.h"

namespace {

constexpr std::size_t kLongestJournal = 4096;  // ours has four names of at most 255 bytes

std::string pathIn(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

std::string nameIn(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// A prepared file and the name that it is to get. Names without a directory, so that a catalogue
/// may be moved as it is; they hold no zero byte, so one ends each of them.
std::string describe(const ReplacedFile& file) {
  return nameIn(file.aside()) + '\0' + nameIn(file.target()) + '\0';
}

bool isFileOfCatalogue(const std::string& name) {
  return name == names::listFile ||
         (name.starts_with(names::libraryPrefix) && name.ends_with(names::fileSuffix) &&
          name.find('/') == std::string::npos);
}

/// Whether the journal may name the file.
bool canBeNoted(const ReplacedFile& file) {
  return !file.aside().empty() && !file.isElsewhere() && isFileOfCatalogue(nameIn(file.target()));
}

/// The names in a journal, by turns of a prepared file and of its target. None when the text is
/// anything else: a journal of another origin must not move files.
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

/// The files that are to get a place, and always the list: no other pair can be saved.
std::vector<std::string> targets(const std::vector<std::string>& names) {
  std::vector<std::string> files{names::listFile};
  for (size_t i = 1; i < names.size(); i += 2) {
    files.push_back(names[i]);
  }
  return files;
}

/// What completing an entry of the journal came to.
enum class Completion { Done, Failed, TargetExists };

Completion putInPlace(ReplacedFile& file, const std::string& aside) {
  const bool isThere = file.adopt(aside);
  if (isThere ? file.commit() : file.error().empty()) {
    return Completion::Done;  // also when the prepared file is gone: it was put in its place before
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
      canBeNoted(m_first) && canBeNoted(m_second) && m_first.folder() == m_second.folder();
  return isJoined ? commitJoined() : commitOneByOne();
}

bool PairedSave::commitJoined() {
  // After a power loss that leaves the journal, the files that it names have to be there.
  syncFolder(m_first.folder());
  const std::string text = describe(m_first) + describe(m_second);
  ReplacedFile journal(pathIn(m_first.folder(), names::journalFile));
  if (!journal.prepare(text) || !journal.commit()) {
    m_error = "cannot note what is to be saved: " + journal.error();
    return false;
  }
  // From here on, what the journal names belongs to whoever completes it. It does not matter which
  // of the two a power loss leaves: both are on the disk with the commit, before the journal goes.
  m_first.leave();
  m_second.leave();
  if (m_first.place() && m_second.commit()) {
    journal.remove();
    return true;
  }
  if (m_first.isTargetInTheWay() || m_second.isTargetInTheWay()) {
    // The next try would meet the same file, so the save is given up as a whole.
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

// A new library's file without its entry would be in the way when the library is made again.
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
    // What is no regular file is not ours and names no library, but keeps us from saving a pair.
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
  // Completed once more, it would undo what was changed since.
  if (::unlink(journal.c_str()) != 0 && errno != ENOENT) {
    return {"Cannot remove " + journal + ": " + std::strerror(errno), targets(entries)};
  }
  syncFolder(folder);
  return {};
}

#include "catalogue/PairedSave.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "TqLibEmulator.h"
#include "catalogue/Names.h"
#include "common/FileContent.h"
#include "common/FolderSync.h"

namespace {

constexpr char kPendingName[] = "/.tqlib-pending";

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

/// Whether a description of the file would be taken for one of ours.
bool canBeNoted(const ReplacedFile& file) {
  return !file.aside().empty() && isFileOfCatalogue(nameIn(file.target()));
}

/// The names in such a description, by turns of a prepared file and of what it is to become; none
/// when it is anything else, for a note of another origin must not move other files.
std::vector<std::string> namesIn(const std::string& text) {
  std::vector<std::string> names;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\0', at), text.size());
    names.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  bool areOurs = names.size() % 2 == 0;
  for (size_t i = 0; areOurs && i < names.size(); i += 2) {
    areOurs = ReplacedFile::isAside(names[i]) && isFileOfCatalogue(names[i + 1]);
  }
  return areOurs ? names : std::vector<std::string>();
}

/// True also when the prepared file is gone: it was put in its place before.
bool putInPlace(ReplacedFile& file, const std::string& aside) {
  return file.adopt(aside) ? file.commit() : file.error().empty();
}

}  // namespace

bool PairedSave::commit() {
  const bool isJoined =
      canBeNoted(m_first) && canBeNoted(m_second) && m_first.folder() == m_second.folder();
  return isJoined ? commitJoined() : commitOneByOne();
}

bool PairedSave::commitJoined() {
  // After a power loss that leaves the note, what it names has to be there.
  syncFolder(m_first.folder());
  const std::string text = describe(m_first) + describe(m_second);
  ReplacedFile note(m_first.folder() + kPendingName);
  if (!note.prepare(text) || !note.commit()) {
    m_error = "cannot note what is to be saved: " + note.error();
    return false;
  }
  // While the note stands, it does not matter which of the two a power loss leaves; both are on the
  // disk with the commit, which is before the note goes.
  if (m_first.place() && m_second.commit()) {
    note.remove();
    return true;
  }
  m_error = reason() + "; it will be tried again";
  m_first.leave();
  m_second.leave();
  return false;
}

bool PairedSave::commitOneByOne() {
  if (m_first.commit() && m_second.commit()) {
    return true;
  }
  m_error = reason();
  if (m_first.error().empty() && m_first.isNew()) {
    // A new library's file without its entry would be in the way when it is made again.
    m_first.remove();
  }
  return false;
}

const std::string& PairedSave::reason() const {
  return m_first.error().empty() ? m_second.error() : m_first.error();
}

bool PairedSave::isPending(const std::string& folder) {
  return ::access((folder + kPendingName).c_str(), F_OK) == 0;
}

bool PairedSave::complete(const std::string& folder, std::string& error) {
  const std::string note = folder + kPendingName;
  const auto text = contentOf(note);
  if (!text) {
    if (errno == ENOENT) {
      return true;
    }
    error = "Cannot read " + note + ": " + std::strerror(errno);
    return false;
  }
  const std::vector<std::string> names = namesIn(*text);
  if (names.empty()) {
    EvDebug::Error(debugHandler, "PairedSave::complete", "%s is none of ours, removed",
                   note.c_str());
  }
  for (size_t i = 0; i < names.size(); i += 2) {
    ReplacedFile file(folder + '/' + names[i + 1]);
    if (!putInPlace(file, folder + '/' + names[i])) {
      file.leave();
      error = "Cannot complete the save of " + file.path() + ": " + file.error();
      return false;
    }
  }
  // Carried out once more, it would undo what was changed since.
  if (::unlink(note.c_str()) != 0 && errno != ENOENT) {
    error = "Cannot remove " + note + ": " + std::strerror(errno);
    return false;
  }
  syncFolder(folder);
  return true;
}

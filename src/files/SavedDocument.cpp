// Serialises the documents in memory, removes stale temporary files, then replaces the files.

#include "files/SavedDocument.h"

#include <string_view>

#include "common/Log.h"
#include "files/PairedSave.h"
#include "files/Serialise.h"

namespace {

/// Removes stale temporary files in a folder, unless a journal there may still name them.
void removeStaleIn(const std::string& folder) {
  if (!PairedSave::isPending(folder)) {
    ReplacedFile::removeStaleFiles(folder);
  }
}

/// Removes stale temporary files in the folder of a file and, if the path is a symbolic link, in
/// the folder of the link.
void removeStaleBeside(const ReplacedFile& file) {
  removeStaleIn(file.folder());
  if (file.isElsewhere()) {
    removeStaleIn(file.path().substr(0, file.path().rfind('/') + 1) + '.');
  }
}

std::string failureText(const std::string& path, const std::string& reason) {
  return "Failed to save document " + path + ", error: " + reason;
}

std::string logFailure(const ReplacedFile& file, const std::string& reason) {
  std::string text = failureText(file.path(), reason);
  logError("TqLibEmulator::saveDocument", text);
  return text;
}

/// A serialised document and its file.
class Saving {
public:
  explicit Saving(const SavedDocument& document)
      : m_content(document.node == nullptr ? nullptr : serialise(*document.node)),
        file(document.path, document.existing) {}

  bool hasContent() const { return m_content != nullptr; }
  bool prepare() {
    return file.prepare(
        {reinterpret_cast<const char*>(m_content->getRawBuffer()), m_content->getLen()});
  }

private:
  std::unique_ptr<xercesc::MemBufFormatTarget> m_content;

public:
  ReplacedFile file;
};

}  // namespace

bool SavedDocument::save(std::string& error) const {
  Saving saving(*this);
  if (!saving.hasContent()) {
    error = failureText(path, "no document or no serialiser");
    return false;
  }
  removeStaleBeside(saving.file);
  if (!saving.prepare() || !saving.file.commit()) {
    error = logFailure(saving.file, saving.file.error());
  }
  return true;
}

bool SavedDocument::savePair(const SavedDocument& first, const SavedDocument& second,
                             std::string& error) {
  Saving one(first);
  Saving other(second);
  if (!one.hasContent() || !other.hasContent()) {
    error = failureText(first.path, "no document or no serialiser");
    return false;
  }
  removeStaleBeside(one.file);
  if (other.file.folder() != one.file.folder()) {
    removeStaleBeside(other.file);
  }
  for (Saving* each : {&one, &other}) {
    if (!each->prepare()) {
      error = logFailure(each->file, each->file.error());
      return true;
    }
  }
  PairedSave both(one.file, other.file);
  if (!both.commit()) {
    error = logFailure(one.file.error().empty() ? other.file : one.file, both.error());
  }
  return true;
}

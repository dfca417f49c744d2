// Most answers come from the API. The files are read where no call has the answer, or has it only
// for a catalogue without faults.
#include "catalogue/Catalogue.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>

#include "catalogue/Configuration.h"
#include "catalogue/VolumeFiles.h"
#include "common/FileContent.h"
#include "files/Descendants.h"
#include "files/Documents.h"
#include "files/PairedSave.h"
#include "files/SavedDocument.h"
#include "files/XmlText.h"

namespace fs = std::filesystem;

using xercesc::DOMDocument;
using xercesc::DOMElement;

namespace {

/// Shows on the terminal that another process has the lock, when the wait takes over a second.
class WaitNotice {
public:
  WaitNotice() {
    if (isatty(STDERR_FILENO) == 0) return;
    std::signal(SIGALRM, [](int) {
      constexpr std::string_view text = "waiting: another process is changing the catalogue\n";
      [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
    });
    alarm(1);
  }
  ~WaitNotice() { alarm(0); }
  WaitNotice(const WaitNotice&) = delete;
  WaitNotice& operator=(const WaitNotice&) = delete;
};

}  // namespace

ParsedFile readDocument(const std::string& path) {
  ParsedFile file = parseFile(path);
  if (rootOf(file.document()) != nullptr) return file;
  if (file.error.empty()) throw systemFailure(path, ENOENT);
  throw Failure(fmt::format("{} cannot be parsed: {}", path, file.error));
}

void asOneStep(const std::function<void()>& steps) {
  TqLibEmulator emulator;
  std::optional<WaitNotice> notice(std::in_place);
  const bool isDone = emulator.ChangeCatalogue([&] {
    notice.reset();
    steps();
    return true;
  });
  if (!isDone) throw libraryFailure("the catalogue cannot be changed", emulator);
}

void changeFile(const std::string& path, const XMLCh* newRoot,
                const std::function<bool(DOMDocument&)>& change) {
  asOneStep([&] {
    // Its completion would replace this file with an older one.
    if (PairedSave::isPending(configuredCatalogue())) {
      throw Failure("an earlier save of two files is half done");
    }
    // A broken symbolic link is not a new file: its target may come back, for example by a mount.
    const bool isNew =
        newRoot != nullptr && fs::symlink_status(path).type() == fs::file_type::not_found;
    const auto created = isNew ? newDocument(newRoot) : XmlOwner<DOMDocument>();
    const ParsedFile parsed = isNew ? ParsedFile() : readDocument(path);
    DOMDocument* document = isNew ? created.get() : parsed.document();
    if (!change(*document)) return;
    std::string error;
    SavedDocument{document, path, isNew ? Existing::Kept : Existing::Replaced}.save(error);
    if (!error.empty()) throw Failure(error);
  });
}

void change(const std::string& complaint, const std::function<bool(TqLibEmulator&)>& call,
            const std::string& otherwise) {
  TqLibEmulator emulator;
  if (!call(emulator)) throw libraryFailure(complaint, emulator, otherwise);
  const std::string reason = emulator.saveError();
  if (!reason.empty()) throw Failure(fmt::format("{}: {}", complaint, reason));
}

// The device query lists the libraries, too, but it fails at the first damaged one. With a damaged
// library, an operator needs the list most.
std::vector<std::string> listedLibraries() {
  const std::string list = catalogueFolder() + names::listFile;
  if (!TqLibEmlFile::IsFilePresent(list)) return {};
  try {
    const ParsedFile file = readDocument(list);
    std::vector<std::string> keys;
    for (const DOMElement* entry : Descendants(rootOf(file.document()), names::library)) {
      keys.push_back(toUtf8(entry->getAttribute(names::id)));
    }
    return keys;
  } catch (const Failure& failure) {
    throw Failure(failure.what(),
                  "fix the list by hand, or delete it: \"tqlib check --fix\" makes a new one");
  }
}

bool isListed(const std::string& library) {
  return std::ranges::count(listedLibraries(), library) > 0;
}

bool removeEntries(DOMDocument& list, const std::function<bool(const std::string&)>& isUnwanted) {
  std::vector<DOMElement*> unwanted;
  for (DOMElement* entry : Descendants(rootOf(&list), names::library)) {
    const bool isRemoved = isUnwanted(toUtf8(entry->getAttribute(names::id)));
    if (isRemoved && entry->getFirstElementChild() == nullptr) unwanted.push_back(entry);
  }
  for (DOMElement* entry : unwanted) entry->getParentNode()->removeChild(entry)->release();
  return !unwanted.empty();
}

void takeOffList(const std::string& library) {
  changeFile(catalogueFolder() + names::listFile, names::libraryList, [&](DOMDocument& list) {
    return removeEntries(list, [&](const std::string& key) { return key == library; });
  });
  if (isListed(library)) {
    throw Failure("the entry of library " + library + " in the list contains other elements",
                  "edit the list by hand");
  }
}

// An entry without a file makes every query over all libraries fail, so the entries go first.
void purgeLibrary(const std::string& library) {
  takeOffList(library);
  fs::remove(libraryFile(library));
}

std::vector<std::string> storedLibraries() {
  std::set<std::string> keys;
  for (const std::string& name : namesIn(catalogueFolder())) keys.insert(names::keyOf(name));
  keys.erase("");
  return {keys.begin(), keys.end()};
}

RemovedLibrary::RemovedLibrary(const std::string& library)
    : Failure(fmt::format("library {} was removed, and its file stayed: {}", library,
                          libraryFile(library)),
              purgeCommand(library) + " deletes the file") {}

Failure listedOnly(const std::string& library) {
  return Failure(fmt::format("library {} is listed without a file", library),
                 purgeCommand(library) + " takes it off the list");
}

std::string purgeCommand(const std::string& library) {
  return fmt::format("\"tqlib library remove {} --purge\"", library);
}

bool wasRemoved(const std::string& library) {
  const ParsedFile file = parseFile(libraryFile(library));
  const DOMElement* root = rootOf(file.document());
  return root != nullptr && Descendants(root, names::library).first() == nullptr;
}

// The API says why a file cannot be read, with its code.
ParsedFile readLibraryFile(const std::string& library) {
  requireLibrary(library);
  ParsedFile file = parseFile(libraryFile(library));
  if (rootOf(file.document()) == nullptr) inventory(library);
  wholeLibrary(file.document(), library);
  return file;
}

// In the file of another library, a removal of the library would look for a drive.
DOMElement& wholeLibrary(const DOMDocument* document, const std::string& library) {
  const Descendants libraries(rootOf(document), names::library);
  if (libraries.first() == nullptr) throw RemovedLibrary(library);
  DOMElement* found = libraries.single();
  std::string serial;
  const DOMElement* device = Descendants(found, names::libraryScsiDevice).first();
  const bool isReadable = readValue(device, names::serialNumber, serial);
  if (isReadable && serial == library &&
      toUtf8(found->getAttribute(names::name)) == names::libraryPrefix + library) {
    return *found;
  }
  throw Failure(fmt::format("the file of library {} is that of {}", library,
                            found == nullptr ? "several libraries" : "another one"),
                fmt::format("\"tqlib check {}\" shows what is wrong in it", library));
}

std::vector<LibElement> inventory(const std::string& library) {
  requireLibrary(library);
  TqLibEmulator emulator;
  std::vector<LibElement> elements;
  if (emulator.GetVirtualLibraryElements(library, elements)) return elements;
  if (wasRemoved(library)) throw RemovedLibrary(library);
  throw libraryFailure(fmt::format("library {} cannot be read", library), emulator);
}

bool isLibrary(const SCSIUnitFields& device) {
  return device.ScsiDeviceType == kMediumChanger;
}

std::string folded(std::string serial) {
  std::ranges::transform(serial, serial.begin(), [](unsigned char character) {
    return static_cast<char>(std::tolower(character));
  });
  return serial;
}

// Parsing takes far longer than a search in the text. There a value is as it is, unless it has a
// character that is written as "&...;", or the text is UTF-16.
bool mayHold(const std::string& library, const std::set<std::string>& texts, bool isFolded) {
  constexpr std::size_t kMostSearches = 100;
  auto text = contentOf(libraryFile(library));
  if (!text || texts.size() > kMostSearches) return true;
  if (text->find('&') != std::string::npos || text->find('\0') != std::string::npos) return true;
  if (isFolded) text = folded(std::move(*text));
  return std::ranges::any_of(
      texts, [&](const std::string& value) { return text->find(value) != std::string::npos; });
}

void refuseDrivesElsewhere(const std::vector<std::string>& serials, const std::string& library) {
  std::set<std::string> wanted;
  for (const std::string& serial : serials) wanted.insert(folded(names::drivePrefix + serial));
  for (const std::string& other : storedLibraries()) {
    if (other == library || !mayHold(other, wanted, true)) continue;
    const ParsedFile file = readDocument(libraryFile(other));
    for (const DOMElement* drive : Descendants(rootOf(file.document()), names::drive)) {
      if (!wanted.contains(folded(toUtf8(drive->getAttribute(names::name))))) continue;
      throw Failure("another library has a drive of that serial number: " + other,
                    fmt::format("\"tqlib library show {}\" shows it", other));
    }
  }
}

// tqlib library remove: a library leaves the catalogue, or a host lets go of it.
#include "catalogue/LibraryRemoval.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "files/Names.h"
#include "catalogue/Configuration.h"
#include "catalogue/XmlScan.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string library;
  std::string host;
  bool purge = false;
};

std::string escaped(const std::string& text) {
  std::string result;
  for (const char character : text) {
    if (character == '&' || character == '<' || character == '>') {
      result += "&#" + std::to_string(int{character}) + ";";
    } else {
      result += character;
    }
  }
  return result;
}

/// A file with nothing but a library of that serial number, as long as it lives. The library takes
/// an entry off its list only together with a library that it finds in a file.
class StandIn {
public:
  explicit StandIn(const std::string& library) {
    std::ofstream file(m_path);
    file << "<Devices><Library><LibraryScsiDevice><SerialNumber>" << escaped(library)
         << "</SerialNumber></LibraryScsiDevice></Library></Devices>\n";
    if (file.flush()) return;
    const int code = errno;
    unlink(m_path.c_str());
    throw systemFailure("cannot write " + m_path, code);
  }
  ~StandIn() { unlink(m_path.c_str()); }
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;

  const std::string& key() const { return m_key; }

private:
  std::string m_key = ".tqlib-stand-in-" + std::to_string(getpid());
  std::string m_path = libraryFile(m_key);
};

// An entry whose file goes would fail every query over all libraries, so all entries go first.
void takeOffList(const std::string& library) {
  const std::vector<std::string> listed = listedLibraries();
  for (auto left = std::count(listed.begin(), listed.end(), library); left > 0; --left) {
    const StandIn standIn(library);
    TqLibEmulator emulator;
    if (!emulator.RemoveVirtualDevice("", library, standIn.key())) {
      throw libraryFailure("library " + library + " cannot be taken off the list", emulator);
    }
    requireSaved(emulator, "the list without library " + library);
  }
}

void dropLibrary(const std::string& host, const std::string& library) {
  TqLibEmulator emulator;
  if (!emulator.RemoveVirtualDevice(host, library, library)) {
    throw libraryFailure(
        "library " + library + " cannot be removed", emulator,
        isListed(library) ? kSeeLog : "it is not listed; --purge deletes its file");
  }
  requireSaved(emulator, "the removal of library " + library);
}

// What is left of a library that is not whole can only be purged.
void dropWhatIsLeft(const std::string& library, bool purge) {
  const bool listed = isListed(library);
  if (!libraryExists(library)) {
    if (!listed) requireLibrary(library);
    if (!purge) throw listedOnly(library);
    return;
  }
  if (wasRemoved(library)) {
    if (!purge) throw RemovedLibrary(library);
    return;
  }
  requireWholeLibrary(library);
  if (!listed && purge) return;  // without a list the library refuses the removal
  dropLibrary("", library);
}

/// "is deleted", or what else came of the file.
std::string purgeFile(const std::string& library) {
  takeOffList(library);
  return fs::remove(libraryFile(library)) ? "is deleted" : "was gone before";
}

// Both removals return what to print: as JSON, and as a sentence.

std::pair<Json, std::string> removeLibrary(const Options& options) {
  const std::string& library = options.library;
  const std::string file = libraryFile(library);
  dropWhatIsLeft(library, options.purge);
  takeOffList(library);
  const std::string fate = options.purge
                               ? purgeFile(library)
                               : "stays, and is in the way of a new library of that name until " +
                                     purgeCommand(library) + " deletes it";
  return {Json{{"library", library}, {"removed", true}, {"file", file}, {"purged", options.purge}},
          "library " + library + " removed; its file " + fate + ": " + file};
}

// With its last host the library goes too, but keeps its entry in the list.
std::pair<Json, std::string> removeUnit(const Options& options) {
  const std::string& library = options.library;
  requireWholeLibrary(library);
  if (findLibrary(devicesOf(library, options.host)) == nullptr) {
    throw Failure("host " + options.host + " does not see library " + library);
  }
  const std::string file = libraryFile(library);
  const std::size_t units = countElements(file, names::libraryScsiUnit);
  if (options.purge && units > 1) {
    throw Failure("other hosts see library " + library + " too, so its file cannot be deleted");
  }
  dropLibrary(options.host, library);
  std::string sentence = "host " + options.host + " does not see library " + library + " any more";
  if (units == 1) {
    sentence += ", and no other host did: the library is removed; its file " +
                (options.purge ? purgeFile(library)
                               : "and its entry in the list stay until " + purgeCommand(library)) +
                ": " + file;
  }
  return {Json{{"library", library},
               {"host", options.host},
               {"removed", units == 1},
               {"file", file},
               {"purged", options.purge}},
          sentence};
}

void removeWanted(const Options& options, const Session& session) {
  useConfiguration(session.config);
  std::pair<Json, std::string> result;
  asOneStep([&] { result = options.host.empty() ? removeLibrary(options) : removeUnit(options); });
  printResult(session.json, result.first, result.second);
}

}  // namespace

void purgeLibrary(const std::string& library) {
  dropWhatIsLeft(library, true);
  purgeFile(library);
}

void addLibraryRemoval(CLI::App& group, Session& session) {
  const auto [command, options] = addCommand(
      group, session,
      {"remove", "Remove a library with its drives and shelves; the data of its media stays",
       "tqlib library remove LIB001 --purge"},
      removeWanted);
  addLibraryOperand(command, options.library);
  addText(command, "--host", options.host,
          "Only this host loses the library; with the last host the library goes");
  command.add_flag("--purge", options.purge,
                   "Delete the file too, so that the library can be created again");
}

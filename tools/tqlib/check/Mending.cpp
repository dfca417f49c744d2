#include "check/Mending.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>

#include "TqLibEmulator.h"
#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "files/Descendants.h"
#include "files/Names.h"
#include "files/PairedSave.h"
#include "catalogue/ConfiguredPlaces.h"
#include "catalogue/ElementName.h"
#include "catalogue/FolderLock.h"
#include "catalogue/XmlScan.h"
#include "check/CheckedLibrary.h"
#include "check/FileMending.h"
#include "check/LeftOvers.h"
#include "check/ListMending.h"

namespace fs = std::filesystem;

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

Findings mendableOf(const Findings& findings) {
  Findings mendable;
  for (const Finding& finding : findings) {
    if (finding.isMendable) mendable.push_back(finding);
  }
  return mendable;
}

using Complaints = std::vector<std::string>;

void attempt(Complaints& complaints, const std::function<void()>& step) {
  try {
    step();
  } catch (const std::exception& failure) {
    complaints.emplace_back(failure.what());
  }
}

/// Keeps the files that the completion of the save replaces. One that is damaged would be thrown
/// away.
void keepTargets(const std::string& folder, KeptCopies& copies) {
  const SaveJournal save = PairedSave::readJournal(folder);
  if (save.mayNeed("")) throw Failure("the journal of the save is damaged");
  for (std::size_t i = 1; i < save.names.size(); i += 2) copies.keep(folder + save.names[i]);
}

void completeSave(const std::string& folder, const Findings& findings, KeptCopies& copies) {
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kHalfSaved)) continue;
    keepTargets(folder, copies);
    asOneStep([] {});  // which completes it first
    return;
  }
}

void deleteFile(const std::string& path) {
  if (isPlainFile(path) && unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw systemFailure("cannot delete " + path, errno);
  }
}

/// Without the lock nobody knows whether a file belongs to a save that is going on.
void deleteInCatalogue(const std::string& folder, const std::vector<std::string>& names,
                       Complaints& complaints) {
  underLock(folder, [&] {
    const SaveJournal save = PairedSave::readJournal(folder);
    for (const std::string& name : names) {
      if (names::isTemporary(name) && save.mayNeed(name)) continue;
      attempt(complaints, [&] { deleteFile(folder + name); });
    }
  });
}

// Whoever builds a copy of a volume holds the lock of its folder.
void deleteFolder(const std::string& folder) {
  const FolderLock lock(folder, std::chrono::milliseconds(0));
  if (lock.isHeld()) fs::remove_all(folder);
}

void deleteLeftOvers(const std::string& folder, const Findings& findings, Complaints& complaints) {
  std::vector<std::string> names;
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kLeftOver)) continue;
    const std::string& path = finding.place.file;
    const std::string name = fs::path(path).filename().string();
    if (isLeftAmongVolumes(name)) {
      attempt(complaints, [&] { isPlainFile(path) ? deleteFile(path) : deleteFolder(path); });
    } else {
      names.push_back(name);
    }
  }
  if (names.empty()) return;
  attempt(complaints, [&] { deleteInCatalogue(folder, names, complaints); });
}

using ElementsByName = std::map<std::string, const Finding*>;

bool isInLibrary(const DOMElement& element, const DOMDocument& document) {
  const xercesc::DOMNode* root = document.getDocumentElement();
  for (const xercesc::DOMNode* node = element.getParentNode(); node != root;
       node = node->getParentNode()) {
    if (xercesc::XMLString::equals(node->getNodeName(), u"Library")) return true;
  }
  return false;
}

/// The drives, slots and shelves, in the order in which readLibrary() has them.
std::vector<DOMElement*> nodesOf(const DOMDocument& document) {
  std::vector<DOMElement*> nodes;
  for (DOMElement* element : Descendants(rootOf(&document))) {
    const std::string name = MyTranscode(element->getTagName());
    const bool isSlot = name == "Slots" && isInLibrary(*element, document);
    if (isSlot || name == "Drive" || name == "Shelf") nodes.push_back(element);
  }
  return nodes;
}

/// Whether the element is wrong still, and in the same way.
bool isWrongStill(const ElementContent& element, const ElementsByName& wanted) {
  if (!hasWrongOccupancy(element)) return false;
  const LibElement record = elementByBarcode(element);
  const auto found = wanted.find(elementName(record));
  return found != wanted.end() && record.barCode == found->second->wanted.barCode;
}

bool setOccupancy(const DOMDocument& document, const LibraryContent& content,
                  const ElementsByName& wanted) {
  const std::vector<DOMElement*> nodes = nodesOf(document);
  if (nodes.size() != content.elements.size()) throw Failure("the library changed meanwhile");
  bool isChanged = false;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const ElementContent& element = content.elements[i];
    if (!isWrongStill(element, wanted)) continue;
    nodes[i]->setAttribute(u"IsOccupied", element.barcode.isUsable() ? u"true" : u"false");
    isChanged = true;
  }
  return isChanged;
}

// A call of the library would write barcode and occupancy as they were read before it, and so take
// out a medium that came meanwhile.
void mendOccupancy(const std::string& folder, const std::string& library,
                   const ElementsByName& wanted, KeptCopies& copies) {
  const std::string name = names::fileOf(library);
  mendFile(folder, name, nullptr, copies, [&](const DOMDocument& document) {
    return setOccupancy(document, readLibrary(folder + name), wanted);
  });
}

}  // namespace

std::vector<std::string> mend(const Findings& all, KeptCopies& copies) {
  const Findings findings = mendableOf(all);
  const std::string folder = configuredCatalogue();
  Complaints complaints;
  attempt(complaints, [&] { completeSave(folder, findings, copies); });
  deleteLeftOvers(folder, findings, complaints);
  attempt(complaints, [&] { mendList(folder, findings, copies); });

  std::map<std::string, ElementsByName> libraries;
  for (const Finding& finding : findings) {
    if (!finding.is(kinds::kOccupancy)) continue;
    libraries[finding.library][finding.place.element] = &finding;
  }
  for (const auto& library : libraries) {
    attempt(complaints, [&] { mendOccupancy(folder, library.first, library.second, copies); });
  }
  return complaints;
}

// The library enters and removes a library only together with its file, so the list is rewritten
// here.
#include "check/ListMending.h"

#include <set>

#include "TqLibEmulator.h"
#include "files/Descendants.h"
#include "files/Names.h"
#include "files/XmlText.h"
#include "catalogue/LibraryContent.h"
#include "catalogue/XmlScan.h"
#include "check/CheckedLibrary.h"
#include "check/FileMending.h"
#include "check/LeftOvers.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

void append(DOMDocument& list, const std::string& key) {
  DOMElement* entry = list.createElement(u"Library");
  entry->setAttribute(u"Id", toXml(key).c_str());
  entry->appendChild(list.createTextNode(toXml(names::fileOf(key)).c_str()));
  list.getDocumentElement()->appendChild(entry);
}

std::vector<DOMElement*> entriesOf(const DOMDocument& list) {
  std::vector<DOMElement*> entries;
  for (DOMElement* entry : Descendants(rootOf(&list), names::library)) entries.push_back(entry);
  return entries;
}

std::string keyOf(const DOMElement& entry) {
  return MyTranscode(entry.getAttribute(u"Id"));
}

/// What the findings ask for, by key.
struct Wanted {
  std::set<std::string> withoutFile;
  std::set<std::string> doubled;
  std::set<std::string> unlisted;

  bool isEmpty() const { return withoutFile.empty() && doubled.empty() && unlisted.empty(); }
};

Wanted wantedOf(const Findings& findings) {
  Wanted wanted;
  for (const Finding& finding : findings) {
    if (finding.is(kinds::kEntryWithoutFile)) wanted.withoutFile.insert(finding.library);
    if (finding.is(kinds::kDoubledEntry)) wanted.doubled.insert(finding.library);
    if (finding.is(kinds::kFileWithoutEntry)) wanted.unlisted.insert(finding.library);
  }
  return wanted;
}

bool isLibraryStillThere(const std::string& folder, const std::string& key) {
  const std::string path = folder + names::fileOf(key);
  return !isAbsent(path) && isLibraryOfKey(readLibrary(path), key);
}

// The emulator goes on meanwhile, so each entry is judged by what is there now. One that holds
// others would take them with it.
bool takeOut(const std::vector<DOMElement*>& entries, const std::string& folder,
             const Wanted& wanted) {
  bool isChanged = false;
  std::set<std::string> seen;
  for (DOMElement* entry : entries) {
    const std::string key = keyOf(*entry);
    const bool isTwin = !seen.insert(key).second && wanted.doubled.count(key) != 0;
    const bool isWithoutFile =
        wanted.withoutFile.count(key) != 0 && isAbsent(folder + names::fileOf(key));
    if ((!isTwin && !isWithoutFile) || entry->getFirstElementChild() != nullptr) continue;
    entry->getParentNode()->removeChild(entry)->release();
    isChanged = true;
  }
  return isChanged;
}

bool enter(DOMDocument& list, const std::string& folder, const Wanted& wanted) {
  std::set<std::string> listed;
  for (const DOMElement* entry : entriesOf(list)) listed.insert(keyOf(*entry));
  bool isChanged = false;
  for (const std::string& key : wanted.unlisted) {
    if (listed.count(key) != 0 || !isLibraryStillThere(folder, key)) continue;
    append(list, key);
    isChanged = true;
  }
  return isChanged;
}

}  // namespace

void mendList(const std::string& folder, const Findings& findings, KeptCopies& copies) {
  const Wanted wanted = wantedOf(findings);
  if (wanted.isEmpty()) return;
  mendFile(folder, names::listFile, names::libraryList, copies, [&](DOMDocument& list) {
    const bool isShorter = takeOut(entriesOf(list), folder, wanted);
    return enter(list, folder, wanted) || isShorter;
  });
}

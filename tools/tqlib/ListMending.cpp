// The library enters and removes a library only together with its file, so the list is rewritten
// here, under the lock that the library takes too.
#include "ListMending.h"

#include <chrono>
#include <memory>
#include <set>

#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLChar.hpp>

#include "CatalogueNames.h"
#include "CheckedLibrary.h"
#include "Errors.h"
#include "FolderLock.h"
#include "LeftOvers.h"
#include "LibraryContent.h"
#include "TargetFile.h"
#include "XmlScan.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr std::chrono::seconds kLongestWait{30};
constexpr char kEmptyList[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
    "<LibraryList xmlns=\"http://www.w3.org/2001/XMLSchema-instance\">\n\n</LibraryList>\n";

struct Release {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

std::u16string wide(const std::string& text) {
  const xercesc::TranscodeFromStr result(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                         "UTF-8");
  return {result.str(), result.length()};
}

bool isSpace(const DOMNode& node) {
  return node.getNodeType() == DOMNode::TEXT_NODE &&
         xercesc::XMLChar1_0::isAllSpaces(node.getNodeValue(),
                                          xercesc::XMLString::stringLen(node.getNodeValue()));
}

/// With the white space before it, which is its indentation.
void remove(DOMElement& entry) {
  DOMNode* parent = entry.getParentNode();
  if (DOMNode* before = entry.getPreviousSibling(); before != nullptr && isSpace(*before)) {
    parent->removeChild(before)->release();
  }
  parent->removeChild(&entry)->release();
}

void append(DOMDocument& list, const std::string& key) {
  DOMElement* entry = list.createElement(u"Library");
  entry->setAttribute(u"Id", wide(key).c_str());
  entry->appendChild(
      list.createTextNode(wide(names::kLibraryPrefix + key + names::kFileSuffix).c_str()));
  DOMElement* root = list.getDocumentElement();
  DOMNode* end = root->getLastChild();
  DOMNode* indentation = end != nullptr && isSpace(*end) ? end : nullptr;
  root->insertBefore(list.createTextNode(u"\n\n  "), indentation);
  root->insertBefore(entry, indentation);
}

std::string keyOf(const DOMElement& entry) {
  return MyTranscode(entry.getAttribute(u"Id"));
}

std::string textOf(const DOMDocument& list) {
  auto* implementation = dynamic_cast<xercesc::DOMImplementationLS*>(
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
  if (implementation == nullptr) throw Failure("there is no memory to write the list");
  const Owned<xercesc::DOMLSSerializer> writer(implementation->createLSSerializer());
  const Owned<xercesc::DOMLSOutput> output(implementation->createLSOutput());
  xercesc::MemBufFormatTarget target;
  writer->setNewLine(u"\n");
  output->setEncoding(u"UTF-8");
  output->setByteStream(&target);
  if (!writer->write(&list, output.get())) throw Failure("the list cannot be written as XML");
  std::string text(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen());
  return text.insert(text.find("?>") + 2, "\n") + "\n";
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

std::string pathOf(const std::string& folder, const std::string& key) {
  return folder + names::kLibraryPrefix + key + names::kFileSuffix;
}

bool isLibraryStillThere(const std::string& folder, const std::string& key) {
  const std::string path = pathOf(folder, key);
  return !isAbsent(path) && isLibraryOfKey(readLibrary(path), key);
}

// The emulator goes on meanwhile, so each entry is judged by what is there now. The last entries go
// first, so that one inside another is not released twice.
bool takeOut(const std::vector<DOMElement*>& entries, const std::string& folder,
             const Wanted& wanted) {
  std::vector<DOMElement*> doomed;
  std::set<std::string> seen;
  for (DOMElement* entry : entries) {
    const std::string key = keyOf(*entry);
    const bool isTwin = !seen.insert(key).second && wanted.doubled.count(key) != 0;
    if (isTwin || (wanted.withoutFile.count(key) != 0 && isAbsent(pathOf(folder, key)))) {
      doomed.push_back(entry);
    }
  }
  for (auto entry = doomed.rbegin(); entry != doomed.rend(); ++entry) remove(**entry);
  return !doomed.empty();
}

bool enter(DOMDocument& list, const std::string& folder, const Wanted& wanted) {
  std::set<std::string> listed;
  for (const DOMElement* entry : elementsNamed(list, names::kLibrary)) listed.insert(keyOf(*entry));
  bool isChanged = false;
  for (const std::string& key : wanted.unlisted) {
    if (listed.count(key) != 0 || !isLibraryStillThere(folder, key)) continue;
    append(list, key);
    isChanged = true;
  }
  return isChanged;
}

void write(const std::string& file, const std::string& text) {
  TargetFile target(file);
  target.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  target.commit();
}

}  // namespace

void mendList(const std::string& folder, const Findings& findings, KeptCopies& copies) {
  const Wanted wanted = wantedOf(findings);
  if (wanted.isEmpty()) return;
  const FolderLock lock(folder, kLongestWait);
  if (!lock.isHeld()) throw Failure("another process keeps the catalogue locked");
  // What completes it would put an older list in the place of this one.
  if (!isAbsent(folder + names::kPending)) throw Failure("the list is half saved");
  const std::string file = folder + names::kLibraryList;
  const std::string before = isAbsent(file) ? kEmptyList : fileContent(file);
  withDocument(before, file, [&](DOMDocument& list) {
    const bool isShorter = takeOut(elementsNamed(list, names::kLibrary), folder, wanted);
    if (!enter(list, folder, wanted) && !isShorter) return;
    const std::string after = textOf(list);
    copies.keep(file);
    write(file, after);
  });
}

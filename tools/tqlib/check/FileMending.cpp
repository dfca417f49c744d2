#include "check/FileMending.h"

#include "base/Errors.h"
#include "catalogue/Catalogue.h"
#include "catalogue/XmlScan.h"
#include "check/LeftOvers.h"
#include "files/Names.h"
#include "files/NewDocument.h"
#include "files/PairedSave.h"
#include "files/SavedDocument.h"

using xercesc::DOMDocument;

// The next step completes a save that is half done, and throws a damaged journal away. That is for
// the operator to look at first.
void underLock(const std::string& folder, const std::function<void()>& work) {
  if (PairedSave::readJournal(folder).mayNeed(""))
    throw Failure("the journal of a save is damaged");
  asOneStep(work);
}

void mendFile(const std::string& folder, const std::string& name, const XMLCh* emptyRoot,
              KeptCopies& copies, const std::function<bool(DOMDocument&)>& change) {
  underLock(folder, [&] {
    // What completes it would put an older file in the place of this one.
    if (!isAbsent(folder + names::journalFile)) throw Failure("a save of the list is half done");
    const std::string file = folder + name;
    XmlOwner<DOMDocument> created(isAbsent(file) ? newDocument(emptyRoot) : nullptr);
    const ParsedFile parsed = created ? ParsedFile() : readDocument(file);
    DOMDocument* document = created ? created.get() : parsed.document();
    if (!change(*document)) return;
    copies.keep(file);
    std::string error;
    SavedDocument{document, file, created ? Existing::Kept : Existing::Replaced}.save(error);
    if (!error.empty()) throw Failure(error);
  });
}

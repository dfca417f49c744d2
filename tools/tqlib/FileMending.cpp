#include "FileMending.h"

#include <memory>

#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "Catalogue.h"
#include "CatalogueNames.h"
#include "Errors.h"
#include "LeftOvers.h"
#include "TargetFile.h"
#include "XmlScan.h"

namespace {

using xercesc::DOMDocument;

struct Release {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

/// Leaves out the indentation that the writer makes anew.
class WithoutIndentation : public xercesc::DOMLSSerializerFilter {
public:
  FilterAction acceptNode(const xercesc::DOMNode* text) const override {
    const XMLCh* value = text->getNodeValue();
    const bool isIndentation =
        xercesc::XMLChar1_0::isAllSpaces(value, xercesc::XMLString::stringLen(value)) &&
        (text->getNextSibling() != nullptr || text->getPreviousSibling() != nullptr);
    return isIndentation ? FILTER_REJECT : FILTER_ACCEPT;
  }
  ShowType getWhatToShow() const override { return xercesc::DOMNodeFilter::SHOW_TEXT; }
};

// In the form in which the library writes, so that its next save changes nothing else.
std::string textOf(const DOMDocument& document) {
  auto* implementation = dynamic_cast<xercesc::DOMImplementationLS*>(
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
  if (implementation == nullptr) throw Failure("there is no memory to write the file");
  const Owned<xercesc::DOMLSSerializer> writer(implementation->createLSSerializer());
  const Owned<xercesc::DOMLSOutput> output(implementation->createLSOutput());
  xercesc::MemBufFormatTarget target;
  WithoutIndentation filter;
  writer->setFilter(&filter);
  writer->setNewLine(u"\n");
  writer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  output->setEncoding(u"UTF-8");
  output->setByteStream(&target);
  if (!writer->write(&document, output.get())) throw Failure("the file cannot be written as XML");
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}

void write(const std::string& file, const std::string& text) {
  TargetFile target(file);
  target.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  target.commit();
}

}  // namespace

// The next step completes a save that is half done, and throws a damaged journal away. That is for
// the operator to look at first.
void underLock(const std::string& folder, const std::function<void()>& work) {
  const PendingSave save = pendingSave(folder);
  if (save.isThere && !save.isSound) throw Failure("the journal of a save is damaged");
  asOneStep(work);
}

void mendFile(const std::string& folder, const std::string& name, const std::string& empty,
              KeptCopies& copies, const std::function<bool(DOMDocument&)>& change) {
  underLock(folder, [&] {
    // What completes it would put an older file in the place of this one.
    if (!isAbsent(folder + names::kPending)) throw Failure("a save of the list is half done");
    const std::string file = folder + name;
    const std::string before = isAbsent(file) ? empty : fileContent(file);
    withDocument(before, file, [&](DOMDocument& document) {
      if (!change(document)) return;
      const std::string after = textOf(document);
      copies.keep(file);
      write(file, after);
    });
  });
}

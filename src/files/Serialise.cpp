// Uses the serialiser of Xerces-C++, pretty-printing, with a filter for the old indentation.

#include "files/Serialise.h"

#include <stdexcept>

#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "files/XmlMemory.h"

namespace {

/// Drops the indentation that the parser has kept in the document. If it were written again, the
/// indentation of removed elements would accumulate. White space that is the only child of an
/// element is a value and stays.
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

}  // namespace

std::unique_ptr<xercesc::MemBufFormatTarget> serialise(const xercesc::DOMNode& node) {
  auto* implementation = dynamic_cast<xercesc::DOMImplementationLS*>(
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
  if (implementation == nullptr) {
    return nullptr;
  }
  const XmlOwner<xercesc::DOMLSSerializer> writer(implementation->createLSSerializer());
  const XmlOwner<xercesc::DOMLSOutput> output(implementation->createLSOutput());
  auto target = std::make_unique<xercesc::MemBufFormatTarget>();
  WithoutIndentation filter;
  writer->setFilter(&filter);
  writer->setNewLine(u"\n");
  xercesc::DOMConfiguration* settings = writer->getDomConfig();
  if (settings->canSetParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true)) {
    settings->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  }
  output->setEncoding(xercesc::XMLUni::fgUTF8EncodingString);
  output->setByteStream(target.get());
  if (!writer->write(&node, output.get())) {
    throw std::runtime_error("The document cannot be written as XML");
  }
  return target;
}

// Serialises the documents in memory with Xerces-C++, removes stale temporary files, then replaces
// the files.

#include "files/SavedDocument.h"

#include <memory>
#include <stdexcept>
#include <string_view>

#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLChar.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "common/Log.h"
#include "files/Documents.h"
#include "files/PairedSave.h"

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

/// The serialised node, pretty-printed, in UTF-8; null when Xerces-C++ has no serialiser.
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

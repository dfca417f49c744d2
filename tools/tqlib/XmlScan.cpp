#include "XmlScan.h"

#include <cerrno>
#include <filesystem>
#include <memory>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>

#include "Errors.h"
#include "TargetFile.h"
#include "TqLibEmulator.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 30;  // would fill the memory
constexpr int kMostLevels = 100;
constexpr unsigned kMostElementNames = 1000;

// As strict as the library itself: nothing outside the file is read, and a file that declares
// entities, which could unfold to gigabytes, or has more levels or names than any catalogue, is
// refused.
class Parser : public xercesc::XercesDOMParser {
public:
  Parser() {
    setErrorHandler(&m_errors);
    setLoadExternalDTD(false);
    setDisableDefaultEntityResolution(true);
  }

  void startIntSubset() override {
    throw Failure("its document type declaration has an internal subset");
  }

  // Every start has its end, that of an element without content inside this call.
  void startElement(const xercesc::XMLElementDecl& element, const unsigned int uri,
                    const XMLCh* const prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, const XMLSize_t count,
                    const bool isEmpty, const bool isRoot) override {
    if (++m_levels > kMostLevels) throw Failure("its elements are nested too deep");
    if (element.getId() > kMostElementNames) throw Failure("it has too many names of elements");
    XercesDOMParser::startElement(element, uri, prefix, attributes, count, isEmpty, isRoot);
  }

  void endElement(const xercesc::XMLElementDecl& element, const unsigned int uri, const bool isRoot,
                  const XMLCh* const prefix) override {
    --m_levels;
    XercesDOMParser::endElement(element, uri, isRoot, prefix);
  }

private:
  int m_levels = 0;
  xercesc::HandlerBase m_errors;  // throws at the first fatal error
};

Failure unparsable(const std::string& path, const std::string& reason) {
  return Failure(path + " cannot be parsed: " + reason);
}

std::string placeOf(const xercesc::SAXParseException& problem) {
  return " (line " + std::to_string(problem.getLineNumber()) + ", column " +
         std::to_string(problem.getColumnNumber()) + ")";
}

std::unique_ptr<Parser> parse(const std::string& bytes, const std::string& path) {
  try {
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()),
                                            bytes.size(), path.c_str());
    auto parser = std::make_unique<Parser>();
    parser->parse(source);
    if (parser->getDocument() != nullptr && parser->getDocument()->getDocumentElement()) {
      return parser;
    }
  } catch (const xercesc::SAXParseException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()) + placeOf(problem));
  } catch (const xercesc::SAXException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()));
  } catch (const xercesc::XMLException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()));
  } catch (const xercesc::DOMException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()));
  } catch (const xercesc::OutOfMemoryException&) {
    throw unparsable(path, "out of memory");
  } catch (const Failure& problem) {
    throw unparsable(path, problem.what());
  }
  throw unparsable(path, "it has no root element");
}

}  // namespace

XmlRuntime::XmlRuntime() {
  xercesc::XMLPlatformUtils::Initialize();
}

XmlRuntime::~XmlRuntime() {
  xercesc::XMLPlatformUtils::Terminate();
}

std::string fileContent(const std::string& path) {
  std::error_code failure;
  const fs::file_status status = fs::status(path, failure);
  if (failure) throw systemFailure(path, failure.value());
  if (fs::is_directory(status)) throw systemFailure(path, EISDIR);
  if (!fs::is_regular_file(status)) throw Failure(path + ": not a regular file");
  const Descriptor file(openForReading(path));
  if (fs::file_size(path) > kLargestFile) throw systemFailure(path, EFBIG);
  std::string bytes(fs::file_size(path), '\0');
  bytes.resize(
      readBlock(file.get(), {reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()}));
  return bytes;
}

void withDocument(const std::string& bytes, const std::string& path,
                  const std::function<void(xercesc::DOMDocument&)>& work) {
  const XmlRuntime runtime;
  const std::unique_ptr<Parser> parser = parse(bytes, path);
  work(*parser->getDocument());
}

std::vector<xercesc::DOMElement*> elementsNamed(const xercesc::DOMDocument& document,
                                                const std::string& name) {
  const xercesc::DOMNodeList* found = document.getDocumentElement()->getElementsByTagName(
      std::u16string(name.begin(), name.end()).c_str());
  std::vector<xercesc::DOMElement*> elements;
  // To ask for the length would walk through the document, each time anew.
  while (xercesc::DOMNode* node = found->item(elements.size())) {
    elements.push_back(static_cast<xercesc::DOMElement*>(node));
  }
  return elements;
}

std::vector<std::string> attributeValues(const std::string& path, const std::string& element,
                                         const std::string& attribute) {
  const std::u16string name(attribute.begin(), attribute.end());
  std::vector<std::string> values;
  withDocument(fileContent(path), path, [&](const xercesc::DOMDocument& document) {
    for (const xercesc::DOMElement* found : elementsNamed(document, element)) {
      values.push_back(MyTranscode(found->getAttribute(name.c_str())));
    }
  });
  return values;
}

std::size_t countElements(const std::string& path, const std::string& element) {
  std::size_t count = 0;
  withDocument(fileContent(path), path, [&](const xercesc::DOMDocument& document) {
    count = elementsNamed(document, element).size();
  });
  return count;
}

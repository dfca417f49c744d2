#include "XmlScan.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>

#include "Errors.h"
#include "TqLibEmulator.h"

namespace {

class Runtime {
public:
  Runtime() { xercesc::XMLPlatformUtils::Initialize(); }
  ~Runtime() { xercesc::XMLPlatformUtils::Terminate(); }
  Runtime(const Runtime&) = delete;
  Runtime& operator=(const Runtime&) = delete;
};

// As strict as the library itself: nothing outside the file is read, and a file that declares
// entities, which could unfold to gigabytes, is refused.
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

private:
  xercesc::HandlerBase m_errors;  // throws at the first fatal error
};

std::string content(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw systemFailure(path, errno);
  try {
    return {std::istreambuf_iterator<char>(file), {}};
  } catch (const std::ios_base::failure&) {  // a folder opens, and fails to be read
    throw systemFailure(path, errno == 0 ? EIO : errno);
  }
}

using Visitor = std::function<void(const xercesc::DOMElement&)>;

void visit(const xercesc::DOMDocument* document, const std::string& element,
           const Visitor& visitor) {
  if (document == nullptr || document->getDocumentElement() == nullptr) return;
  const std::u16string name(element.begin(), element.end());
  const xercesc::DOMNodeList* found =
      document->getDocumentElement()->getElementsByTagName(name.c_str());
  for (XMLSize_t i = 0; i < found->getLength(); ++i) {
    visitor(*static_cast<const xercesc::DOMElement*>(found->item(i)));
  }
}

Failure unparsable(const std::string& path, const std::string& reason) {
  return Failure(path + " cannot be parsed: " + reason);
}

void scan(const std::string& path, const std::string& element, const Visitor& visitor) {
  const std::string bytes = content(path);
  const Runtime runtime;
  try {
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()),
                                            bytes.size(), path.c_str());
    Parser parser;
    parser.parse(source);
    visit(parser.getDocument(), element, visitor);
  } catch (const xercesc::SAXException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()));
  } catch (const xercesc::XMLException& problem) {
    throw unparsable(path, MyTranscode(problem.getMessage()));
  } catch (const xercesc::OutOfMemoryException&) {
    throw unparsable(path, "out of memory");
  } catch (const Failure& problem) {
    throw unparsable(path, problem.what());
  }
}

}  // namespace

std::vector<std::string> attributeValues(const std::string& path, const std::string& element,
                                         const std::string& attribute) {
  const std::u16string name(attribute.begin(), attribute.end());
  std::vector<std::string> values;
  scan(path, element, [&](const xercesc::DOMElement& found) {
    values.push_back(MyTranscode(found.getAttribute(name.c_str())));
  });
  return values;
}

std::size_t countElements(const std::string& path, const std::string& element) {
  std::size_t count = 0;
  scan(path, element, [&](const xercesc::DOMElement&) { ++count; });
  return count;
}

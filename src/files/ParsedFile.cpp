// Parses with Xerces-C++, but more strictly than it does by default.
//
// Without an error handler, Xerces-C++ returns a partial document for a damaged file, and saving it
// would lose the rest. The error handler here throws at the first fatal error, and the document is
// dropped.
//
// Catalogue files have no document type declaration. An internal subset could declare entities that
// expand to gigabytes or read other files, so it is refused before it is read. The number of levels
// is limited because Xerces-C++ recurses for each level, and a save indents each level.

#include "files/ParsedFile.h"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLChar.hpp>

#include "common/FileDescriptor.h"
#include "files/XmlText.h"

namespace {

constexpr std::size_t kMostLevels = 100;      // our files have 5
constexpr unsigned kMostElementNames = 1000;  // our files have about 40

struct ParseFailure {
  std::string reason;
};

/// A failed read(2).
struct ReadFailure {
  int code;  ///< errno value
};

class FileStream : public xercesc::BinInputStream {
public:
  explicit FileStream(int fd) : m_fd(fd) {}

  XMLFilePos curPos() const override { return m_position; }
  const XMLCh* getContentType() const override { return nullptr; }
  XMLSize_t readBytes(XMLByte* buffer, XMLSize_t size) override {
    ssize_t count = 0;
    do {
      count = ::read(m_fd, buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      throw ReadFailure{errno};
    }
    m_position += static_cast<XMLFilePos>(count);
    return static_cast<XMLSize_t>(count);
  }

private:
  int m_fd;  // borrowed
  XMLFilePos m_position = 0;
};

/// An open file as the parser's input. The parser's own file input treats a path as a URL first,
/// blocks on a pipe, and does not report errno.
class OpenedFile : public xercesc::InputSource {
public:
  explicit OpenedFile(int fd) : m_fd(fd) {}

  /// The caller owns the stream.
  xercesc::BinInputStream* makeStream() const override { return new FileStream(m_fd); }

private:
  int m_fd;  // borrowed
};

class FatalErrors : public xercesc::ErrorHandler {
public:
  void warning(const xercesc::SAXParseException& /*problem*/) override {}
  void error(const xercesc::SAXParseException& /*problem*/) override {}
  void fatalError(const xercesc::SAXParseException& problem) override {
    throw ParseFailure{toUtf8(problem.getMessage()) + " (line " +
                       std::to_string(problem.getLineNumber()) + ", column " +
                       std::to_string(problem.getColumnNumber()) + ")"};
  }
  void resetErrors() override {}
};

class CatalogueParser : public xercesc::XercesDOMParser {
public:
  CatalogueParser() {
    setErrorHandler(&m_errors);
    setLoadExternalDTD(false);
    setDisableDefaultEntityResolution(true);
  }

  void startIntSubset() override {
    throw ParseFailure{"The document type declaration has an internal subset"};
  }

  // Each start has an end; for an empty element, the base class calls endElement() itself. Element
  // names are limited because Xerces-C++ searches them in lists, which get slower with each name.
  void startElement(const xercesc::XMLElementDecl& element, const unsigned int uri,
                    const XMLCh* const prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, const XMLSize_t count,
                    const bool isEmpty, const bool isRoot) override {
    if (++m_levels > kMostLevels) {
      throw ParseFailure{"Elements are nested deeper than " + std::to_string(kMostLevels) +
                         " levels"};
    }
    if (element.getId() > kMostElementNames) {
      throw ParseFailure{"There are more than " + std::to_string(kMostElementNames) +
                         " names of elements"};
    }
    XercesDOMParser::startElement(element, uri, prefix, attributes, count, isEmpty, isRoot);
  }

  void endElement(const xercesc::XMLElementDecl& element, const unsigned int uri, const bool isRoot,
                  const XMLCh* const prefix) override {
    --m_levels;
    XercesDOMParser::endElement(element, uri, isRoot, prefix);
  }

  // White space directly behind an element is dropped: nothing reads it, a save writes its own
  // indentation, and a node for it costs as much as a node for a value.
  void docCharacters(const XMLCh* const text, const XMLSize_t length, const bool isCData) override {
    const bool isBehindElement = fCurrentNode != fCurrentParent &&
                                 fCurrentNode->getNodeType() == xercesc::DOMNode::ELEMENT_NODE;
    if (isCData || !isBehindElement || !xercesc::XMLChar1_0::isAllSpaces(text, length)) {
      XercesDOMParser::docCharacters(text, length, isCData);
    }
  }

private:
  std::size_t m_levels = 0;
  FatalErrors m_errors;
};

std::unique_ptr<xercesc::XercesDOMParser> newParser() {
  try {
    return std::make_unique<CatalogueParser>();
  } catch (const xercesc::OutOfMemoryException&) {
    return nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

xercesc::DOMDocument* ParsedFile::document() const {
  return parser == nullptr ? nullptr : parser->getDocument();
}

namespace {

constexpr int kAttempts = 5;

/// The result for a file that could not be opened or read. A missing file is no error.
ParsedFile failed(int code) {
  const bool isAbsent = code == ENOENT || code == ENOTDIR;
  return {nullptr, isAbsent ? "" : std::strerror(code), false};
}

ParsedFile parseOpened(int fd) {
  std::unique_ptr<xercesc::XercesDOMParser> parser = newParser();
  if (parser == nullptr) {
    return {nullptr, "Out of memory", true};
  }
  try {
    parser->parse(OpenedFile(fd));
    return {std::move(parser), "", false};
  } catch (const ParseFailure& failure) {
    return {nullptr, failure.reason, false};
  } catch (const xercesc::XMLException& problem) {
    return {nullptr, toUtf8(problem.getMessage()), false};
  } catch (const xercesc::DOMException& problem) {
    return {nullptr, toUtf8(problem.getMessage()), false};
  } catch (const xercesc::OutOfMemoryException&) {
    return {nullptr, "Out of memory", false};
  } catch (const std::bad_alloc&) {
    return {nullptr, "Out of memory", false};
  }
}

}  // namespace

ParsedFile parseFile(const std::string& path) {
  for (int attempt = 1;; ++attempt) {
    int code = 0;
    try {
      const FileDescriptor file(openRegularFile(path.c_str(), O_RDONLY));
      if (file) {
        return parseOpened(file.get());
      }
      code = errno;
    } catch (const ReadFailure& failure) {
      code = failure.code;
    }
    // On a network file system, ESTALE means that another machine has replaced the file.
    if (code != ESTALE || attempt == kAttempts) {
      return failed(code);
    }
  }
}

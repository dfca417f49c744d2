// The bare work, without the checks and error handling of the calls.

#include "BareWork.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "Comparison.h"
#include "files/Documents.h"

namespace bench {
namespace {

void serialise(const xercesc::DOMDocument& document, xercesc::XMLFormatTarget& target) {
  auto* const core = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  const XmlOwner<xercesc::DOMLSSerializer> writer(core->createLSSerializer());
  const XmlOwner<xercesc::DOMLSOutput> output(core->createLSOutput());
  writer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  output->setEncoding(xercesc::XMLUni::fgUTF8EncodingString);
  output->setByteStream(&target);
  require(writer->write(&document, output.get()), "serialising");
}

void forceToDisk(int fd) {
  require(fsync(fd) == 0, "fsync");
  close(fd);
}

void forceFolderToDisk(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/'));
  forceToDisk(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::string temporary(const std::string& path) {
  return path + ".new";
}

void prepare(const Replacement& file) {
  const int fd = open(temporary(file.path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  require(fd >= 0, "open");
  require(write(fd, file.bytes, file.length) == static_cast<ssize_t>(file.length), "write");
  forceToDisk(fd);
}

void place(const Replacement& file) {
  require(rename(temporary(file.path).c_str(), file.path.c_str()) == 0, "rename");
}

}  // namespace

std::unique_ptr<xercesc::XercesDOMParser> parse(const std::string& path) {
  auto parser = std::make_unique<xercesc::XercesDOMParser>();
  parser->parse(path.c_str());
  require(parser->getErrorCount() == 0 && parser->getDocument() != nullptr, "parsing " + path);
  return parser;
}

Content parseAndSerialise(const std::string& path, const Edit& edit) {
  const auto parser = parse(path);
  if (edit) {
    edit(*parser->getDocument());
  }
  auto content = std::make_unique<xercesc::MemBufFormatTarget>();
  serialise(*parser->getDocument(), *content);
  return content;
}

Replacement replacement(const std::string& path, const Content& content) {
  return {path, content->getRawBuffer(), content->getLen()};
}

void replace(const Replacement& file) {
  prepare(file);
  place(file);
  forceFolderToDisk(file.path);
}

void replaceTogether(const Replacement& first, const Replacement& second) {
  prepare(first);
  prepare(second);
  forceFolderToDisk(first.path);
  const std::string names = first.path + second.path;
  const Replacement journal{first.path + ".journal", names.data(), names.size()};
  replace(journal);
  place(first);
  place(second);
  forceFolderToDisk(first.path);
  require(unlink(journal.path.c_str()) == 0, "unlink");
}

void parseAndReplace(const std::string& path, const Edit& edit) {
  replace(replacement(path, parseAndSerialise(path, edit)));
}

void setSlots(xercesc::DOMDocument& document, const XMLCh* barCode) {
  for (xercesc::DOMElement* slot : Descendants(rootOf(&document), names::slots)) {
    slot->setAttribute(names::isOccupied, u"true");
    slot->getLastElementChild()->setTextContent(barCode);
  }
}

void readBlock(const std::string& path, off_t offset, unsigned char* buffer, std::size_t length) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  require(fd >= 0 && lseek(fd, offset, SEEK_SET) == offset, "open");
  require(read(fd, buffer, length) == static_cast<ssize_t>(length), "read");
  close(fd);
}

void writeBlock(const std::string& folder, const std::string& path, off_t offset,
                const unsigned char* buffer, std::size_t length) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  require(fd >= 0 && lseek(fd, offset, SEEK_SET) == offset, "open");
  require(write(fd, buffer, length) == static_cast<ssize_t>(length), "write");
  close(fd);
  DIR* const listing = opendir(folder.c_str());
  require(listing != nullptr, "opendir");
  std::string entryPath = folder + '/';
  const std::size_t folderLength = entryPath.size();
  while (const dirent* const entry = readdir(listing)) {
    if (entry->d_name[0] == '.') {
      continue;  // "." and "..": no file of a volume begins with a dot
    }
    struct stat record;
    entryPath.replace(folderLength, std::string::npos, entry->d_name);
    require(stat(entryPath.c_str(), &record) == 0, "stat");
  }
  closedir(listing);
}

void lookAtConfiguration() {
  struct stat record;
  require(stat(getenv("TQ_PLATFORM_CONFIG"), &record) == 0, "stat");
}

}  // namespace bench

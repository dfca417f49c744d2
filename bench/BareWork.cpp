#include "BareWork.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "Comparison.h"

namespace bench {
namespace {

struct Release {
  template <class T>
  void operator()(T* object) const {
    object->release();
  }
};

void serialise(const xercesc::DOMDocument& document, xercesc::XMLFormatTarget& target) {
  auto* const core = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  const std::unique_ptr<xercesc::DOMLSSerializer, Release> writer(core->createLSSerializer());
  const std::unique_ptr<xercesc::DOMLSOutput, Release> output(core->createLSOutput());
  writer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
  output->setEncoding(xercesc::XMLUni::fgUTF8EncodingString);
  output->setByteStream(&target);
  require(writer->write(&document, output.get()), "serialising");
}

void forceToDisk(int fd) {
  require(fsync(fd) == 0, "fsync");
  close(fd);
}

}  // namespace

std::unique_ptr<xercesc::XercesDOMParser> parse(const std::string& path) {
  auto parser = std::make_unique<xercesc::XercesDOMParser>();
  parser->parse(path.c_str());
  require(parser->getErrorCount() == 0 && parser->getDocument() != nullptr, "parsing " + path);
  return parser;
}

void replace(const std::string& path, const void* bytes, std::size_t length) {
  const std::string aside = path + ".aside";
  const int fd = open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  require(fd >= 0, "open");
  require(write(fd, bytes, length) == static_cast<ssize_t>(length), "write");
  forceToDisk(fd);
  require(rename(aside.c_str(), path.c_str()) == 0, "rename");
  const std::string folder = path.substr(0, path.rfind('/'));
  forceToDisk(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

void parseAndReplace(const std::string& path) {
  const auto parser = parse(path);
  xercesc::MemBufFormatTarget target;
  serialise(*parser->getDocument(), target);
  replace(path, target.getRawBuffer(), target.getLen());
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
  while (const dirent* const entry = readdir(listing)) {
    struct stat record {};
    require(stat((folder + "/" + entry->d_name).c_str(), &record) == 0, "stat");
  }
  closedir(listing);
}

}  // namespace bench

// What a call cannot do without: the parser library on the same file, the system on the same bytes.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

namespace bench {

/// Parses a file with a parser as it comes. The parser owns the document.
std::unique_ptr<xercesc::XercesDOMParser> parse(const std::string& path);

using Content = std::unique_ptr<xercesc::MemBufFormatTarget>;

/// Parses a file and serialises the document.
Content parseAndSerialise(const std::string& path);

/// What is to take a file's place; the bytes are borrowed.
struct Replacement {
  std::string path;
  const void* bytes;
  std::size_t length;
};

Replacement replacement(const std::string& path, const Content& content);

/// Puts bytes in the place of a file as it takes to have them there whole, and on the disk,
/// whatever happens: written aside and forced to the disk, renamed, and the folder forced to the
/// disk.
void replace(const Replacement& file);

/// Replaces two files of a folder so that, whatever happens, both can be brought to be there: when
/// both are prepared, a note of it is put on the disk as above, and goes when both are renamed.
void replaceTogether(const Replacement& first, const Replacement& second);

/// Parses a file, serialises the document and replaces the file with it.
void parseAndReplace(const std::string& path);

/// Reads a block as a volume does: open, seek, read, close.
void readBlock(const std::string& path, off_t offset, unsigned char* buffer, std::size_t length);

/// Writes a block as a volume does: open, seek, write, close, then list and stat the folder.
void writeBlock(const std::string& folder, const std::string& path, off_t offset,
                const unsigned char* buffer, std::size_t length);

/// What it takes to see whether the configuration has changed.
void lookAtConfiguration();

}  // namespace bench

// What a call cannot do without: the parser library on the same file, the system on the same bytes.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include <xercesc/parsers/XercesDOMParser.hpp>

namespace bench {

/// Parses a file with a parser as it comes. The parser owns the document.
std::unique_ptr<xercesc::XercesDOMParser> parse(const std::string& path);

/// Puts bytes in the place of a file as it takes to have them there whole, and on the disk,
/// whatever happens: written aside and forced to the disk, renamed, and the folder forced to the
/// disk.
void replace(const std::string& path, const void* bytes, std::size_t length);

/// Parses a file, serialises the document and replaces the file with it.
void parseAndReplace(const std::string& path);

/// Reads a block as a volume does: open, seek, read, close.
void readBlock(const std::string& path, off_t offset, unsigned char* buffer, std::size_t length);

/// Writes a block as a volume does: open, seek, write, close, then list and stat the folder.
void writeBlock(const std::string& folder, const std::string& path, off_t offset,
                const unsigned char* buffer, std::size_t length);

}  // namespace bench

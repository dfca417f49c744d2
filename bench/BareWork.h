// What a call cannot do without: the parser library on the same file, the system on the same bytes.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace bench {

/// Parses a file into a document and lets go of it.
void parse(const std::string& path);

/// Parses a file, serialises the document and puts the bytes, forced to the disk, in its place.
void parseAndReplace(const std::string& path);

/// Reads a block as a volume does: open, seek, read, close.
void readBlock(const std::string& path, off_t offset, unsigned char* buffer, std::size_t length);

/// Writes a block as a volume does: open, seek, write, close, then list and stat the folder.
void writeBlock(const std::string& folder, const std::string& path, off_t offset,
                const unsigned char* buffer, std::size_t length);

}  // namespace bench

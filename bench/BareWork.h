// The bare work: the minimum that a call needs, done with Xerces-C++ and system calls only.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

namespace bench {

/// Parses a file with a parser in its default configuration. The parser owns the document.
std::unique_ptr<xercesc::XercesDOMParser> parse(const std::string& path);

using Content = std::unique_ptr<xercesc::MemBufFormatTarget>;

/// What the bare work changes in the document between parsing and serialising.
using Edit = std::function<void(xercesc::DOMDocument&)>;

/// Parses a file and serialises the document.
Content parseAndSerialise(const std::string& path, const Edit& edit = {});

/// A file and its new content; the bytes are borrowed.
struct Replacement {
  std::string path;
  const void* bytes;
  std::size_t length;
};

Replacement replacement(const std::string& path, const Content& content);

/// Replaces a file durably and as a whole: writes and syncs a temporary file, renames it, and syncs
/// the folder.
void replace(const Replacement& file);

/// Replaces two files of a folder as one step: writes both temporary files and a journal durably,
/// renames both files, and removes the journal.
void replaceTogether(const Replacement& first, const Replacement& second);

/// Parses a file, serialises the document and replaces the file with it.
void parseAndReplace(const std::string& path, const Edit& edit = {});

/// Gives every slot the barcode and marks it occupied: an Edit for calls that set all slots. The
/// barcode must be the last child of a slot.
void setSlots(xercesc::DOMDocument& document, const XMLCh* barCode);

/// Reads a block as a volume does: open, seek, read, close.
void readBlock(const std::string& path, off_t offset, unsigned char* buffer, std::size_t length);

/// Writes a block as a volume does: open, seek, write, close, then list and stat the folder.
void writeBlock(const std::string& folder, const std::string& path, off_t offset,
                const unsigned char* buffer, std::size_t length);

/// Checks whether the configuration has changed: one stat(2).
void lookAtConfiguration();

}  // namespace bench

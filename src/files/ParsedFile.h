// Reading a catalogue file into a document.
#pragma once

#include <memory>
#include <string>

#include <xercesc/parsers/XercesDOMParser.hpp>

/// The result of parsing a file.
struct ParsedFile {
  /// Owns the document; null unless the whole file was read and well-formed.
  std::unique_ptr<xercesc::XercesDOMParser> parser;
  /// Why the file could not be parsed; empty on success and for a file that does not exist.
  std::string error;
  /// Whether there was no memory for a parser.
  bool lacksParser = false;

  /// The document, or null.
  xercesc::DOMDocument* document() const;
};

/// Parses the file at `path`. No other file is read. A file is refused if its document type
/// declaration has an internal subset, if it is nested deeper than 100 levels, or if it has more
/// than 1,000 element names. Throws only exceptions that mean a lack of memory.
ParsedFile parseFile(const std::string& path);

// Reading a catalogue file into a document.
#pragma once

#include <memory>
#include <string>

#include <xercesc/parsers/XercesDOMParser.hpp>

/// The result of parsing a file.
struct ParsedFile {
  /// Owns the document; null unless the whole file was read and well-formed.
  std::unique_ptr<xercesc::XercesDOMParser> parser;
  /// Why it could not be parsed; empty on success and for a file that does not exist.
  std::string error;
  /// There was no memory for a parser.
  bool lacksParser = false;

  /// The document, or null.
  xercesc::DOMDocument* document() const;
};

/// Parses the file at `path`. Nothing but this file is read while it is parsed, and a file whose
/// document type declaration has an internal subset, that is nested deeper than 100 levels or has
/// more than 1,000 names of elements is refused. Throws only std::bad_alloc and its like.
ParsedFile parseFile(const std::string& path);

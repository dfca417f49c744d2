// Saving documents of the catalogue.
#pragma once

#include <string>

#include <xercesc/dom/DOM.hpp>

#include "files/ReplacedFile.h"

/// A document and the file to save it in.
struct SavedDocument {
  const xercesc::DOMNode* node;
  std::string path;
  Existing existing = Existing::Replaced;

  /// Writes the document. True also when the file could not be written, which is logged. False,
  /// with nothing written, when there is no node or no serialiser. `error` says in both cases why
  /// the document was not saved; it is unchanged on success. Throws xercesc::DOMException or
  /// std::runtime_error when the node cannot be written as XML.
  bool save(std::string& error) const;

  /// Writes two documents as one step, `first` first; see PairedSave. Results are those of save().
  static bool savePair(const SavedDocument& first, const SavedDocument& second, std::string& error);
};

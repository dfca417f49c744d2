// Saving documents of the catalogue.
#pragma once

#include <string>

#include <xercesc/dom/DOM.hpp>

#include "files/ReplacedFile.h"

/// A document and the file that it is to be saved in.
struct SavedDocument {
  const xercesc::DOMNode* node;
  std::string path;
  Existing existing = Existing::Replaced;

  /// Writes the document. False, with nothing written, when there is no node or no serialiser. True
  /// also when the file could not be written: that is logged. `error` says why nothing was written,
  /// and is unchanged on success. Throws as serialise() does.
  bool save(std::string& error) const;

  /// Writes two documents so that both files are new or none, `first` first. Fails as save() does.
  static bool savePair(const SavedDocument& first, const SavedDocument& second, std::string& error);
};

// Saving a document of the catalogue.
#pragma once

#include <string>

#include <xercesc/dom/DOM.hpp>

#include "catalogue/ReplacedFile.h"

/// Writes `node` to the file at `path`. False, with nothing written, when there is no node or no
/// serialiser. True also when the file could not be written: that is logged, and `error` says why.
bool saveFile(const xercesc::DOMNode* node, const std::string& path, Existing existing,
              std::string& error);

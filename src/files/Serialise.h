// From a document to the bytes of its file.
#pragma once

#include <memory>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>

/// The serialised node, pretty-printed in UTF-8; null when the parser library has no serialiser.
/// Throws xercesc::DOMException when the node holds what XML cannot carry.
std::unique_ptr<xercesc::MemBufFormatTarget> serialise(const xercesc::DOMNode& node);

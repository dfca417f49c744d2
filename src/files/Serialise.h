// Serialising a document to the bytes of its file.
#pragma once

#include <memory>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>

/// The serialised node, pretty-printed, in UTF-8; null when Xerces-C++ has no serialiser. Throws
/// xercesc::DOMException or std::runtime_error when the node cannot be written as XML.
std::unique_ptr<xercesc::MemBufFormatTarget> serialise(const xercesc::DOMNode& node);

// Creating documents of the catalogue.
#pragma once

#include <xercesc/dom/DOM.hpp>
#include <xercesc/validators/schema/SchemaSymbols.hpp>

#include "files/XmlMemory.h"

/// A document with an empty root of this name, in the namespace of all catalogue files; null when
/// Xerces-C++ has no DOM implementation.
inline XmlOwner<xercesc::DOMDocument> newDocument(const XMLCh* root) {
  xercesc::DOMImplementation* implementation =
      xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
  return XmlOwner<xercesc::DOMDocument>(
      implementation == nullptr
          ? nullptr
          : implementation->createDocument(xercesc::SchemaSymbols::fgURI_XSI, root, nullptr));
}

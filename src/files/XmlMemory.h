// Owning objects of Xerces-C++ that must be released.
#pragma once

#include <memory>

/// The deleter of XmlOwner.
struct XmlRelease {
  template <class T>
  void operator()(T* object) const {
    object->release();
  }
};

/// Owns a document, serialiser or output.
template <class T>
using XmlOwner = std::unique_ptr<T, XmlRelease>;

// Owners of what Xerces-C++ hands out to be released.
#pragma once

#include <memory>

struct XmlRelease {
  template <class T>
  void operator()(T* object) const {
    object->release();
  }
};

/// A document, serialiser or output that is released at the end of its life.
template <class T>
using XmlOwner = std::unique_ptr<T, XmlRelease>;

// The element query: returns all elements of one library.

#include <iterator>

#include "TqLibEmulator.h"
#include "catalogue/Elements.h"
#include "catalogue/OperationCycle.h"
#include "files/Documents.h"

namespace {

using xercesc::DOMElement;

constexpr CycleTerms kTerms{"TqLibEmulator::GetVirtualLibraryElements", Access::Reads,
                            Exceptions::Reported, MissingFile::IsReported};

/// The library of that name. Null, with text, when the file does not hold exactly this one library.
const DOMElement* findQueriedLibrary(OperationCycle& cycle, const std::string& libraryName) {
  const DOMElement* library =
      cycle.rootOrReport(libraryName) == nullptr ? nullptr : cycle.singleLibraryOrReport();
  if (library == nullptr || isNamedLibrary(*library, libraryName)) {
    return library;
  }
  cycle.errors().report(kTerms.origin, "Library Node not found in XML File %s for Library %s",
                        cycle.path().c_str(), names::fileOf(libraryName).c_str());
  cycle.errors().setCode(codes::libraryNode);
  return nullptr;
}

// One pass finds all kinds of elements: a large library does not fit into the processor's caches,
// so each pass would read it from memory again.
void appendElements(const DOMElement* root, const DOMElement* library,
                    std::vector<LibElement>& elements) {
  struct Kind {
    const XMLCh* name;
    int type;
    bool isInLibrary;
    std::vector<LibElement> found;
  };
  Kind kinds[] = {{names::drive, LIB_ELEM_DRIVE, true, {}},
                  {names::slots, LIB_ELEM_SLOT, true, {}},
                  {names::shelf, LIB_ELEM_SHELF, false, {}}};
  const auto append = [&] {
    for (Kind& kind : kinds) {
      elements.insert(elements.end(), std::make_move_iterator(kind.found.begin()),
                      std::make_move_iterator(kind.found.end()));
    }
  };
  try {
    const Descendants all(root);
    for (auto node = all.begin(); node != all.end(); ++node) {
      for (Kind& kind : kinds) {
        if (!xercesc::XMLString::equals((*node)->getNodeName(), kind.name) ||
            (kind.isInLibrary && !node.isBelow(library))) {
          continue;
        }
        LibElement element;
        readElement(**node, kind.type, element);
        kind.found.push_back(std::move(element));
      }
    }
  } catch (...) {
    append();  // callers receive what was read so far
    throw;
  }
  append();
}

}  // namespace

bool TqLibEmulator::GetVirtualLibraryElements(const std::string& libraryName,
                                              std::vector<LibElement>& elements) {
  OperationCycle cycle(*this, kTerms);
  const auto query = [&] {
    const DOMElement* library = findQueriedLibrary(cycle, libraryName);
    if (library == nullptr) {
      return false;
    }
    appendElements(rootOf(m_pLibDoc), library, elements);
    return true;
  };
  return cycle.inFrame([&] { return cycle.withLibrary(libraryName, query); });
}

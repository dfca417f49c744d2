// The element query: the whole inventory of one library.

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/OperationCycle.h"

namespace {
constexpr char kOrigin[] = "TqLibEmulator::GetVirtualLibraryElements";
}  // namespace

bool TqLibEmulator::GetVirtualLibraryElements(const std::string& libraryName,
                                              std::vector<LibElement>& elements) {
  OperationCycle cycle(*this,
                       {kOrigin, Access::Reads, Exceptions::Reported, MissingFile::IsReported});
  const auto query = [&] {
    xercesc::DOMElement* library = findQueriedLibrary(libraryName);
    if (library == nullptr) {
      return false;
    }
    appendElements(*library, elements);
    return true;
  };
  return cycle.inFrame([&] { return cycle.withLibrary(libraryName, query); });
}

xercesc::DOMElement* TqLibEmulator::findQueriedLibrary(const std::string& libraryName) {
  xercesc::DOMElement* library =
      rootOrReport(kOrigin, libraryName) == nullptr ? nullptr : singleLibraryOrReport(kOrigin);
  if (library == nullptr || isLibraryPresent(library, libraryName)) {
    return library;
  }
  report(kOrigin, "Library Node not found in XML File %s for Library %s", m_sLibFile.c_str(),
         getLibXMLFile(libraryName).c_str());
  m_nErrorCode = codes::libraryNode;
  return nullptr;
}

// In one walk for all kinds: a large library does not fit into the processor's caches, and each
// walk would fetch it from memory again.
void TqLibEmulator::appendElements(const xercesc::DOMElement& library,
                                   std::vector<LibElement>& elements) {
  struct Kind {
    const XMLCh* name;
    bool (TqLibEmulator::*fill)(xercesc::DOMNode*, LibElement&);
    bool isInLibrary;
    std::vector<LibElement> found;
  };
  Kind kinds[] = {{names::drive, &TqLibEmulator::fillLibElementForDrive, true, {}},
                  {names::slots, &TqLibEmulator::fillLibElementForSlot, true, {}},
                  {names::shelf, &TqLibEmulator::fillLibElementForShelf, false, {}}};
  const auto append = [&] {
    for (Kind& kind : kinds) {
      elements.insert(elements.end(), std::make_move_iterator(kind.found.begin()),
                      std::make_move_iterator(kind.found.end()));
    }
  };
  try {
    const Descendants all(rootOf(m_pLibDoc));
    for (auto node = all.begin(); node != all.end(); ++node) {
      for (Kind& kind : kinds) {
        if (!xercesc::XMLString::equals((*node)->getNodeName(), kind.name) ||
            (kind.isInLibrary && !node.isBelow(&library))) {
          continue;
        }
        LibElement element;
        if ((this->*kind.fill)(*node, element)) {
          kind.found.push_back(std::move(element));
        }
      }
    }
  } catch (...) {
    append();  // callers get what was read
    throw;
  }
  append();
}

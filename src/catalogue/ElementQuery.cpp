// The element query: the whole inventory of one library.

#include "TqLibEmulator.h"
#include "catalogue/Documents.h"
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
    appendElements(library, names::drive, &TqLibEmulator::fillLibElementForDrive, elements);
    appendElements(library, names::slots, &TqLibEmulator::fillLibElementForSlot, elements);
    appendElements(rootOf(m_pLibDoc), names::shelf, &TqLibEmulator::fillLibElementForShelf,
                   elements);
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

void TqLibEmulator::appendElements(xercesc::DOMElement* parent, const XMLCh* name,
                                   bool (TqLibEmulator::*fill)(xercesc::DOMNode*, LibElement&),
                                   std::vector<LibElement>& elements) {
  LibElement element;
  for (xercesc::DOMElement* node : Descendants(parent, name)) {
    clearLibElement(element);
    if ((this->*fill)(node, element)) {
      elements.push_back(element);
    }
  }
}

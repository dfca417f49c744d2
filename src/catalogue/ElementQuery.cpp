// The element query: the whole inventory of one library.

#include "TqLibEmulator.h"
#include "catalogue/Descendants.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/Names.h"
#include "catalogue/OperationCycle.h"

namespace {
constexpr char kOrigin[] = "TqLibEmulator::GetVirtualLibraryElements";
}  // namespace

bool TqLibEmulator::GetVirtualLibraryElements(const std::string& libraryName,
                                              std::vector<LibElement>& elements) {
  OperationCycle cycle(*this, {kOrigin, Exceptions::Reported, MissingFile::IsReported});
  const auto query = [&] {
    xercesc::DOMElement* root = rootOrReport(kOrigin, libraryName);
    xercesc::DOMElement* library =
        root == nullptr ? nullptr : findQueriedLibrary(root, libraryName);
    if (library == nullptr) {
      return false;
    }
    appendElements(library, names::drive, &TqLibEmulator::fillLibElementForDrive, elements);
    appendElements(library, names::slots, &TqLibEmulator::fillLibElementForSlot, elements);
    appendElements(root, names::shelf, &TqLibEmulator::fillLibElementForShelf, elements);
    return true;
  };
  return cycle.inFrame([&] { return cycle.withLibrary(libraryName, query); });
}

// A file without any library is told as holding more than one: operators know the message.
xercesc::DOMElement* TqLibEmulator::findQueriedLibrary(xercesc::DOMElement* root,
                                                       const std::string& libraryName) {
  xercesc::DOMElement* library = Descendants(root, names::library).single();
  if (library == nullptr) {
    report(kOrigin, "More than one library node in XML Files %s", m_sLibFile.c_str());
    return nullptr;
  }
  if (!isLibraryPresent(library, libraryName)) {
    report(kOrigin, "Library Node not found in XML File %s for Library %s", m_sLibFile.c_str(),
           getLibXMLFile(libraryName).c_str());
    m_nErrorCode = codes::libraryNode;
    return nullptr;
  }
  return library;
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

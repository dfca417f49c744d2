// The medium move. A medium is nothing but a barcode in an element and the element's occupancy, so
// a move takes the barcode from the one to the other and flips both occupancies.

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/OperationCycle.h"
#include "files/XmlText.h"

/// The source or the destination of a move.
struct MoveEnd {
  const char* role;
  int type;
  int address;
};

namespace {

constexpr char kOrigin[] = "TqLibEmulator::MoveVirtualLibraryElement";

}  // namespace

bool TqLibEmulator::MoveVirtualLibraryElement(const std::string& libraryName, int sourceType,
                                              int sourceAddress, int destinationType,
                                              int destinationAddress) {
  const MoveEnd source{"Source", sourceType, sourceAddress};
  const MoveEnd destination{"Destination", destinationType, destinationAddress};
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Reported});
  return cycle.onLibrary(libraryName, [&] { return moveMedium(libraryName, source, destination); });
}

bool TqLibEmulator::moveMedium(const std::string& libraryName, const MoveEnd& source,
                               const MoveEnd& destination) {
  if (!hasDocument(kOrigin, libraryName) || m_pLibDoc->getDocumentElement() == nullptr) {
    return false;
  }
  const bool staysOnShelves = source.type == LIB_ELEM_SHELF && destination.type == LIB_ELEM_SHELF;
  if (!staysOnShelves && !checkLibraryForMove(libraryName)) {
    m_nErrorCode = codes::libraryNode;
    return false;
  }
  xercesc::DOMNode* from = nullptr;
  xercesc::DOMNode* to = nullptr;
  if (!findForMove(source, libraryName, from) || !findForMove(destination, libraryName, to)) {
    return false;
  }
  if (moveElemContents(from, to)) {
    return true;
  }
  const std::string reason = m_szErrorText;  // the text below takes its place
  setErrorText(
      "Failed to move element from Source Element of Type %d, Address %d to Destination LibElement "
      "of Type %d, Address %d in XML File %s for Library %s due to error %s",
      source.type, source.address, destination.type, destination.address, m_sLibFile.c_str(),
      getLibXMLFile(libraryName).c_str(), reason.c_str());
  return false;
}

// These three go to the log only.
bool TqLibEmulator::checkLibraryForMove(const std::string& libraryName) {
  xercesc::DOMElement* library = singleLibrary(m_pLibDoc);
  if (library == nullptr) {
    EvDebug::Error(debugHandler, kOrigin, "More than one Library node found in the XML Document");
    return false;
  }
  if (!isLibraryPresent(library, libraryName)) {
    EvDebug::Error(debugHandler, kOrigin, "Library %s not found in the XML Doc",
                   libraryName.c_str());
    return false;
  }
  return true;
}

bool TqLibEmulator::findForMove(const MoveEnd& end, const std::string& libraryName,
                                xercesc::DOMNode*& found) {
  xercesc::DOMElement* root = m_pLibDoc->getDocumentElement();
  xercesc::DOMElement* parent =
      end.type == LIB_ELEM_SHELF ? root : Descendants(root, names::library).first();
  if (findLibElemNode(parent, end.type, end.address, found) && found != nullptr) {
    return true;
  }
  report(kOrigin, "Cannot Find %s LibElement of Type %d, Address %d in XML File %s for Library %s",
         end.role, end.type, end.address, m_sLibFile.c_str(), getLibXMLFile(libraryName).c_str());
  m_nErrorCode = codes::elementNotFound;
  return false;
}

// Occupancy and barcode must agree on both sides: an element marked empty that still holds a
// barcode cannot receive a medium.
bool TqLibEmulator::moveElemContents(xercesc::DOMNode* source, xercesc::DOMNode* destination) {
  if (!ConvertTobool(asElement(source)->getAttribute(names::isOccupied))) {
    m_nErrorCode = codes::sourceEmpty;
    return false;
  }
  if (ConvertTobool(asElement(destination)->getAttribute(names::isOccupied))) {
    m_nErrorCode = codes::destinationOccupied;
    return false;
  }
  std::string barCode;
  if (!readBarCode(source, "Source", barCode) || barCode.empty()) {
    return false;
  }
  std::string itsBarCode;
  if (!readBarCode(destination, "Destination", itsBarCode) || !itsBarCode.empty()) {
    return false;
  }
  return putMedium(asElement(source), asElement(destination), barCode);
}

bool TqLibEmulator::readBarCode(xercesc::DOMNode* node, const char* role, std::string& barCode) {
  if (extractValuesFromChildNode(node, names::barCode, barCode)) {
    return true;
  }
  setErrorText("Failed to read value for %s Element %s", role, MyTranscode(names::barCode).c_str());
  return false;
}

// When the second half fails the source is already empty in the document; the caller drops the
// document unsaved then.
bool TqLibEmulator::putMedium(xercesc::DOMElement* from, xercesc::DOMElement* to,
                              const std::string& barCode) {
  xercesc::DOMElement* oldPlace = Descendants(from, names::barCode).first();
  if (oldPlace == nullptr || !removeTextNode(oldPlace, barCode)) {
    return false;
  }
  setOccupied(*from, false);
  xercesc::DOMElement* newPlace = Descendants(to, names::barCode).first();
  if (newPlace == nullptr || !addTextNode(m_pLibDoc, newPlace, barCode)) {
    return false;
  }
  setOccupied(*to, true);
  m_bLibModified = true;
  return true;
}

// Kept from the first version; does nothing, and nothing calls it.
bool TqLibEmulator::setElemText(xercesc::DOMNode* /*node*/, std::string& /*text*/) {
  return false;
}

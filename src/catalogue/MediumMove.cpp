// The medium move. The catalogue stores a medium as the barcode and the occupancy of an element. A
// move transfers the barcode and changes both occupancies.

#include "TqLibEmulator.h"
#include "catalogue/Elements.h"
#include "catalogue/OperationCycle.h"
#include "common/Log.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr char kOrigin[] = "TqLibEmulator::MoveVirtualLibraryElement";

/// The source or the destination of a move.
struct MoveEnd {
  const char* role;
  int type;
  int address;
};

/// Whether the document holds exactly this library. A failure is only logged, without text.
bool checkLibrary(const xercesc::DOMDocument* doc, const std::string& libraryName) {
  const DOMElement* library = singleLibrary(doc);
  if (library == nullptr) {
    logError(kOrigin, "More than one Library node found in the XML Document");
    return false;
  }
  if (!isNamedLibrary(*library, libraryName)) {
    logError(kOrigin, "Library " + libraryName + " not found in the XML Doc");
    return false;
  }
  return true;
}

/// Finds the source or destination element. Null, with code and text, when it does not exist.
DOMNode* findEnd(OperationCycle& cycle, const MoveEnd& end, const std::string& libraryName) {
  const DOMElement* root = rootOf(cycle.document());
  const DOMElement* parent =
      end.type == LIB_ELEM_SHELF ? root : Descendants(root, names::library).first();
  DOMNode* found = nullptr;
  if (findElement(parent, end.type, end.address, found, cycle.errors()) && found != nullptr) {
    return found;
  }
  cycle.errors().report(
      kOrigin, "Cannot Find %s LibElement of Type %d, Address %d in XML File %s for Library %s",
      end.role, end.type, end.address, cycle.path().c_str(), names::fileOf(libraryName).c_str());
  cycle.errors().setCode(codes::elementNotFound);
  return nullptr;
}

bool readBarCode(const DOMNode* node, const char* role, std::string& barCode, ErrorRecord errors) {
  if (readValue(node, names::barCode, barCode)) {
    return true;
  }
  errors.setText("Failed to read value for %s Element %s", role, toUtf8(names::barCode).c_str());
  return false;
}

/// Moves the barcode and changes the occupancies. After a failure the source may already be empty
/// in the document; the caller must not save it.
bool putMedium(xercesc::DOMDocument* doc, DOMElement& from, DOMElement& to,
               const std::string& barCode) {
  DOMElement* oldPlace = Descendants(&from, names::barCode).first();
  if (oldPlace == nullptr || !removeText(*oldPlace)) {
    return false;
  }
  setOccupied(from, false);
  DOMElement* newPlace = Descendants(&to, names::barCode).first();
  if (newPlace == nullptr || !addText(doc, newPlace, barCode)) {
    return false;
  }
  setOccupied(to, true);
  return true;
}

}  // namespace

bool TqLibEmulator::MoveVirtualLibraryElement(const std::string& libraryName, int sourceType,
                                              int sourceAddress, int destinationType,
                                              int destinationAddress) {
  const MoveEnd source{"Source", sourceType, sourceAddress};
  const MoveEnd destination{"Destination", destinationType, destinationAddress};
  OperationCycle cycle(*this, {kOrigin, Access::Changes, Exceptions::Reported});
  return cycle.onLibrary(libraryName, [&] {
    if (!cycle.hasDocumentOrReport(libraryName) || rootOf(m_pLibDoc) == nullptr) {
      return false;
    }
    const bool staysOnShelves = sourceType == LIB_ELEM_SHELF && destinationType == LIB_ELEM_SHELF;
    if (!staysOnShelves && !checkLibrary(m_pLibDoc, libraryName)) {
      m_nErrorCode = codes::libraryNode;
      return false;
    }
    DOMNode* from = findEnd(cycle, source, libraryName);
    DOMNode* to = from == nullptr ? nullptr : findEnd(cycle, destination, libraryName);
    if (to == nullptr) {
      return false;
    }
    if (moveElemContents(from, to)) {
      return true;
    }
    const std::string reason = m_szErrorText;  // a copy, because the text below replaces it
    cycle.errors().setText(
        "Failed to move element from Source Element of Type %d, Address %d to Destination "
        "LibElement of Type %d, Address %d in XML File %s for Library %s due to error %s",
        source.type, source.address, destination.type, destination.address, m_sLibFile.c_str(),
        names::fileOf(libraryName).c_str(), reason.c_str());
    return false;
  });
}

// Occupancy and barcode must agree in both elements. For example, an element that is marked empty
// but holds a barcode cannot receive a medium.
bool TqLibEmulator::moveElemContents(DOMNode* source, DOMNode* destination) {
  if (!isTrue(asElement(source)->getAttribute(names::isOccupied))) {
    m_nErrorCode = codes::sourceEmpty;
    return false;
  }
  if (isTrue(asElement(destination)->getAttribute(names::isOccupied))) {
    m_nErrorCode = codes::destinationOccupied;
    return false;
  }
  const ErrorRecord errors(m_nErrorCode, m_szErrorText);
  std::string barCode;
  if (!readBarCode(source, "Source", barCode, errors) || barCode.empty()) {
    return false;
  }
  std::string itsBarCode;
  if (!readBarCode(destination, "Destination", itsBarCode, errors) || !itsBarCode.empty()) {
    return false;
  }
  if (!putMedium(m_pLibDoc, *asElement(source), *asElement(destination), barCode)) {
    return false;
  }
  m_bLibModified = true;
  return true;
}

// Kept for compatibility. It does nothing, and nothing calls it.
bool TqLibEmulator::setElemText(DOMNode* /*node*/, std::string& /*text*/) {
  return false;
}

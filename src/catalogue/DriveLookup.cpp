// Finding a drive by its serial number.

#include "TqLibEmulator.h"
#include "files/Documents.h"

namespace {

bool isNamed(const xercesc::DOMNode& node, const XMLCh* name) {
  return xercesc::XMLString::compareIString(node.getNodeName(), name) == 0;
}

/// The node after `node` in a walk below `root` that enters libraries only.
xercesc::DOMNode* nextInLibraries(xercesc::DOMNode* node, const xercesc::DOMNode* root) {
  if (isNamed(*node, names::library) && node->hasChildNodes()) {
    return node->getFirstChild();
  }
  while (node != root && node->getNextSibling() == nullptr) {
    node = node->getParentNode();
  }
  return node == root ? nullptr : node->getNextSibling();
}

}  // namespace

// A drive that cannot be told by a serial number is passed over, with a line in the log.
xercesc::DOMNode* TqLibEmulator::findDrive(xercesc::DOMNode* node,
                                           const std::string& serialNumber) {
  if (node == nullptr) {
    return nullptr;
  }
  for (xercesc::DOMNode* child = node->getFirstChild(); child != nullptr;
       child = nextInLibraries(child, node)) {
    if (isNamed(*child, names::drive) && isDriveOf(*child, serialNumber)) {
      return child;
    }
  }
  return nullptr;
}

bool TqLibEmulator::isDriveOf(xercesc::DOMNode& drive, const std::string& serialNumber) {
  xercesc::DOMElement* device = Descendants(&drive, names::driveScsiDevice).single();
  std::string serial;
  if (device == nullptr || !extractValuesFromChildNode(device, names::serialNumber, serial)) {
    EvDebug::Error(debugHandler, "TqLibEmulator::findDrive",
                   "A drive in %s has no single readable %s", m_sLibFile.c_str(),
                   MyTranscode(names::driveScsiDevice).c_str());
    return false;
  }
  return serial == serialNumber;
}

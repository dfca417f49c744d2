// The drives below one parent by name, so that a batch of drives costs one pass over the document
// and not one for each drive.
#pragma once

#include <map>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLString.hpp>

class DriveIndex {
public:
  /// Reads the drives of `doc`: those below its root for drives without a library, else those of
  /// its single library. Returns false when there is no document, root or single library. Reading
  /// the same document again costs nothing.
  bool read(const xercesc::DOMDocument* doc, bool isStandaloneDrive);

  /// Forgets everything; called when the document is replaced.
  void forget() { *this = DriveIndex(); }

  /// The first drive with this name, without regard to case; null when there is none.
  xercesc::DOMElement* find(const XMLCh* name) const;

  /// Puts a new drive in its place: at the end of the root, or before the library's slots. It is
  /// found by its name from then on.
  void insert(xercesc::DOMElement* drive);

private:
  struct IgnoringCase {
    bool operator()(const XMLCh* a, const XMLCh* b) const {
      return xercesc::XMLString::compareIString(a, b) < 0;
    }
  };

  const xercesc::DOMDocument* m_doc = nullptr;
  xercesc::DOMElement* m_parent = nullptr;
  xercesc::DOMElement* m_firstSlot = nullptr;  // null: drives go to the end
  // The keys are the drives' own Name attributes, which nothing changes.
  std::map<const XMLCh*, xercesc::DOMElement*, IgnoringCase> m_drives;
};

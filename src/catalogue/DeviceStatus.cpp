// Device status: a SCSI status that a test or an operator attaches to a library, to be reported a
// number of times or for a number of seconds.

#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "TqLibEmulator.h"
#include "files/Documents.h"
#include "catalogue/ErrorCodes.h"
#include "catalogue/OperationCycle.h"
#include "files/XmlText.h"

namespace {

constexpr char kSetOrigin[] = "TqLibEmulator::SetVirtualDeviceStatusNoLock";
constexpr char kGetOrigin[] = "TqLibEmulator::GetVirtualDeviceStatusNoLock";

int numberIn(const xercesc::DOMElement& record, const XMLCh* attribute) {
  return std::atoi(MyTranscode(record.getAttribute(attribute)).c_str());
}

/// The file holds the time of expiry as a signed 32-bit number, whatever time_t is.
int32_t expiryAfter(int lifetimeSeconds) {
  return static_cast<int32_t>(std::time(nullptr) + lifetimeSeconds);
}

/// What a read does to a record.
enum class Reading { Stays, CountsDown, RemovesIt };

/// A count of 1 is the last read; 0 and below are reported until they expire.
Reading whenRead(const xercesc::DOMElement& record) {
  const int count = numberIn(record, names::count);
  if (count == 1 || numberIn(record, names::expireTime) <= std::time(nullptr)) {
    return Reading::RemovesIt;
  }
  return count > 1 ? Reading::CountsDown : Reading::Stays;
}

void setTerm(xercesc::DOMElement& record, int lifetimeSeconds, int count) {
  record.setAttribute(names::count, toXml(count).c_str());
  record.setAttribute(names::expireTime, toXml(expiryAfter(lifetimeSeconds)).c_str());
}

}  // namespace

bool TqLibEmulator::SetVirtualDeviceStatus(const std::string& libraryName, int status, int asc,
                                           int ascq, int lifetimeSeconds, int count) {
  OperationCycle cycle(*this, {"TqLibEmulator::SetVirtualDeviceStatus", Access::Changes,
                               Exceptions::Logged, MissingFile::Fails});
  return cycle.onLibrary(libraryName, [&] {
    return SetVirtualDeviceStatusNoLock(libraryName, status, asc, ascq, lifetimeSeconds, count);
  });
}

// A read that changes nothing is the usual one: an emulator asks before each command of a host. So
// the first look takes no lock, and only a record that has to be counted is read again under the
// lock.
bool TqLibEmulator::GetVirtualDeviceStatus(const std::string& libraryName, int& status, int& asc,
                                           int& ascq, bool peek) {
  CycleTerms terms{"TqLibEmulator::GetVirtualDeviceStatus", Access::Reads, Exceptions::Logged,
                   MissingFile::Fails};
  bool isChangeDue = false;
  const bool isRead = OperationCycle(*this, terms).onLibrary(libraryName, [&] {
    if (!GetVirtualDeviceStatusNoLock(libraryName, status, asc, ascq, true)) {
      return false;
    }
    const xercesc::DOMElement* library = peek ? nullptr : singleLibrary(m_pLibDoc);
    const xercesc::DOMElement* record = Descendants(library, names::scsiStatus).first();
    isChangeDue = record != nullptr && whenRead(*record) != Reading::Stays;
    return true;
  });
  if (!isChangeDue) {
    return isRead;
  }
  terms.access = Access::Changes;
  return OperationCycle(*this, terms).onLibrary(libraryName, [&] {
    return GetVirtualDeviceStatusNoLock(libraryName, status, asc, ascq, false);
  });
}

bool TqLibEmulator::SetVirtualDeviceStatusNoLock(const std::string& libraryName, int status,
                                                 int asc, int ascq, int lifetimeSeconds,
                                                 int count) {
  if (m_pLibDoc == nullptr) {
    report(kSetOrigin, "No XML Files %s", m_sLibFile.c_str());
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  return withStatusLibrary(kSetOrigin, libraryName, [&](xercesc::DOMElement* library) {
    return setVirtualDevStatusOnLib(m_pLibDoc, library, status, asc, ascq, lifetimeSeconds, count);
  });
}

bool TqLibEmulator::GetVirtualDeviceStatusNoLock(const std::string& libraryName, int& status,
                                                 int& asc, int& ascq, bool peek) {
  return withStatusLibrary(kGetOrigin, libraryName, [&](xercesc::DOMElement* library) {
    return getVirtualDeviceStatusOnLib(m_pLibDoc, library, status, asc, ascq, peek);
  });
}

// A file with no library or several counts as done, with a message: an emulator goes on without
// injected status rather than fail its host's commands.
bool TqLibEmulator::withStatusLibrary(const char* origin, const std::string& libraryName,
                                      const std::function<bool(xercesc::DOMElement*)>& work) {
  if (rootOrReport(origin, libraryName) == nullptr) {
    return false;
  }
  xercesc::DOMElement* library = singleLibraryOrReport(origin);
  if (library == nullptr) {
    return true;
  }
  std::string serial;
  if (!getLibSerialNumber(library, serial) || serial != libraryName) {
    m_nErrorCode = codes::libraryNode;
    return false;
  }
  return work(library);
}

bool TqLibEmulator::setVirtualDevStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* library,
                                             int status, int asc, int ascq, int lifetimeSeconds,
                                             int count) {
  xercesc::DOMElement* record = Descendants(library, names::scsiStatus).first();
  return record == nullptr
             ? addVirtualDevStatusOnLib(doc, library, status, asc, ascq, lifetimeSeconds, count)
             : updateVirtualDevStatusOnLib(doc, record, status, asc, ascq, lifetimeSeconds, count);
}

bool TqLibEmulator::addVirtualDevStatusOnLib(xercesc::DOMDocument*& doc, xercesc::DOMNode* library,
                                             int status, int asc, int ascq, int lifetimeSeconds,
                                             int count) {
  xercesc::DOMElement* record = newDOMElementWithValue(doc, names::scsiStatus, nullptr);
  if (record == nullptr) {
    return false;
  }
  setTerm(*record, lifetimeSeconds, count);
  record->appendChild(newDOMElementWithValue(doc, names::status, toXml(status).c_str()));
  record->appendChild(newDOMElementWithValue(doc, names::asc, toXml(asc).c_str()));
  record->appendChild(newDOMElementWithValue(doc, names::ascq, toXml(ascq).c_str()));
  library->appendChild(record);
  m_bLibModified = true;
  return true;
}

bool TqLibEmulator::updateVirtualDevStatusOnLib(xercesc::DOMDocument*& doc,
                                                xercesc::DOMNode* statusNode, int status, int asc,
                                                int ascq, int lifetimeSeconds, int count) {
  xercesc::DOMElement* record = asElement(statusNode);
  if (!updateDOMElementValue(doc, record, names::status, std::to_string(status)) ||
      !updateDOMElementValue(doc, record, names::asc, std::to_string(asc)) ||
      !updateDOMElementValue(doc, record, names::ascq, std::to_string(ascq))) {
    return false;
  }
  setTerm(*record, lifetimeSeconds, count);
  m_bLibModified = true;
  return true;
}

// The values go out before the expiry is looked at: a record is reported once more by the read that
// removes it. A peek changes nothing and sees a record that has expired.
bool TqLibEmulator::getVirtualDeviceStatusOnLib(xercesc::DOMDocument*& /*doc*/,
                                                xercesc::DOMNode* library, int& status, int& asc,
                                                int& ascq, bool peek) {
  xercesc::DOMElement* record = Descendants(library, names::scsiStatus).first();
  if (record == nullptr) {
    status = asc = ascq = 0;
    return true;
  }
  if (!extractValuesFromChildNode(record, names::status, status) ||
      !extractValuesFromChildNode(record, names::asc, asc) ||
      !extractValuesFromChildNode(record, names::ascq, ascq)) {
    return false;
  }
  if (!peek) {
    countRead(library, record);
  }
  return true;
}

void TqLibEmulator::countRead(xercesc::DOMNode* library, xercesc::DOMElement* record) {
  const Reading reading = whenRead(*record);
  if (reading == Reading::RemovesIt) {
    removeVirtualDeviceStatus(library, record);
  } else if (reading == Reading::CountsDown) {
    record->setAttribute(names::count, toXml(numberIn(*record, names::count) - 1).c_str());
  }
  m_bLibModified = m_bLibModified || reading != Reading::Stays;
}

bool TqLibEmulator::removeVirtualDeviceStatus(xercesc::DOMNode* library) {
  xercesc::DOMElement* record = Descendants(library, names::scsiStatus).first();
  return record == nullptr || removeVirtualDeviceStatus(library, record);
}

bool TqLibEmulator::removeVirtualDeviceStatus(xercesc::DOMNode* library,
                                              xercesc::DOMNode* statusNode) {
  removeFrom(*library, statusNode);
  return true;
}

// Device status: a SCSI status that a test or an operator injects into a library. It is reported a
// number of times, or until its lifetime ends.

#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "TqLibEmulator.h"
#include "catalogue/OperationCycle.h"
#include "catalogue/Registration.h"
#include "common/FileContent.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

constexpr CycleTerms kInnerSetTerms{"TqLibEmulator::SetVirtualDeviceStatusNoLock", Access::Changes,
                                    Exceptions::Logged};
constexpr CycleTerms kInnerGetTerms{"TqLibEmulator::GetVirtualDeviceStatusNoLock", Access::Reads,
                                    Exceptions::Logged};

int numberIn(const xercesc::DOMElement& record, const XMLCh* attribute) {
  return std::atoi(toUtf8(record.getAttribute(attribute)).c_str());
}

/// The time of expiry. Files hold it as a signed 32-bit number, whatever the size of time_t is.
int32_t expiryAfter(int lifetimeSeconds) {
  return static_cast<int32_t>(std::time(nullptr) + lifetimeSeconds);
}

/// The effect of a read on the record.
enum class Reading { Stays, CountsDown, RemovesIt };

/// A record with the count 1 is removed by this read. A record with a count of 0 or below is not
/// counted and stays until it expires.
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

/// Counts a read of the record. True when the document was changed.
bool countRead(xercesc::DOMNode& library, xercesc::DOMElement& record) {
  const Reading reading = whenRead(record);
  if (reading == Reading::RemovesIt) {
    removeFrom(library, &record);
  } else if (reading == Reading::CountsDown) {
    record.setAttribute(names::count, toXml(numberIn(record, names::count) - 1).c_str());
  }
  return reading != Reading::Stays;
}

/// Whether the text of a file contains the name of a status record, even if only in a value.
bool namesRecord(const std::string& path) {
  const auto text = contentOf(path);
  return text && text->find(toUtf8(names::scsiStatus)) != std::string::npos;
}

/// Runs `work` on the library of that name. A file without exactly one library counts as success,
/// with text: without an injected status, an emulator can still execute its host's commands.
bool withStatusLibrary(OperationCycle& cycle, const std::string& libraryName,
                       const std::function<bool(xercesc::DOMElement*)>& work) {
  if (cycle.rootOrReport(libraryName) == nullptr) {
    return false;
  }
  xercesc::DOMElement* library = cycle.singleLibraryOrReport();
  if (library == nullptr) {
    return true;
  }
  std::string serial;
  if (!readSerialNumber(library, true, serial) || serial != libraryName) {
    cycle.errors().setCode(codes::libraryNode);
    return false;
  }
  return work(library);
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

// An emulator reads the status before each command of a host, and a library seldom has a record. So
// a read takes the lock only when there is one. The search in the file saves loading it twice.
bool TqLibEmulator::GetVirtualDeviceStatus(const std::string& libraryName, int& status, int& asc,
                                           int& ascq, bool peek) {
  CycleTerms terms{"TqLibEmulator::GetVirtualDeviceStatus", Access::Reads, Exceptions::Logged,
                   MissingFile::Fails};
  const auto read = [&] {
    return GetVirtualDeviceStatusNoLock(libraryName, status, asc, ascq, peek);
  };
  bool hasRecord = false;
  OperationCycle query(*this, terms);
  const bool isRead = query.inFrame([&] {
    if (!query.findFile(libraryName) || !query.isFilePresent()) {
      return false;
    }
    hasRecord = !peek && namesRecord(query.path());
    if (hasRecord) {
      return true;
    }
    if (!query.ensureLoaded()) {
      return false;
    }
    hasRecord = !peek && Descendants(rootOf(m_pLibDoc), names::scsiStatus).first() != nullptr;
    return hasRecord || read();
  });
  if (!hasRecord) {
    return isRead;
  }
  terms.access = Access::Changes;
  return OperationCycle(*this, terms).onLibrary(libraryName, read);
}

bool TqLibEmulator::SetVirtualDeviceStatusNoLock(const std::string& libraryName, int status,
                                                 int asc, int ascq, int lifetimeSeconds,
                                                 int count) {
  OperationCycle cycle(*this, kInnerSetTerms);
  if (m_pLibDoc == nullptr) {
    cycle.errors().report(cycle.origin(), "No XML Files %s", m_sLibFile.c_str());
    m_nErrorCode = codes::noXmlFile;
    return false;
  }
  return withStatusLibrary(cycle, libraryName, [&](xercesc::DOMElement* library) {
    return setVirtualDevStatusOnLib(m_pLibDoc, library, status, asc, ascq, lifetimeSeconds, count);
  });
}

bool TqLibEmulator::GetVirtualDeviceStatusNoLock(const std::string& libraryName, int& status,
                                                 int& asc, int& ascq, bool peek) {
  OperationCycle cycle(*this, kInnerGetTerms);
  return withStatusLibrary(cycle, libraryName, [&](xercesc::DOMElement* library) {
    return getVirtualDeviceStatusOnLib(m_pLibDoc, library, status, asc, ascq, peek);
  });
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
  xercesc::DOMElement* record = newElement(doc, names::scsiStatus);
  if (record == nullptr) {
    return false;
  }
  setTerm(*record, lifetimeSeconds, count);
  record->appendChild(newElement(doc, names::status, toXml(status).c_str()));
  record->appendChild(newElement(doc, names::asc, toXml(asc).c_str()));
  record->appendChild(newElement(doc, names::ascq, toXml(ascq).c_str()));
  library->appendChild(record);
  m_bLibModified = true;
  return true;
}

bool TqLibEmulator::updateVirtualDevStatusOnLib(xercesc::DOMDocument*& doc,
                                                xercesc::DOMNode* statusNode, int status, int asc,
                                                int ascq, int lifetimeSeconds, int count) {
  xercesc::DOMElement* record = asElement(statusNode);
  if (!updateValues(doc, record, names::status, std::to_string(status)) ||
      !updateValues(doc, record, names::asc, std::to_string(asc)) ||
      !updateValues(doc, record, names::ascq, std::to_string(ascq))) {
    return false;
  }
  setTerm(*record, lifetimeSeconds, count);
  m_bLibModified = true;
  return true;
}

// The values are read before the expiry is checked, so the read that removes an expired record
// still reports it. A peek changes nothing and reports an expired record, too.
bool TqLibEmulator::getVirtualDeviceStatusOnLib(xercesc::DOMDocument*& /*doc*/,
                                                xercesc::DOMNode* library, int& status, int& asc,
                                                int& ascq, bool peek) {
  xercesc::DOMElement* record = Descendants(library, names::scsiStatus).first();
  if (record == nullptr) {
    status = 0;
    asc = 0;
    ascq = 0;
    return true;
  }
  if (!readValue(record, names::status, status) || !readValue(record, names::asc, asc) ||
      !readValue(record, names::ascq, ascq)) {
    return false;
  }
  if (!peek && countRead(*library, *record)) {
    m_bLibModified = true;
  }
  return true;
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

// Uses the SAX parser of Xerces-C++ and none of the catalogue's code.

#include "WellFormed.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/XMLException.hpp>

namespace fuzz {

namespace {

struct InternalSubset {};

class Judge : public xercesc::SAXParser {
public:
  Judge() {
    setErrorHandler(&m_errors);
    setLoadExternalDTD(false);
    setDisableDefaultEntityResolution(true);
  }

  void startIntSubset() override { throw InternalSubset(); }

private:
  xercesc::HandlerBase m_errors;  // throws fatal errors
};

}  // namespace

bool isWellFormed(const std::string& xml) {
  Judge judge;
  try {
    judge.parse(xercesc::MemBufInputSource(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(),
                                           "input"));
    return true;
  } catch (const InternalSubset&) {
  } catch (const xercesc::SAXException&) {
  } catch (const xercesc::XMLException&) {
  }
  return false;
}

}  // namespace fuzz

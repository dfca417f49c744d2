#include "common/XercesObject.h"

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

XercesObject::~XercesObject() {
  if (m_bInitialized) {
    xercesc::XMLPlatformUtils::Terminate();
  }
}

void XercesObject::Init() {
  if (!m_bInitialized) {
    xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale);
    m_bInitialized = true;
  }
}

// The Xerces-C++ runtime of the process.
#pragma once

/// Starts the Xerces-C++ runtime once and ends it when it is destroyed.
class XercesObject {
public:
  XercesObject() = default;
  ~XercesObject();
  XercesObject(const XercesObject&) = delete;
  XercesObject& operator=(const XercesObject&) = delete;

  /// Starts the runtime unless it runs. Throws xercesc::XMLException when it cannot be started.
  /// Hold gCriticalSection.
  void Init();

  /// The one of this library, which lives as long as the library is loaded.
  static XercesObject& instance();

private:
  bool m_bInitialized = false;
};

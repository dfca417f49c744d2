#include "Place.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

Place::Place() : m_folder((std::filesystem::current_path() / "tq-bench-XXXXXX").string()) {
  if (mkdtemp(m_folder.data()) == nullptr) {
    throw std::runtime_error("cannot create " + m_folder);
  }
  const std::string configuration = m_folder + "/tqlib.ini";
  std::ofstream(configuration) << "[MediaManager]\nsVirtualLibXMLDirectory=" << m_folder << '\n';
  setenv("TQ_PLATFORM_CONFIG", configuration.c_str(), 1);
}

Place::~Place() {
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

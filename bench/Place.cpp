// Creates the folder and two configuration files.

#include "Place.h"

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

// There are two configuration files, because a rewritten one would not be cached at first.
Place::Place() : m_folder((std::filesystem::current_path() / "tq-bench-XXXXXX").string()) {
  if (mkdtemp(m_folder.data()) == nullptr) {
    throw std::runtime_error("cannot create " + m_folder);
  }
  const std::string catalogue = "[MediaManager]\nsVirtualLibXMLDirectory=" + m_folder + '\n';
  const std::string tapes = m_folder + "/tapes";
  std::filesystem::create_directory(tapes);
  std::ofstream(m_folder + "/tqlib.ini") << catalogue;
  std::ofstream(m_folder + "/apart.ini") << catalogue << "sVirtualTapeDirectory=" << tapes << '\n';
  configureTapes(false);
}

Place::~Place() {
  std::error_code ignored;
  std::filesystem::remove_all(m_folder, ignored);
}

void Place::configureTapes(bool isApart) const {
  const std::string file = m_folder + (isApart ? "/apart.ini" : "/tqlib.ini");
  setenv("TQ_PLATFORM_CONFIG", file.c_str(), 1);
}

void Place::waitForConfiguration() {
  constexpr std::chrono::milliseconds age(2100);  // more than the resolution of time stamps
  std::this_thread::sleep_for(age);
}

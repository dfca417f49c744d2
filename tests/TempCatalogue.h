// A catalogue for one test: folder, configuration and log. They are removed at its end.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>

namespace tests {

namespace fs = std::filesystem;

inline std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

/// Files and folders below a folder by path with their bytes; a folder's path ends in "/".
inline std::map<std::string, std::string> treeOf(const fs::path& folder) {
  std::map<std::string, std::string> all;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    all[entry.path().string() + (entry.is_directory() ? "/" : "")] =
        entry.is_regular_file() ? readFile(entry.path()) : "";
  return all;
}

/// Names a parameterised test after its parameter.
inline constexpr auto nameOfParam = [](const auto& test) { return std::string(test.param.name); };

/// A new folder under the system's temporary one, removed with its content.
class TempFolder {
public:
  TempFolder() {
    std::string name = (fs::temp_directory_path() / "tqtest-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot create " + name);
    m_path = name;
  }
  TempFolder(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }

  const fs::path& path() const { return m_path; }

private:
  fs::path m_path;
};

/// The log of the process. All catalogues share it, because a log may keep its file open.
inline const fs::path& processLog() {
  static const TempFolder folder;
  static const fs::path path = folder.path() / "tqlib.log";
  return path;
}

class TempCatalogue {
public:
  TempCatalogue() : m_logStart(readFile(processLog()).size()) {
    setenv("TQ_PLATFORM_CONFIG", (path() / "tqlib.ini").c_str(), 1);
    setenv("TQ_PLATFORM_LOG", processLog().c_str(), 1);
    fs::create_directory(catalogue());
    config("MediaManager", "sVirtualLibXMLDirectory", path().string());
  }
  ~TempCatalogue() { unsetenv("TQ_PLATFORM_CONFIG"); }

  const fs::path& path() const { return m_folder.path(); }

  /// The catalogue directory, spelled as the library spells it: with "/" at its end.
  std::string catalogue() const { return path().string() + "/LibEmulator/"; }
  std::string libraryFile(const std::string& key) const {
    return catalogue() + "Lib_" + key + ".xml";
  }
  std::string listFile() const { return catalogue() + "LibraryList.xml"; }

  /// Sets one value of the configuration; an empty value removes it.
  void config(const std::string& section, const std::string& key, const std::string& value) {
    m_config[section][key] = value;
    std::string text;
    for (const auto& [name, values] : m_config) {
      text += "[" + name + "]\n";
      for (const auto& [k, v] : values)
        if (!v.empty()) text += k + " = " + v + "\n";
    }
    writeFile(path() / "tqlib.ini", text);
  }

  /// `text` with "CATALOGUE/" in place of the catalogue directory.
  std::string shortened(const std::string& text) const {
    return std::regex_replace(text, std::regex(catalogue()), "CATALOGUE/");
  }

  /// What was logged since this catalogue was made, shortened.
  std::string log() const { return shortened(readFile(processLog()).substr(m_logStart)); }
  bool logged(const std::string& text) const { return log().find(text) != text.npos; }

  /// Every file and folder in the catalogue directory, by name, with its bytes.
  std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::directory_iterator(catalogue()))
      all[entry.path().filename().string()] =
          entry.is_regular_file() ? readFile(entry.path()) : std::string();
    return all;
  }

private:
  TempFolder m_folder;
  std::size_t m_logStart;
  std::map<std::string, std::map<std::string, std::string>> m_config;
};

}  // namespace tests

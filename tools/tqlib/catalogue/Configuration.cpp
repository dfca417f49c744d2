#include "catalogue/Configuration.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "TqLibEmlFile.h"
#include "base/Errors.h"
#include "files/Names.h"

namespace {

constexpr char kVariable[] = "TQ_PLATFORM_CONFIG";
constexpr char kSystemFile[] = "/etc/tqlib.ini";

std::string chosenFile(const std::string& config) {
  if (!config.empty()) return config;
  const char* fromEnvironment = std::getenv(kVariable);
  return fromEnvironment && *fromEnvironment ? fromEnvironment : kSystemFile;
}

std::string nextStep(int code) {
  return code == EACCES ? "run it as the user of the emulator" : "\"tqlib init DIR\" writes one";
}

}  // namespace

void useConfiguration(const std::string& config) {
  const std::string file = chosenFile(config);
  // Without a configuration the calls would fail with a path that means nothing to an operator.
  if (access(file.c_str(), R_OK) != 0) {
    const int code = errno;
    throw Failure(std::string("no configuration: ") + systemFailure(file, code).what(),
                  nextStep(code));
  }
  setenv(kVariable, file.c_str(), 1);
}

std::string catalogueFolder() {
  std::string directory;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(directory) == 0) {
    throw Failure("the catalogue folder cannot be made: " + directory,
                  "see the log: the folder, or the configuration, cannot be used");
  }
  return directory;
}

std::string libraryFile(const std::string& library) {
  return catalogueFolder() + names::fileOf(library);
}

bool libraryExists(const std::string& library) {
  return TqLibEmlFile::IsFilePresent(libraryFile(library));
}

void requireLibrary(const std::string& library) {
  if (!libraryExists(library)) {
    throw Failure("no such library: " + library, "\"tqlib library list\" names those there are");
  }
}

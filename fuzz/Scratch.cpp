// Plain file helpers; each failure is a finding.

#include "Scratch.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <system_error>

namespace fuzz {

namespace fs = std::filesystem;

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

fs::path rootOfScratch() {
  const bool isChosen = ::getenv("TMPDIR") != nullptr;
  return !isChosen && ::access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm"
                                                             : fs::temp_directory_path();
}

}  // namespace

ScratchFolder::ScratchFolder() {
  std::string name = (rootOfScratch() / "tqfuzz-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    fail("cannot create " + name);
  }
  m_path = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(m_path, ignored);
}

void configure(const fs::path& ini) {
  ::setenv("TQ_PLATFORM_CONFIG", ini.c_str(), 1);
  ::setenv("TQ_PLATFORM_LOG", "/dev/null", 1);
}

void writeFile(const fs::path& path, const std::string& bytes) {
  File file(std::fopen(path.c_str(), "wb"), &std::fclose);
  if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() ||
      std::fclose(file.release()) != 0) {
    fail("cannot write " + path.string());
  }
}

std::string readFile(const fs::path& path) {
  const File file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (file == nullptr) {
    fail("cannot read " + path.string());
  }
  std::string bytes;
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get())) {
    bytes.append(buffer, count);
  }
  return bytes;
}

void fail(const std::string& what) {
  std::fprintf(stderr, "FINDING: %s\n", what.c_str());
  std::abort();
}

}  // namespace fuzz

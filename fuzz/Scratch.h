// A temporary folder for one fuzzing process, and its files.
#pragma once

#include <filesystem>
#include <string>

namespace fuzz {

/// A new folder, removed by the destructor. It is in $TMPDIR if that is set, else in memory: every
/// save is synced, and a disk would be by far the slowest part.
class ScratchFolder {
public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::filesystem::path& path() const { return m_path; }

private:
  std::filesystem::path m_path;
};

/// Makes `ini` the configuration of the process, and drops the log.
void configure(const std::filesystem::path& ini);

void writeFile(const std::filesystem::path& path, const std::string& bytes);
std::string readFile(const std::filesystem::path& path);

/// Prints a finding and aborts the process.
[[noreturn]] void fail(const std::string& what);

}  // namespace fuzz

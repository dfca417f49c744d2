// A folder for one fuzzing process, and its files.
#pragma once

#include <filesystem>
#include <string>

namespace fuzz {

/// In $TMPDIR, else in memory: every save is synced, and a disk would be the slowest part by far.
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

/// Makes `ini` the configuration of the process, and leaves the log unread.
void configure(const std::filesystem::path& ini);

void writeFile(const std::filesystem::path& path, const std::string& bytes);
std::string readFile(const std::filesystem::path& path);

/// Tells what does not hold, and ends the process as a finding.
[[noreturn]] void fail(const std::string& what);

}  // namespace fuzz

// Reading, checking and replacing the files beside a volume.
#include "volume/Checksums.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>
#include <sstream>

#include "base/Command.h"
#include "base/Streams.h"
#include "common/FolderSync.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kDigits = 64;

// sha256sum(1) doubles each backslash of a path, and puts one in front of such a line.
std::string lineOf(const std::string& volume, int mark, const std::string& digits) {
  std::string name;
  for (const char character : volume) name.append(character == '\\' ? 2 : 1, character);
  return fmt::format("{}{}  {}/{}", name == volume ? "" : "\\", digits, name, markName(mark));
}

/// Empty when the line is no checksum of the volume.
std::optional<Checksums::value_type> parsed(const std::string& line, const std::string& volume) {
  const std::string digits = line.substr(line.starts_with('\\') ? 1 : 0, kDigits);
  const bool isHex = digits.find_first_not_of("0123456789abcdef") == std::string::npos;
  const auto mark = markNumber(line.substr(line.rfind('/') + 1));
  if (!mark || !isHex || digits.size() != kDigits || line != lineOf(volume, *mark, digits)) {
    return std::nullopt;
  }
  return Checksums::value_type(*mark, digits);
}

/// Durably replaces the file, or removes it when it would be empty.
void save(const fs::path& path, const std::string& text) {
  requirePlainFile(path);
  if (!text.empty()) return writeFile(path.string(), text);
  if (fs::remove(path)) syncFolder(path.parent_path());
}

}  // namespace

fs::path checksumFile(const std::string& volume) {
  return volumeRoot() / (volume + checksumSuffix);
}

Checksums loadChecksums(const std::string& volume) {
  const fs::path path = checksumFile(volume);
  if (!fs::exists(path)) return {};
  requirePlainFile(path);
  std::ifstream file(path);
  if (!file) throw systemFailure("cannot open " + path.string(), errno);
  Checksums checksums;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    const auto checksum = parsed(line, volume);
    if (!checksum) {
      throw Failure(fmt::format("{}, line {}: not a checksum of a filemark of the volume",
                                path.string(), number),
                    "fix the line, or delete the file");
    }
    checksums.insert_or_assign(checksum->first, checksum->second);
  }
  if (file.bad()) throw systemFailure("cannot read " + path.string(), EIO);
  return checksums;
}

void saveChecksums(const std::string& volume, const Checksums& checksums) {
  std::string text;
  for (const auto& [mark, digits] : checksums) text += lineOf(volume, mark, digits) + "\n";
  save(checksumFile(volume), text);
}

fs::path blockLengthFile(const std::string& volume) {
  return volumeRoot() / (volume + blockLengthSuffix);
}

std::string loadBlockLengths(const std::string& volume) {
  const fs::path path = blockLengthFile(volume);
  if (!fs::exists(path)) return "";
  requirePlainFile(path);
  return readText(path.string());
}

// After a crash, the last line may be for a block that was not written.
std::vector<std::string> blockLengthProblems(const std::string& lengths,
                                             const std::vector<FileMark>& marks) {
  std::vector<std::string> problems;
  std::istringstream text(lengths);
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    int number = 0;
    unsigned long long offset = 0;
    unsigned long long length = 0;
    const bool isRead = words >> number >> offset >> length && length > 0;
    const auto mark = std::ranges::find(marks, number, &FileMark::number);
    const unsigned long long bytes = mark == marks.end() ? 0 : mark->bytes;
    if (!isRead) problems.push_back("not a filemark, an offset and a length: " + line);
    if (isRead && offset > bytes) {
      problems.push_back(fmt::format("filemark {} has {} bytes: {}", number, bytes, line));
    }
  }
  return problems;
}

VolumeRecords loadRecords(const std::string& volume) {
  return {loadChecksums(volume), loadBlockLengths(volume)};
}

void saveRecords(const std::string& volume, const VolumeRecords& records) {
  saveChecksums(volume, records.checksums);
  save(blockLengthFile(volume), records.blockLengths);
}

void requirePlainRecords(const std::string& volume) {
  requirePlainFile(checksumFile(volume));
  requirePlainFile(blockLengthFile(volume));
}

void dropRecords(const std::string& volume, int mark) {
  if (mark == 0) return saveRecords(volume, {});
  Checksums checksums = loadChecksums(volume);
  if (checksums.erase(mark) > 0) saveChecksums(volume, checksums);
  const std::string lengths = loadBlockLengths(volume);
  std::string kept;
  std::istringstream text(lengths);
  for (std::string line; std::getline(text, line);) {
    if (!line.starts_with(fmt::format("{} ", mark))) kept += line + "\n";
  }
  if (kept != lengths) save(blockLengthFile(volume), kept);
}

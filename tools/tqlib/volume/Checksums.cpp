// Reading, checking and replacing the checksum file of a volume.
#include "volume/Checksums.h"

#include <cerrno>
#include <fstream>
#include <optional>

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
  const fs::path path = checksumFile(volume);
  requirePlainFile(path);
  if (checksums.empty()) {
    fs::remove(path);
    syncFolder(path.parent_path());
    return;
  }
  std::string text;
  for (const auto& [mark, digits] : checksums) text += lineOf(volume, mark, digits) + "\n";
  writeFile(path.string(), text);
}

void dropChecksums(const std::string& volume, int mark) {
  if (!fs::is_regular_file(checksumFile(volume))) return;
  Checksums left = mark == 0 ? Checksums() : loadChecksums(volume);
  if (mark == 0 || left.erase(mark) > 0) saveChecksums(volume, left);
}

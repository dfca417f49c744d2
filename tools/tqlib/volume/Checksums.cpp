#include "volume/Checksums.h"

#include <cerrno>
#include <fstream>
#include <optional>
#include <vector>

#include "base/Errors.h"
#include "catalogue/TargetFile.h"
#include "catalogue/VolumeFiles.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kDigits = 64;

// sha256sum(1) marks a line whose path has a backslash by another one, and doubles those in it.
std::string escaped(const std::string& volume) {
  std::string text;
  for (const char character : volume) text.append(character == '\\' ? 2 : 1, character);
  return text;
}

std::string lineOf(const std::string& volume, int mark, const std::string& digits) {
  const std::string name = escaped(volume);
  return (name == volume ? "" : "\\") + digits + "  " + name + "/" + markName(mark) + "\n";
}

bool isDigits(const std::string& text) {
  return text.size() == kDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// The number of the mark that the line is on, and its digits; nothing when it is no such line.
std::optional<Checksums::value_type> parsed(const std::string& line, const std::string& volume) {
  const std::size_t start = line.starts_with('\\') ? 1 : 0;
  const std::string digits = line.substr(start, kDigits);
  const std::size_t slash = line.rfind('/');
  if (!isDigits(digits) || slash == std::string::npos) return std::nullopt;
  const auto mark = markNumber(line.substr(slash + 1));
  if (!mark || line + "\n" != lineOf(volume, *mark, digits)) return std::nullopt;
  return Checksums::value_type(*mark, digits);
}

}  // namespace

fs::path checksumFile(const fs::path& root, const std::string& volume) {
  return root / (volume + ".sha256");
}

Checksums loadChecksums(const fs::path& root, const std::string& volume) {
  const fs::path path = checksumFile(root, volume);
  if (!fs::is_regular_file(path)) return {};
  std::ifstream file(path);
  if (!file) throw systemFailure("cannot open " + path.string(), errno);
  Checksums checksums;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    const auto checksum = parsed(line, volume);
    if (!checksum) {
      throw Failure(path.string() + ", line " + std::to_string(number) +
                        ": no checksum of a file mark of the volume",
                    "mend the line, or delete the file");
    }
    checksums.insert_or_assign(checksum->first, checksum->second);
  }
  if (file.bad()) throw systemFailure("cannot read " + path.string(), EIO);
  return checksums;
}

void requirePlaceForChecksums(const fs::path& root, const std::string& volume) {
  const fs::path path = checksumFile(root, volume);
  if (fs::exists(path) && !fs::is_regular_file(path)) {
    throw Failure(path.string() + ": no file that checksums can be kept in");
  }
  const TargetFile trial(path.string());  // which its end removes
}

void saveChecksums(const fs::path& root, const std::string& volume, const Checksums& checksums) {
  const fs::path path = checksumFile(root, volume);
  if (checksums.empty()) {
    if (fs::is_regular_file(path)) fs::remove(path);
  } else {
    std::string text;
    for (const auto& [mark, digits] : checksums) text += lineOf(volume, mark, digits);
    TargetFile file(path.string());
    const std::vector<unsigned char> bytes(text.begin(), text.end());
    file.write(bytes);
    file.commit();
  }
  syncFolder(root);
}

void dropChecksums(const fs::path& root, const std::string& volume, int mark) {
  if (!fs::is_regular_file(checksumFile(root, volume))) return;
  Checksums left;
  if (mark != 0) {
    left = loadChecksums(root, volume);
    if (left.erase(mark) == 0) return;
  }
  saveChecksums(root, volume, left);
}

// Reading, checking and replacing the checksum file of a volume.
#include "volume/Checksums.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Streams.h"
#include "catalogue/VolumeFiles.h"
#include "common/FolderSync.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kDigits = 64;

void require(int result) {
  if (result != 1) throw Failure("the checksum cannot be calculated");
}

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

Sha256::Sha256() : m_context(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
  require(m_context ? EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) : 0);
}

void Sha256::update(std::span<const char> block) {
  require(EVP_DigestUpdate(m_context.get(), block.data(), block.size()));
}

std::string Sha256::hex() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  require(EVP_DigestFinal_ex(m_context.get(), digest, &length));
  return fmt::format("{:02x}", fmt::join(digest, digest + length, ""));
}

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
      throw Failure(fmt::format("{}, line {}: not a checksum of a file mark of the volume",
                                path.string(), number),
                    "fix the line, or delete the file");
    }
    checksums.insert_or_assign(checksum->first, checksum->second);
  }
  if (file.bad()) throw systemFailure("cannot read " + path.string(), EIO);
  return checksums;
}

void requirePlaceForChecksums(const fs::path& root, const std::string& volume) {
  const fs::path path = checksumFile(root, volume);
  if (fs::exists(path) && !fs::is_regular_file(path)) {
    throw Failure(path.string() + ": not a file that can hold checksums");
  }
  const OutputFile trial(path.string());
}

void saveChecksums(const fs::path& root, const std::string& volume, const Checksums& checksums) {
  const fs::path path = checksumFile(root, volume);
  if (checksums.empty()) {
    if (fs::is_regular_file(path)) fs::remove(path);
    syncFolder(root);
    return;
  }
  std::string text;
  for (const auto& [mark, digits] : checksums) text += lineOf(volume, mark, digits) + "\n";
  writeFile(path.string(), text);
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

VolumeLock::VolumeLock(const std::string& volume)
    : m_path(volumeRoot() / volume),
      m_isMade(fs::create_directory(m_path)),
      m_lock(m_path, std::chrono::milliseconds(0)) {
  if (!m_lock.isHeld()) throw Failure("volume " + volume + " is in use by another tqlib");
}

VolumeLock::~VolumeLock() {
  if (m_isMade) rmdir(m_path.c_str());  // refuses a folder that holds anything
}

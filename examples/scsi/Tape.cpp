// Transfers through the API. What the API has no call for is done on the files of the volume:
// cutting a filemark short, removing one, forcing it to the disk.
#include "Tape.h"

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "Disk.h"
#include "TqLibEmlFile.h"

namespace scsi {

namespace {

namespace fs = std::filesystem;

constexpr int kVolumeFull = 785;

// A stray file with a great number in the folder would look like that many filemarks.
constexpr int kMostFiles = 1000000;

// After the early warning a host still writes its buffers, a trailer and filemarks.
constexpr long long kRoomAfterWarning = 16 << 20;

// tar writes blocks of that size.
constexpr long long kUsualLength = 10240;

std::string folderOf(const std::string& volume) {
  TqLibEmlFile file(volume);
  std::string folder;
  if (!file.GetVolumeFolder(folder)) throw senseOf(file);
  return folder;
}

}  // namespace

Tape::Tape(const std::string& volume)
    : m_volume(volume),
      m_folder(folderOf(volume)),
      m_lengths(m_folder + ".blocks"),
      m_assumed(kUsualLength) {
  TqLibEmlFile file(volume);
  int next = 0;
  if (!file.GetLastFileMark(next) || file.getErrorCode() != 0) throw senseOf(file);
  if (next > kMostFiles) throw kIncompatibleMedium;
  for (int i = 0; i < std::max(next, 1); ++i) {
    std::error_code isMissing;  // the API reads a missing file as an empty one
    const auto bytes = fs::file_size(pathOf(i), isMissing);
    m_sizes.push_back(isMissing ? 0 : static_cast<long long>(bytes));
  }
}

Tape::Blocks Tape::ahead(long long most) const {
  const BlockLengths::Run run = runAt(m_file, m_at);
  const long long left = run.end - m_at;
  if (left < run.length) return {left, 1};
  return {run.length, std::min(left / run.length, most)};
}

void Tape::toStartOf(int file) {
  m_file = file;
  m_at = 0;
}

void Tape::toEndOf(int file) {
  m_file = file;
  m_at = sizeOf(file);
}

void Tape::backOneBlock() {
  const BlockLengths::Run run = runAt(m_file, m_at - 1);
  m_at = run.start + (m_at - 1 - run.start) / run.length * run.length;
}

long long Tape::objectNumber() const {
  long long number = m_file;  // filemarks
  for (int i = 0; i < m_file; ++i) number += blocksBefore(i, sizeOf(i));
  return number + blocksBefore(m_file, m_at);
}

bool Tape::locate(long long objectNumber) {
  long long left = objectNumber;
  int file = 0;
  for (; file < lastFile(); ++file) {
    const long long blocks = blocksBefore(file, sizeOf(file));
    if (left <= blocks) break;
    left -= blocks + 1;
  }
  toStartOf(file);
  while (left > 0 && !isAtEndOfFile()) {
    const Blocks blocks = ahead(left);
    skip(blocks);
    left -= blocks.count;
  }
  return left == 0;
}

void Tape::read(std::vector<unsigned char>& buffer, long long bytes) {
  const std::size_t filled = buffer.size();
  const auto wanted = static_cast<unsigned long>(bytes);
  buffer.resize(filled + wanted);
  TqLibEmlFile volume(m_volume);
  unsigned long count = 0;
  const bool isRead =
      volume.ReadDataForDrive(m_file, offset(), buffer.data() + filled, wanted, count);
  if (!isRead || count != wanted) {
    buffer.resize(filled);
    throw isRead ? kReadError : senseOf(volume);  // somebody else cut the file short, or a failure
  }
  m_at += bytes;
}

// The result of the API is that of measuring the volume: only the count shows what was written.
void Tape::write(const unsigned char* buffer, const Blocks& blocks) {
  const long long bytes = blocks.bytes();
  eraseRest();
  if (m_sizeAtWarning && size() + bytes > *m_sizeAtWarning + kRoomAfterWarning) throw kEndOfTape;
  m_lengths.add(m_file, m_at, blocks.length);
  TqLibEmlFile volume(m_volume);
  unsigned long count = 0;
  const bool isMeasured =
      volume.WriteDataForDrive(m_file, offset(), buffer, static_cast<unsigned long>(bytes), count);
  if (static_cast<long long>(count) != bytes) {
    if (count > 0) fs::resize_file(pathOf(m_file), offset());         // no part of a block may stay
    throw volume.getErrorCode() == 0 ? kEndOfTape : senseOf(volume);  // 0: the disk is full
  }
  m_at += bytes;
  m_sizes.back() = m_at;
  if (isMeasured) return;
  if (volume.getErrorCode() != kVolumeFull) throw senseOf(volume);
  if (!m_sizeAtWarning) m_sizeAtWarning = size();
}

// A read makes a missing file; the first one is missing on a blank tape.
void Tape::writeFilemark() {
  if (m_file + 2 > kMostFiles) throw kEndOfTape;  // the tape could not be loaded again
  eraseRest();
  if (sizeOf(m_file) == 0) makeFile(m_file);
  makeFile(m_file + 1);
  m_sizes.push_back(0);
  toStartOf(m_file + 1);
}

// From the end, so that a crash leaves no gap between the files. The lengths go last: what stays
// after a failure is still read in its blocks, and a full disk has room again.
void Tape::eraseRest() {
  for (; lastFile() > m_file; m_sizes.pop_back()) fs::remove(pathOf(lastFile()));
  if (!isAtEndOfFile()) fs::resize_file(pathOf(m_file), offset());
  m_sizes.back() = m_at;
  m_lengths.cut(m_file, m_at);
  if (!isNearEnd()) m_sizeAtWarning.reset();
}

void Tape::sync() {
  const std::string parent = fs::path(m_folder).parent_path();  // has the name of the lengths' file
  for (const std::string& path : {pathOf(m_file), m_folder + ".blocks", m_folder, parent}) {
    forceToDisk(path);
  }
}

long long Tape::size() const {
  return std::accumulate(m_sizes.begin(), m_sizes.end(), 0LL);
}

long long Tape::blocksBefore(int file, long long offset) const {
  long long count = 0;
  for (long long at = 0; at < offset;) {
    const BlockLengths::Run run = runAt(file, at);
    const long long end = std::min(run.end, offset);
    count += (end - at - 1) / run.length + 1;
    at = end;
  }
  return count;
}

BlockLengths::Run Tape::runAt(int file, long long offset) const {
  BlockLengths::Run run = m_lengths.runAt(file, offset);
  run.end = std::min(run.end, sizeOf(file));
  if (run.length == 0) run.length = m_assumed;
  return run;
}

// As GetVolumeFilename() names it; but that reads the configuration, which is slow for many files.
std::string Tape::pathOf(int file) const {
  return m_folder + '/' + std::to_string(100000000 + file).substr(1);
}

void Tape::makeFile(int file) {
  TqLibEmlFile volume(m_volume);
  unsigned char byte = 0;
  unsigned long count = 0;
  if (!volume.ReadDataForDrive(file, 0, &byte, 1, count)) throw senseOf(volume);
}

}  // namespace scsi

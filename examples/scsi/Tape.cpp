// Transfers through the API. What the API has no call for is done on the files of the volume:
// cutting a filemark short, removing one, forcing it to the disk.
#include "Tape.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <numeric>

#include "Sense.h"
#include "TqLibEmlFile.h"

namespace scsi {

namespace {

namespace fs = std::filesystem;

constexpr int kVolumeFull = 785;

// After the early warning a host still writes its buffers, a trailer and filemarks.
constexpr unsigned long long kRoomAfterWarning = 16ULL << 20;

// tar writes blocks of that size.
constexpr unsigned long long kUsualLength = 10240;

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
  m_sizes.resize(static_cast<std::size_t>(std::max(next, 1)));
  for (std::size_t i = 0; i < m_sizes.size(); ++i) {
    std::error_code isMissing;  // the API reads a missing file as an empty one
    const auto bytes = fs::file_size(pathOf(i), isMissing);
    m_sizes[i] = isMissing ? 0 : bytes;
  }
}

Tape::Blocks Tape::ahead() const {
  const BlockLengths::Run run = runAt(m_file, m_at);
  const unsigned long long left = run.end - m_at;
  return left < run.length ? Blocks{left, 1} : Blocks{run.length, left / run.length};
}

void Tape::toStartOf(std::size_t file) {
  m_file = file;
  m_at = 0;
}

void Tape::toEndOf(std::size_t file) {
  m_file = file;
  m_at = m_sizes[file];
}

void Tape::backOneBlock() {
  const BlockLengths::Run run = runAt(m_file, m_at - 1);
  m_at = run.start + (m_at - 1 - run.start) / run.length * run.length;
}

unsigned long long Tape::objectNumber() const {
  unsigned long long number = m_file;  // filemarks
  for (std::size_t i = 0; i < m_file; ++i) number += blocksBefore(i, m_sizes[i]);
  return number + blocksBefore(m_file, m_at);
}

bool Tape::locate(unsigned long long objectNumber) {
  unsigned long long left = objectNumber;
  std::size_t file = 0;
  for (; file < lastFile(); ++file) {
    const unsigned long long blocks = blocksBefore(file, m_sizes[file]);
    if (left <= blocks) break;
    left -= blocks + 1;
  }
  toStartOf(file);
  while (left > 0 && !isAtEndOfFile()) {
    Blocks blocks = ahead();
    blocks.count = std::min(blocks.count, left);
    skip(blocks);
    left -= blocks.count;
  }
  return left == 0;
}

void Tape::read(unsigned char* buffer, unsigned long long bytes) {
  TqLibEmlFile volume(m_volume);
  unsigned long count = 0;
  if (!volume.ReadDataForDrive(static_cast<int>(m_file), m_at, buffer, bytes, count)) {
    throw senseOf(volume);
  }
  if (count != bytes) throw kReadError;  // somebody else cut the file
  m_at += bytes;
}

// The result of the API is that of measuring the volume: only the count shows what was written.
void Tape::write(const unsigned char* buffer, const Blocks& blocks) {
  const unsigned long long bytes = blocks.bytes();
  eraseRest();
  if (m_sizeAtWarning && size() + bytes > *m_sizeAtWarning + kRoomAfterWarning) throw kEndOfTape;
  m_lengths.add(static_cast<int>(m_file), m_at, blocks.length);
  TqLibEmlFile volume(m_volume);
  unsigned long count = 0;
  const bool isMeasured =
      volume.WriteDataForDrive(static_cast<int>(m_file), m_at, buffer, bytes, count);
  if (count != bytes) {
    if (count > 0) fs::resize_file(pathOf(m_file), m_at);             // no part of a block may stay
    throw volume.getErrorCode() == 0 ? kEndOfTape : senseOf(volume);  // 0: the disk is full
  }
  m_at += bytes;
  m_sizes[m_file] = m_at;
  if (isMeasured) return;
  if (volume.getErrorCode() != kVolumeFull) throw senseOf(volume);
  if (!m_sizeAtWarning) m_sizeAtWarning = size();
}

// A read makes a missing file; the first one is missing on a blank tape.
void Tape::writeFilemark() {
  eraseRest();
  if (m_sizes[m_file] == 0) makeFile(m_file);
  makeFile(m_file + 1);
  m_sizes.push_back(0);
  toStartOf(m_file + 1);
}

// From the end, so that a crash leaves no gap between the files.
void Tape::eraseRest() {
  m_lengths.cut(static_cast<int>(m_file), m_at);
  for (; lastFile() > m_file; m_sizes.pop_back()) fs::remove(pathOf(lastFile()));
  if (!isAtEndOfFile()) fs::resize_file(pathOf(m_file), m_at);
  m_sizes[m_file] = m_at;
  if (!isNearEnd()) m_sizeAtWarning.reset();
}

void Tape::sync() {
  for (const std::string& path : {pathOf(m_file), m_folder + ".blocks", m_folder}) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) continue;  // not written yet
    const bool isDone = fsync(descriptor) == 0;
    close(descriptor);
    if (!isDone) throw kWriteError;
  }
}

unsigned long long Tape::size() const {
  return std::accumulate(m_sizes.begin(), m_sizes.end(), 0ULL);
}

unsigned long long Tape::blocksBefore(std::size_t file, unsigned long long offset) const {
  unsigned long long count = 0;
  for (unsigned long long at = 0; at < offset;) {
    const BlockLengths::Run run = runAt(file, at);
    const unsigned long long end = std::min(run.end, offset);
    count += (end - at + run.length - 1) / run.length;
    at = end;
  }
  return count;
}

BlockLengths::Run Tape::runAt(std::size_t file, unsigned long long offset) const {
  BlockLengths::Run run = m_lengths.runAt(static_cast<int>(file), offset);
  run.end = std::min(run.end, m_sizes[file]);
  if (run.length == 0) run.length = m_assumed;
  return run;
}

std::string Tape::pathOf(std::size_t file) const {
  std::string path;
  TqLibEmlFile volume(m_volume);
  if (!volume.GetVolumeFilename(static_cast<int>(file), path)) throw senseOf(volume);
  return path;
}

void Tape::makeFile(std::size_t file) {
  TqLibEmlFile volume(m_volume);
  unsigned char byte = 0;
  unsigned long count = 0;
  if (!volume.ReadDataForDrive(static_cast<int>(file), 0, &byte, 1, count)) throw senseOf(volume);
}

}  // namespace scsi

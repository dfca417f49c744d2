// Loading, extending and cutting the file of block lengths.
#include "BlockLengths.h"

#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "Disk.h"

namespace scsi {

BlockLengths::BlockLengths(std::string path) : m_path(std::move(path)) {
  if (!std::filesystem::exists(m_path)) return;
  std::ifstream in;
  if (std::filesystem::is_regular_file(m_path)) in.open(m_path);  // to open a FIFO would block
  if (!in.is_open()) throw kTargetFailure;
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    int file = 0;
    long long offset = 0;
    long long length = 0;
    if (words >> file >> offset >> length && offset >= 0 && length > 0) {
      m_lengths[{file, offset}] = length;
    }
  }
  if (in.bad()) throw kTargetFailure;
}

BlockLengths::Run BlockLengths::runAt(int file, long long offset) const {
  Run run{0, std::numeric_limits<long long>::max(), 0};
  const auto next = m_lengths.upper_bound({file, offset});
  if (next != m_lengths.end() && next->first.first == file) run.end = next->first.second;
  if (next == m_lengths.begin()) return run;
  const auto& [start, length] = *std::prev(next);
  return start.first == file ? Run{start.second, run.end, length} : run;
}

void BlockLengths::add(int file, long long offset, long long length) {
  const Run run = runAt(file, offset);
  if (length > 0 && run.length == length && (offset - run.start) % length == 0) return;
  std::fstream lines(m_path, std::ios::in | std::ios::app);
  char last = '\n';
  lines.seekg(-1, std::ios::end).get(last);
  lines.clear();                    // the file was empty
  if (last != '\n') lines << '\n';  // the disk was full within a line
  lines << file << ' ' << offset << ' ' << length << '\n';
  if (!lines.flush()) throw kWriteError;
  m_lengths[{file, offset}] = length;
}

void BlockLengths::cut(int file, long long offset) {
  const auto first = m_lengths.lower_bound({file, offset});
  if (first == m_lengths.end()) return;
  std::map kept(m_lengths.begin(), first);
  if (kept.empty()) {
    std::filesystem::remove(m_path);
  } else {
    const std::string temporary = m_path + ".new";
    std::ofstream out(temporary);
    for (const auto& [start, length] : kept) {
      out << start.first << ' ' << start.second << ' ' << length << '\n';
    }
    if (!out.flush()) throw kWriteError;
    forceToDisk(temporary);
    std::filesystem::rename(temporary, m_path);
  }
  m_lengths.swap(kept);
}

}  // namespace scsi

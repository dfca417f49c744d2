// Loading, extending and cutting the file of block lengths.
#include "BlockLengths.h"

#include <filesystem>
#include <fstream>
#include <limits>

#include "Sense.h"

namespace scsi {

BlockLengths::BlockLengths(std::string path) : m_path(std::move(path)) {
  std::ifstream in(m_path);
  int file = 0;
  long long offset = 0;
  long long length = 0;
  while (in >> file >> offset >> length && offset >= 0 && length > 0) {
    m_lengths[{file, offset}] = length;
  }
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
  std::ofstream out(m_path, std::ios::app);
  out << file << ' ' << offset << ' ' << length << '\n';
  if (!out.flush()) throw kWriteError;
  m_lengths[{file, offset}] = length;
}

void BlockLengths::cut(int file, long long offset) {
  const auto first = m_lengths.lower_bound({file, offset});
  if (first == m_lengths.end()) return;
  m_lengths.erase(first, m_lengths.end());
  if (m_lengths.empty()) {
    std::filesystem::remove(m_path);
    return;
  }
  const std::string temporary = m_path + ".new";
  std::ofstream out(temporary);
  for (const auto& [start, length] : m_lengths) {
    out << start.first << ' ' << start.second << ' ' << length << '\n';
  }
  if (!out.flush()) throw kWriteError;
  std::filesystem::rename(temporary, m_path);
}

}  // namespace scsi

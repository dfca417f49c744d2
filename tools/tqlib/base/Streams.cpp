// Reading and writing stops between two system calls when a signal was recorded.
#include "base/Streams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <sstream>

#include <boost/algorithm/string/trim.hpp>
#include <fmt/format.h>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLargestText = 64UL << 20;

FileDescriptor duplicate(int stream) {
  return FileDescriptor(fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

bool isStandardStream(const std::string& file) {
  return file.empty() || file == "-";
}

FileDescriptor openForReading(const std::string& file) {
  // A folder can be opened too, but not read.
  if (fs::is_directory(file)) throw systemFailure("cannot open " + file, EISDIR);
  FileDescriptor input = isStandardStream(file) ? duplicate(STDIN_FILENO)
                                                : FileDescriptor(openFile(file.c_str(), O_RDONLY));
  if (!input && errno == EINTR) stopIfInterrupted("nothing was read");
  if (!input) throw systemFailure("cannot open " + file, errno);
  return input;
}

std::size_t readBlock(int descriptor, std::span<char> block) {
  std::size_t filled = 0;
  while (filled < block.size() && interruption() == 0) {
    // A signal that arrives just before a read that blocks would not end it.
    pollfd input{descriptor, POLLIN, 0};
    if (poll(&input, 1, 100) <= 0) continue;
    const ssize_t count = read(descriptor, block.data() + filled, block.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw systemFailure("cannot read the input", errno);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

std::string readText(const std::string& file) {
  const FileDescriptor input = openForReading(file);
  std::string text(kLargestText + 1, '\0');
  text.resize(readBlock(input.get(), text));
  if (text.size() > kLargestText) {
    throw Failure(fmt::format("{} has more than {} MiB", file, kLargestText >> 20));
  }
  return text;
}

std::vector<std::string> readLines(const std::string& file) {
  std::string content = readText(file);
  if (content.starts_with("\xEF\xBB\xBF")) content.erase(0, 3);  // a byte order mark
  std::istringstream text(content);
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(boost::trim_copy(line));
  return lines;
}

OutputFile::OutputFile(const std::string& file) {
  if (isStandardStream(file)) {
    m_stream = duplicate(STDOUT_FILENO);
  } else if (fs::exists(file) && !fs::is_regular_file(file)) {
    m_stream = FileDescriptor(openFile(file.c_str(), O_WRONLY));
    if (!m_stream && errno == EINTR) stopIfInterrupted("nothing was written");
  } else {
    m_replaced.emplace(file);
    require(m_replaced->begin() && !m_replaced->temporary().empty());
    return;
  }
  if (!m_stream) throw systemFailure("cannot write " + file, errno);
}

void OutputFile::refuseInterrupted() const {
  stopIfInterrupted(m_replaced ? m_replaced->target() + " was not written"
                               : "the output is incomplete");
}

void OutputFile::require(bool isDone) const {
  if (isDone) return;
  const std::string& error = m_replaced->error();
  throw Failure(fmt::format("cannot write {}: {}", m_replaced->target(),
                            error.empty() ? "no new file can be created in its folder" : error));
}

void OutputFile::write(std::string_view block) {
  refuseInterrupted();
  if (m_replaced) return require(m_replaced->append(block));
  while (!block.empty()) {
    refuseInterrupted();
    const ssize_t count = ::write(m_stream.get(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EPIPE)
      throw Failure("the output is incomplete: its reader has ended",
                    "look why the program behind the pipe has ended");
    if (count < 0) throw systemFailure("cannot write the output", errno);
    block.remove_prefix(static_cast<std::size_t>(count));
  }
}

void OutputFile::commit() {
  refuseInterrupted();  // the data may end where the signal came
  if (m_replaced) require(m_replaced->finish() && m_replaced->commit());
}

void writeFile(const std::string& file, std::string_view content) {
  OutputFile output(file);
  output.write(content);
  output.commit();
}

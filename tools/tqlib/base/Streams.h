// Files and standard streams that commands read from and write to.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/Errors.h"
#include "common/FileDescriptor.h"
#include "files/ReplacedFile.h"

/// Whether a FILE argument means standard input or output.
bool isStandardStream(const std::string& file);

/// Opens a file, or a duplicate of standard input. Throws Failure.
FileDescriptor openForReading(const std::string& file);

/// Reads until `block` is full, the input ends or a signal is recorded, and returns the bytes read.
/// Throws Failure.
std::size_t readBlock(int descriptor, std::span<char> block);

/// All of a file, or of standard input, of at most 64 MiB. Throws Failure.
std::string readText(const std::string& file);

/// The lines of such a text, without white space around them.
std::vector<std::string> readLines(const std::string& file);

/// Where data goes: a regular file is replaced by commit(), so that a failure leaves the old one;
/// standard output, a pipe or a device is written to directly.
class OutputFile {
public:
  /// All functions throw Failure, or Interrupted when a signal was recorded.
  explicit OutputFile(const std::string& file);

  void write(std::string_view block);
  void commit();

private:
  void refuseInterrupted() const;
  void require(bool isDone) const;  ///< of the file that is replaced

  std::optional<ReplacedFile> m_replaced;
  FileDescriptor m_stream{-1};  ///< when no file is replaced
};

/// Writes all of a file. Throws as OutputFile does.
void writeFile(const std::string& file, std::string_view content);

// The tape in a drive: blocks and filemarks on a volume of the API, and a position between them.
//
// File N of a volume holds the bytes between filemark N - 1 and filemark N. So a tape with two
// filemarks has three files, of which the last one may be empty: it only stores that the second
// filemark is there. Sizes and block lengths are read when the tape is loaded and kept, because
// nobody else may write to the volume then. A block therefore costs one call.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "BlockLengths.h"

namespace scsi {

class Tape {
public:
  /// Some blocks of one length.
  struct Blocks {
    long long length;
    long long count;

    long long bytes() const { return length * count; }
  };

  /// Loads the volume; its position is the start. Throws Sense.
  explicit Tape(const std::string& volume);

  bool isAtStart() const { return m_file == 0 && m_at == 0; }
  bool isAtStartOfFile() const { return m_at == 0; }
  bool isAtEndOfFile() const { return m_at == sizeOf(m_file); }
  bool isAtEndOfData() const { return isAtEndOfFile() && m_file == lastFile(); }
  /// Whether the tape is beyond its configured size.
  bool isNearEnd() const { return m_sizeAtWarning && size() >= *m_sizeAtWarning; }

  int file() const { return m_file; }
  int lastFile() const { return static_cast<int>(m_sizes.size()) - 1; }

  /// Data of unknown block lengths has blocks of that length.
  void assume(long long length) { m_assumed = length; }

  /// The next blocks, up to one of another length or the end of the file; the last block of a file
  /// may be shorter. Not at the end of a file.
  Blocks ahead(long long most) const;

  // Positioning. The block and the place must exist.
  void toStartOf(int file);
  void toEndOf(int file);
  void skip(const Blocks& blocks) { m_at += blocks.bytes(); }
  void backOneBlock();
  /// The number of blocks and filemarks before the position.
  long long objectNumber() const;
  /// False if there are fewer; the position is the end of data then.
  bool locate(long long objectNumber);

  // Transfers move the position over what was transferred; what is behind something written is
  // gone. They throw Sense.
  void read(std::vector<unsigned char>& buffer, long long bytes);  ///< appends
  void write(const unsigned char* buffer, const Blocks& blocks);
  void writeFilemark();
  void eraseRest();
  /// Forces what was written since the last filemark to the disk.
  void sync();

private:
  long long size() const;
  long long sizeOf(int file) const { return m_sizes[static_cast<std::size_t>(file)]; }
  unsigned long long offset() const { return static_cast<unsigned long long>(m_at); }
  long long blocksBefore(int file, long long offset) const;
  BlockLengths::Run runAt(int file, long long offset) const;
  std::string pathOf(int file) const;
  void makeFile(int file);

  std::string m_volume;
  std::string m_folder;
  BlockLengths m_lengths;
  std::vector<long long> m_sizes;  ///< of the files, at least one
  int m_file = 0;
  long long m_at = 0;
  long long m_assumed;
  std::optional<long long> m_sizeAtWarning;
};

}  // namespace scsi

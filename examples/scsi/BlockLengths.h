// The lengths of a volume's blocks. A volume stores only the bytes between filemarks, but a host
// reads blocks as they were written. The lengths are in a text file beside the volume's folder,
// named by the volume with ".blocks" (the API would count a file in the folder to the volume):
//
//   0 0 80            from byte 0 of filemark 0, blocks of 80 bytes
//   1 0 65536         from byte 0 of filemark 1, blocks of 65,536 bytes,
//   1 655360 1024     and from byte 655,360, blocks of 1,024 bytes
//
// A line counts up to the next one of its filemark. The last block of a line may be shorter. Bytes
// before the first line of their filemark have no known length: another program wrote them. A line
// that is damaged is skipped.
#pragma once

#include <map>
#include <string>

namespace scsi {

class BlockLengths {
public:
  /// Blocks of one length: where they begin and, at most, end. Length 0: unknown.
  struct Run {
    long long start;
    long long end;
    long long length;
  };

  /// Throws Sense when the file is there but cannot be read: it may hold the lengths of good data.
  explicit BlockLengths(std::string path);

  /// The run of a byte.
  Run runAt(int file, long long offset) const;

  /// A block of that length is to be written. Called before, so that after a crash no block is
  /// without its length. Throws Sense.
  void add(int file, long long offset, long long length);

  /// Everything from there on is gone. Durable, unlike add(). Throws Sense; nothing changed then.
  void cut(int file, long long offset);

private:
  std::string m_path;
  std::map<std::pair<int, long long>, long long> m_lengths;  ///< by first byte
};

}  // namespace scsi

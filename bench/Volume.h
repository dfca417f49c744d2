// The volume that the block benchmarks use.
#pragma once

#include <string>
#include <vector>

#include "TqLibEmlFile.h"

namespace bench {

/// A volume of `files` filemarks. The first one is full of blocks, the others are small. Each
/// member works on the next block of the first filemark, starts again at its end, and throws on
/// failure.
class Volume {
public:
  Volume(const std::string& name, int files, std::size_t block);

  void read();
  void write();
  void directRead();
  void directWrite();
  void bareRead();
  void bareWrite();
  void bareReadWithLook();
  void bareWriteWithLook();

private:
  std::size_t next();
  void fill(int files);

  std::string m_name;
  TqLibEmlFile m_file;
  std::string m_folder;
  std::string m_path;
  std::vector<unsigned char> m_block;
  std::size_t m_offset = 0;
};

}  // namespace bench

// The volume that block benchmarks work on.
#pragma once

#include <string>
#include <vector>

#include "TqLibEmlFile.h"

namespace bench {

/// A volume of so many file marks. The first of them is full of blocks, which are read and written
/// one after the other, again and again; the others are small. Each step works on the next block,
/// and throws when it fails.
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

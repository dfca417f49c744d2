// Creates the volume's files once, then transfers blocks with the API or with system calls.

#include "Volume.h"

#include <filesystem>
#include <fstream>

#include "BareWork.h"
#include "Comparison.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFileSize = 16 << 20;
constexpr int kFileMark = 1;  // a write at the start of filemark 0 would erase the volume

}  // namespace

Volume::Volume(const std::string& name, int files, std::size_t block)
    : m_name(name), m_file(name), m_block(block, 'x') {
  require(m_file.GetVolumeFolder(m_folder) && m_file.GetVolumeFilename(kFileMark, m_path), name);
  if (!fs::exists(m_path)) {
    fill(files);
  }
}

void Volume::fill(int files) {
  for (int mark = kFileMark; mark < kFileMark + files; ++mark) {
    std::string path;
    require(m_file.GetVolumeFilename(mark, path), "making a filemark");
    std::ofstream(path) << 'x';
  }
  std::ofstream(m_path, std::ios::binary) << std::string(kFileSize, 'x');
}

std::size_t Volume::next() {
  const std::size_t offset = m_offset;
  m_offset = (m_offset + m_block.size()) % kFileSize;
  return offset;
}

void Volume::read() {
  unsigned long read = 0;
  require(m_file.ReadDataForDrive(kFileMark, next(), m_block.data(), m_block.size(), read) &&
              read == m_block.size(),
          "reading a block");
}

void Volume::write() {
  unsigned long written = 0;
  require(m_file.WriteDataForDrive(kFileMark, next(), m_block.data(), m_block.size(), written) &&
              written == m_block.size(),
          "writing a block");
}

void Volume::directRead() {
  unsigned long read = 0;
  int code = 0;
  require(DirectReadDataForDrive(m_name.c_str(), kFileMark, next(), m_block.data(), m_block.size(),
                                 &read, &code, nullptr, 0) == 1 &&
              read == m_block.size(),
          "reading a block");
}

void Volume::directWrite() {
  unsigned long written = 0;
  int code = 0;
  require(DirectWriteDataForDrive(m_name.c_str(), kFileMark, next(), m_block.data(), m_block.size(),
                                  &written, &code, nullptr, 0) == 1 &&
              written == m_block.size(),
          "writing a block");
}

void Volume::bareRead() {
  readBlock(m_path, static_cast<off_t>(next()), m_block.data(), m_block.size());
}

void Volume::bareWrite() {
  writeBlock(m_folder, m_path, static_cast<off_t>(next()), m_block.data(), m_block.size());
}

void Volume::bareReadWithLook() {
  lookAtConfiguration();
  bareRead();
}

void Volume::bareWriteWithLook() {
  lookAtConfiguration();
  bareWrite();
}

}  // namespace bench

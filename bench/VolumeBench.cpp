// Blocks of a tape, each beside the bare system calls on a volume of the same shape.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "BareWork.h"
#include "Pairs.h"
#include "TqLibEmlFile.h"

namespace {

constexpr std::size_t kBlock = 64 * 1024;
constexpr std::size_t kBlocks = 256;
constexpr int kFileMark = 1;  // a write at the start of file mark 0 would erase the volume

/// A volume of two file marks, the second of them full of blocks.
class Volume {
public:
  explicit Volume(const std::string& name) : m_file(name), m_buffer(kBlock, 'x') {
    m_file.GetVolumeFolder(m_folder);
    m_file.GetVolumeFilename(kFileMark, m_path);
    unsigned long written = 0;
    m_file.WriteDataForDrive(0, 0, m_buffer.data(), kBlock, written);
    for (std::size_t i = 0; i < kBlocks; ++i) {
      write();
    }
  }

  bool write() {
    unsigned long written = 0;
    return m_file.WriteDataForDrive(kFileMark, next(), m_buffer.data(), kBlock, written) &&
           written == kBlock;
  }

  bool read() {
    unsigned long read = 0;
    return m_file.ReadDataForDrive(kFileMark, next(), m_buffer.data(), kBlock, read) &&
           read == kBlock;
  }

  bool bareWrite() {
    bench::writeBlock(m_folder, m_path, static_cast<off_t>(next()), m_buffer.data(), kBlock);
    return true;
  }

  bool bareRead() {
    bench::readBlock(m_path, static_cast<off_t>(next()), m_buffer.data(), kBlock);
    return true;
  }

private:
  std::size_t next() { return m_next++ % kBlocks * kBlock; }

  TqLibEmlFile m_file;
  std::string m_folder;
  std::string m_path;
  std::vector<unsigned char> m_buffer;
  std::size_t m_next = 0;
};

bench::Body on(bool (Volume::*work)(), const char* name) {
  return [=](benchmark::State& state) {
    Volume volume(name);
    for (auto _ : state) {
      if (!(volume.*work)()) {
        state.SkipWithError("the call failed");
      }
    }
  };
}

}  // namespace

void bench::registerVolume() {
  pair("WriteDataForDrive/64KiB", on(&Volume::write, "CALL"), on(&Volume::bareWrite, "BARE"));
  pair("ReadDataForDrive/64KiB", on(&Volume::read, "CALL"), on(&Volume::bareRead, "BARE"));
}

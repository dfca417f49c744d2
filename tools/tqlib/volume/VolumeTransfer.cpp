#include "volume/VolumeTransfer.h"

#include <fcntl.h>

#include <span>
#include <vector>

#include "base/Errors.h"
#include "base/Interruption.h"

namespace fs = std::filesystem;

namespace {

// The result of a write is that of the measuring after it, so count and code are the judges.
void storeBlock(TqLibEmlFile& volume, int mark, unsigned long long& offset,
                std::span<const unsigned char> block) {
  while (!block.empty()) {
    unsigned long written = 0;
    const bool measured =
        volume.WriteDataForDrive(mark, offset, block.data(), block.size(), written);
    offset += written;  // which stays, also of a block that made the volume too large
    if (!measured || volume.getErrorCode() != 0 || written == 0) {
      throw libraryFailure("the transfer stopped at byte " + std::to_string(offset), volume);
    }
    block = block.subspan(written);
  }
}

// The library leaves the bytes beyond a written range alone: without this, a shorter file would be
// followed by the tail of a longer one before it. Emptying first rather than cutting afterwards
// means that a transfer that breaks off leaves no mixture either, and that the old bytes do not
// count against the volume's size.
void emptyMark(const std::string& path) {
  if (TqLibEmlFile::IsFilePresent(path)) fs::resize_file(path, 0);
}

// The library takes a write of no bytes for a failed one, and never makes a file by it.
void storeNothing(TqLibEmlFile& volume, int mark) {
  if (mark == 0 && !volume.EraseVolume()) {
    throw libraryFailure("the volume cannot be erased", volume);
  }
  unsigned char byte = 0;
  unsigned long count = 0;
  if (!volume.ReadDataForDrive(mark, 0, &byte, 1, count)) {
    throw libraryFailure("the file mark cannot be made", volume);
  }
}

}  // namespace

unsigned long long writeMark(TqLibEmlFile& volume, const MarkInput& input, Progress& progress) {
  std::vector<unsigned char> buffer(input.blockSize);
  // The input proves readable before the old data goes.
  std::size_t filled = readBlock(input.descriptor, buffer);
  if (filled == 0) stopIfInterrupted("nothing was written");
  input.beforeChange();
  emptyMark(markPath(volume, input.mark));
  if (filled == 0) storeNothing(volume, input.mark);

  unsigned long long offset = 0;
  while (filled > 0) {
    const auto block = std::span(buffer).first(filled);
    storeBlock(volume, input.mark, offset, block);
    if (input.checksum) input.checksum->update(block);
    progress.advance(filled);
    filled = readBlock(input.descriptor, buffer);
  }
  return offset;
}

// The library opens a file mark for writing even to read it, which a folder or a file system that
// is read-only does not allow.
unsigned long long readMark(const std::string& path, TargetFile& target, std::size_t blockSize,
                            Progress& progress) {
  const Descriptor input(openForReading(path));
  std::vector<unsigned char> buffer(blockSize);
  unsigned long long bytes = 0;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    target.write(std::span(buffer).first(filled));
    bytes += filled;
    progress.advance(filled);
  }
  return bytes;
}

// The larger a pipe is, the less often the two programs at its ends wait for each other.
void widenPipe(int descriptor) {
  constexpr int kMostForAnyUser = 1 << 20;
  fcntl(descriptor, F_SETPIPE_SZ, kMostForAnyUser);
}

std::string markPath(TqLibEmlFile& volume, int mark) {
  std::string path;
  if (!volume.GetVolumeFilename(mark, path)) {
    throw libraryFailure("the volume's folder cannot be made: " + path, volume);
  }
  return path;
}

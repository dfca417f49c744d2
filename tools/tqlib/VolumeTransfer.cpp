#include "VolumeTransfer.h"

#include <span>
#include <vector>

#include "Errors.h"

namespace fs = std::filesystem;

namespace {

// The result of a write is that of the measuring after it, so count and code are the judges.
void storeBlock(TqLibEmlFile& volume, int mark, unsigned long long& offset,
                std::span<const unsigned char> block) {
  while (!block.empty()) {
    unsigned long written = 0;
    const bool measured =
        volume.WriteDataForDrive(mark, offset, block.data(), block.size(), written);
    if (!measured || volume.getErrorCode() != 0 || written == 0) {
      throw libraryFailure("the transfer stopped at byte " + std::to_string(offset), volume);
    }
    offset += written;
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

unsigned long long writeMark(TqLibEmlFile& volume, int mark, int input, std::size_t blockSize,
                             Progress& progress) {
  std::vector<unsigned char> buffer(blockSize);
  // The input proves readable before the old data goes.
  std::size_t filled = readBlock(input, buffer);
  emptyMark(markPath(volume, mark));
  if (filled == 0) storeNothing(volume, mark);

  unsigned long long offset = 0;
  while (filled > 0) {
    storeBlock(volume, mark, offset, std::span(buffer).first(filled));
    progress.advance(filled);
    filled = readBlock(input, buffer);
  }
  return offset;
}

unsigned long long readMark(TqLibEmlFile& volume, int mark, TargetFile& target,
                            std::size_t blockSize, Progress& progress) {
  std::vector<unsigned char> buffer(blockSize);
  unsigned long long offset = 0;
  for (;;) {
    unsigned long count = 0;
    if (!volume.ReadDataForDrive(mark, offset, buffer.data(), buffer.size(), count)) {
      throw libraryFailure("the transfer stopped at byte " + std::to_string(offset), volume);
    }
    if (count == 0) return offset;
    target.write(std::span(buffer).first(count));
    offset += count;
    progress.advance(count);
  }
}

std::string markPath(TqLibEmlFile& volume, int mark) {
  std::string path;
  if (!volume.GetVolumeFilename(mark, path)) {
    throw libraryFailure("the volume's folder cannot be made: " + path, volume);
  }
  return path;
}

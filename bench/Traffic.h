// The traffic of one host on a catalogue that all hosts share: medium moves, inquiries, injected
// statuses, and the blocks of its tapes. Each answer is compared with the expected one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TqLibEmulator.h"

/// One host.
class Traffic {
public:
  /// Registers the common library, with a drive, slots and media for each host.
  static void registerLibrary(int hosts);

  /// The traffic of host `number`, with `files` tape files of `fileSize` bytes each.
  Traffic(int number, int files, std::uint64_t fileSize);

  /// Does one round of operations on the catalogue and on one tape file. False when an answer was
  /// wrong.
  bool round();

  /// Whether all media and blocks are where the rounds left them.
  bool isAllThere();

  /// The number of operations on the catalogue, and of bytes written to volumes.
  std::uint64_t operations() const { return m_operations; }
  std::uint64_t bytes() const { return m_bytes; }

private:
  bool expect(bool isRight, const char* what);  // for an operation, which is counted
  bool require(bool isRight, const char* what) const;
  bool moveRound();
  bool inquiryRound();
  bool statusRound();
  bool writeFile(int file);
  bool readFile(int file);
  void fill(int file, std::uint64_t block);
  bool move(int fromType, int from, int toType, int to);
  std::string volumeOf(int file) const;
  std::string barCode(int medium) const;

  int m_number;
  int m_files;
  std::uint64_t m_fileSize;
  int m_round = 0;
  std::uint64_t m_operations = 0;
  std::uint64_t m_bytes = 0;
  TqLibEmulator m_catalogue;
  std::vector<unsigned char> m_block;
};

// The traffic of one host on a catalogue that all hosts share: its robot moves, inquiries and
// injected statuses, and the blocks of its tapes. It knows what each answer has to be.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TqLibEmulator.h"

class Traffic {
public:
  /// Registers the hosts' common library, with a part of it for each of them.
  static void registerLibrary(int hosts);

  /// The traffic of host `number`: so many tape files, of so many bytes each, along with moves.
  Traffic(int number, int files, std::uint64_t fileSize);

  /// One round of operations on the catalogue and one tape file. False when an answer was wrong.
  bool round();

  /// Whether all that the rounds left is there: media, drives, blocks.
  bool isAllThere();

  /// Operations on the catalogue, and bytes written to volumes.
  std::uint64_t operations() const { return m_operations; }
  std::uint64_t bytes() const { return m_bytes; }

private:
  bool expect(bool isRight, const char* what);  // of an operation, which it counts
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

// Runs operations on a catalogue with one hostile file and checks the files after each operation.
#pragma once

#include <map>
#include <span>
#include <string>

#include "TqLibEmulator.h"

namespace fuzz {

/// The files of the catalogue directory by name, with their bytes.
using Files = std::map<std::string, std::string>;

/// An operation of the API.
struct Operation {
  const char* name;
  enum class Start { AsLeft, Restored } start;  ///< on the files as they are, or on the input
  enum class Kind { Reads, Changes } kind;
  bool (*run)(TqLibEmulator& emulator);
};

/// Runs `operations` in the catalogue of the process, which first receives `files`. The catalogue
/// directory is the working directory during the call. It is a finding when
/// - an operation that only reads, or one that fails, changes a file;
/// - the hostile file is changed although it is not well-formed;
/// - a file that an operation wrote cannot be parsed by the next one;
/// - a small file becomes a huge one when it is saved;
/// - a file remains that does not belong to the catalogue.
void runAll(const Files& files, const std::string& hostile, std::span<const Operation> operations);

/// Records of the library "L1" and its drive "D1", as the host "a" sees them.
SCSIUnitNoMap libraryRecord(const std::string& serial = "L1");
SCSIUnitNoMap driveRecord();

/// A valid file of the library `serial`, with its drive `drive`, which the hosts "a" and "b" see.
std::string validLibrary(const std::string& serial, const std::string& drive);

}  // namespace fuzz

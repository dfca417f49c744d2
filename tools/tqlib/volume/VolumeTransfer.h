// Transfers between a volume and the operator's files.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "TqLibEmlFile.h"
#include "base/Progress.h"
#include "base/Sha256.h"
#include "catalogue/TargetFile.h"

/// What a file mark is filled with.
struct MarkInput {
  int mark;
  int descriptor;
  std::size_t blockSize;
  /// Called when the input has proved readable and nothing has been changed yet.
  std::function<void()> beforeChange;
  Sha256* checksum;  ///< takes in what is written; may be null
};

/// Fills a file mark from its input until that ends or a signal is noted, and returns the bytes
/// written. What the file mark held is gone. Throws Failure, and Interrupted when a signal was
/// noted before anything was changed.
unsigned long long writeMark(TqLibEmlFile& volume, const MarkInput& input, Progress& progress);

/// Copies the file of a file mark to `target` until it ends or a signal is noted, and returns the
/// bytes read. Throws Failure.
unsigned long long readMark(const std::string& path, TargetFile& target, std::size_t blockSize,
                            Progress& progress);

/// Lets a pipe hold more, where `descriptor` is one.
void widenPipe(int descriptor);

/// The path of a file mark's file. Throws Failure. Makes the folder of a volume that has none.
std::string markPath(TqLibEmlFile& volume, int mark);

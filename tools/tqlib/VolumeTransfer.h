// Transfers between a volume and the operator's files.
#pragma once

#include <cstddef>
#include <string>

#include "Progress.h"
#include "TargetFile.h"
#include "TqLibEmlFile.h"

/// Fills a file mark from `input` until it ends, and returns the bytes written. What the file mark
/// held is gone. Throws Failure.
unsigned long long writeMark(TqLibEmlFile& volume, int mark, int input, std::size_t blockSize,
                             Progress& progress);

/// Copies a file mark, which must exist, to `target` and returns the bytes read. Throws Failure.
unsigned long long readMark(TqLibEmlFile& volume, int mark, TargetFile& target,
                            std::size_t blockSize, Progress& progress);

/// The path of a file mark's file. Throws Failure. Makes the folder of a volume that has none.
std::string markPath(TqLibEmlFile& volume, int mark);

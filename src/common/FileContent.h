// Reading a file into memory.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// The content of a regular file. A longer file than `most` bytes is cut, somewhere behind `most`.
///
/// No value, with errno set, when the file cannot be read or is not a regular file (see
/// openRegularFile() for the errors).
std::optional<std::string> contentOf(const std::string& path, std::size_t most = std::string::npos);

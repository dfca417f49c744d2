// Reading a file into memory.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// The content of a regular file. Of a file that is longer than `most` bytes, only a part is read,
/// which is also longer than `most`.
///
/// No value, with errno set, when the file cannot be read or is not a regular file (see
/// openRegularFile() for the errors).
std::optional<std::string> contentOf(const std::string& path, std::size_t most = std::string::npos);

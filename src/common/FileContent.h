// The whole content of a file.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// All bytes of a regular file, or the first of them when there are more than about `most`; no
/// value, and errno set, when they cannot be read. What is no regular file is refused as
/// openRegularFile() does it.
std::optional<std::string> contentOf(const std::string& path, std::size_t most = std::string::npos);

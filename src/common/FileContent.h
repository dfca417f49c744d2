// The whole content of a file.
#pragma once

#include <optional>
#include <string>

/// All bytes of a file; no value, and errno set, when they cannot be read.
std::optional<std::string> contentOf(const std::string& path);

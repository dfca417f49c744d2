// JSON of the operator, read without overlooking a mistake in it.
#pragma once

#include <string>

#include "base/Output.h"

/// Throws Failure, with line and column in `source`, for what is no JSON, and, with its path, for a
/// key that stands twice in one object.
Json parseStrictly(const std::string& text, const std::string& source);

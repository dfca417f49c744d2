// Writing to the embedder's log.
#pragma once

#include <string>

/// Logs an error; `origin` names the function that reports it. The first form allocates nothing.
void logError(const char* origin, const char* text);
void logError(const char* origin, const std::string& text);

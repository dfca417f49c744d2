// What commands print: sentences and tables for people, JSON for programs.
#pragma once

#include <iostream>
#include <string>
#include <vector>

#include "base/Json.h"

/// Prints `sentence`, or `values` as one JSON object when `json` is true. A command whose data goes
/// to standard output prints its result to std::cerr. Throws Failure when standard output cannot be
/// written.
void printResult(bool json, const Json& values, const std::string& sentence,
                 std::ostream& stream = std::cout);

/// "1 drive", "2 drives": `noun` in the singular.
std::string counted(unsigned long long count, const std::string& noun);

/// `word` as a shell reads it: in quotes where it needs them.
std::string shellWord(const std::string& word);

using Row = std::vector<std::string>;

/// Rows in columns; a character that cannot be shown is a question mark. No newline at the end.
std::string tableText(const std::vector<Row>& rows);

/// Prints a list of objects as a table of the values with these keys, or as a member of `values`. A
/// fraction is shown in percent, and of a list the first few; a key that none has is left out.
void printList(bool json, Json values, const char* name, const Json& list,
               std::vector<std::string> keys);

/// The first few, and how many more there are.
std::string shortList(const std::vector<std::string>& all);

/// "1234 bytes in 0.5 s (2.5 MB/s)"; a megabyte is 1,000,000 bytes.
std::string transferText(unsigned long long bytes, double seconds);

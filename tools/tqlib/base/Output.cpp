#include "base/Output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "base/Errors.h"
#include "base/ScreenText.h"

namespace {

// A path or a barcode on disk can hold bytes that are not UTF-8; they must not cost the answer.
std::string jsonText(const Json& values) {
  return values.dump(2, ' ', false, Json::error_handler_t::replace);
}

void printLine(const std::string& text) {
  std::cout << text << std::endl;
  if (!std::cout) throw Failure("standard output cannot be written");
}

std::vector<int> columnWidths(const std::vector<Row>& rows) {
  std::vector<int> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  return widths;
}

}  // namespace

void printResult(bool json, const Json& values, const std::string& sentence) {
  printLine(json ? jsonText(values) : sentence);
}

void printResultBesideData(bool json, const Json& values, const std::string& sentence) {
  std::cerr << (json ? jsonText(values) : sentence) << std::endl;
}

void printErrorJson(const Json& values) {
  std::cerr << jsonText(values) << std::endl;
}

std::string transferText(unsigned long long bytes, double seconds) {
  char text[128];
  const double rate = seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
  std::snprintf(text, sizeof text, "%llu bytes in %.3f s (%.1f MB/s)", bytes, seconds, rate);
  return text;
}

std::string tableText(const std::vector<Row>& rows) {
  const std::vector<int> widths = columnWidths(rows);
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += filledUp(row[i], widths[i], Charset::Utf8) + "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += (text.empty() ? "" : "\n") + line;
  }
  return text;
}

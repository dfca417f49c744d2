#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "ElementName.h"
#include "Errors.h"

namespace {

// A path or a barcode on disk can hold bytes that are not UTF-8; they must not cost the answer.
std::string jsonText(const Json& values) {
  return values.dump(2, ' ', false, Json::error_handler_t::replace);
}

void printLine(const std::string& text) {
  std::cout << text << std::endl;
  if (!std::cout) throw Failure("standard output cannot be written");
}

Json elementJson(const LibElement& element) {
  return {{"element", elementName(element)},
          {"type", elementTypeWord(element.elementType)},
          {"address", element.elementAddress},
          {"occupied", element.isOccupied},
          {"barcode", element.barCode}};
}

std::string padded(const std::string& text, std::size_t width) {
  return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

std::string elementTable(const std::vector<LibElement>& elements) {
  std::size_t width = 7;
  for (const LibElement& element : elements) width = std::max(width, elementName(element).size());

  std::ostringstream table;
  table << padded("ELEMENT", width) << "  STATE  BARCODE";
  for (const LibElement& element : elements) {
    table << '\n' << padded(elementName(element), width);
    table << (element.isOccupied ? "  full   " + element.barCode : "  empty");
  }
  return table.str();
}

}  // namespace

void printResult(bool json, const Json& values, const std::string& sentence) {
  printLine(json ? jsonText(values) : sentence);
}

void printResultBesideData(bool json, const Json& values, const std::string& sentence) {
  std::cerr << (json ? jsonText(values) : sentence) << std::endl;
}

void printElements(bool json, const std::string& library, const std::vector<LibElement>& elements) {
  if (!json) {
    printLine(elementTable(elements));
    return;
  }
  Json list = Json::array();
  for (const LibElement& element : elements) list.push_back(elementJson(element));
  printLine(jsonText({{"library", library}, {"elements", std::move(list)}}));
}

std::string transferText(unsigned long long bytes, double seconds) {
  char text[128];
  const double rate = seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
  std::snprintf(text, sizeof text, "%llu bytes in %.3f s (%.1f MB/s)", bytes, seconds, rate);
  return text;
}

// Printing results.
#include "base/Output.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Errors.h"
#include "base/Screen.h"

namespace {

std::string cellText(const Json& value) {
  if (value.is_string()) return value;
  if (value.is_null()) return "-";
  if (value.is_array()) return shortList(value);
  if (value.is_boolean()) return value ? "yes" : "no";
  return value.is_number_float() ? fmt::format("{:.0f} %", std::floor(value.get<double>() * 100))
                                 : value.dump();
}

}  // namespace

// A path or a barcode on disk can hold bytes that are not UTF-8; they are replaced.
void printResult(bool json, const Json& values, const std::string& sentence, std::ostream& stream) {
  stream << (json ? values.dump(2, ' ', false, Json::error_handler_t::replace) : sentence)
         << std::endl;
  if (!stream) throw systemFailure("standard output cannot be written", errno);
}

std::string counted(unsigned long long count, const std::string& noun) {
  if (count == 1) return "1 " + noun;
  if (noun == "medium") return fmt::format("{} media", count);
  if (noun == "shelf") return fmt::format("{} shelves", count);
  if (noun.ends_with('y')) return fmt::format("{} {}ies", count, noun.substr(0, noun.size() - 1));
  return fmt::format("{} {}s", count, noun);
}

std::string shellWord(const std::string& word) {
  constexpr char kPlain[] =
      "%+,-./0123456789:=@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  return "'" + boost::replace_all_copy(word, "'", "'\\''") + "'";
}

std::string tableText(const std::vector<Row>& rows) {
  std::vector<int> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
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

void printList(bool json, Json values, const char* name, const Json& list,
               std::vector<std::string> keys) {
  std::erase_if(keys, [&](const std::string& key) {
    return std::ranges::none_of(list, [&](const Json& object) { return object.contains(key); });
  });
  std::vector<Row> rows(1);
  for (const std::string& key : keys) rows.front().push_back(boost::to_upper_copy(key));
  for (const Json& object : list) {
    Row& row = rows.emplace_back();
    for (const std::string& key : keys)
      row.push_back(object.contains(key) ? cellText(object[key]) : "");
  }
  values[name] = list;
  printResult(json, values, list.empty() ? fmt::format("no {}", name) : tableText(rows));
}

std::string shortList(const std::vector<std::string>& all) {
  constexpr std::size_t kShown = 3;
  if (all.size() <= kShown) return fmt::format("{}", fmt::join(all, ", "));
  return fmt::format("{} and {} more", fmt::join(all.begin(), all.begin() + kShown, ", "),
                     all.size() - kShown);
}

std::string transferText(unsigned long long bytes, double seconds) {
  const double rate = seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0;
  return fmt::format("{} in {:.3f} s ({:.1f} MB/s)", counted(bytes, "byte"), seconds, rate);
}

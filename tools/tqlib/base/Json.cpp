// Reading JSON: a first pass looks for what the parser accepts silently, then values are taken out
// of the parsed document with their types and ranges checked.
#include "base/Json.h"

#include <cstdint>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Errors.h"

namespace {

constexpr std::size_t kDeepest = 100;
constexpr std::size_t kMostKeys = 100;  // each new key of an object is compared with all before

/// Where an inspection is: in an array at `index`, or in an object at `key`.
struct Level {
  bool isArray;
  long index = -1;
  std::string key{};
  std::set<std::string> keys{};
};

/// The parser itself keeps the last of two equal keys. Its callback could see both, but makes a
/// long list cost the square of its length.
class Inspection {
public:
  bool null() { return advance(); }
  bool boolean(bool) { return advance(); }
  bool number_integer(Json::number_integer_t) { return advance(); }
  bool number_unsigned(Json::number_unsigned_t) { return advance(); }
  bool number_float(Json::number_float_t, const std::string&) { return advance(); }
  bool string(const std::string&) { return advance(); }
  bool binary(const Json::binary_t&) { return advance(); }
  bool start_object(std::size_t) { return open({.isArray = false}); }
  bool start_array(std::size_t) { return open({.isArray = true}); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool parse_error(std::size_t, const std::string&, const Json::exception&) {
    return false;  // the parser reports it
  }

  bool key(const std::string& key) {
    Level& level = m_levels.back();
    level.key = key;
    if (!level.keys.insert(key).second) throw Failure(path() + ": the key appears twice");
    if (level.keys.size() > kMostKeys) throw Failure(path() + ": too many keys");
    return true;
  }

private:
  bool advance() {
    if (!m_levels.empty()) ++m_levels.back().index;
    return true;
  }

  bool open(Level level) {
    advance();
    if (m_levels.size() == kDeepest) throw Failure(path() + ": nested too deeply");
    m_levels.push_back(std::move(level));
    return true;
  }

  bool close() {
    m_levels.pop_back();
    return true;
  }

  std::string path() const {
    std::string text;
    for (const Level& level : m_levels) {
      text +=
          level.isArray ? fmt::format("[{}]", level.index) : (text.empty() ? "" : ".") + level.key;
    }
    return text;
  }

  std::vector<Level> m_levels;
};

}  // namespace

Json parseStrictly(const std::string& text, const std::string& source) {
  Inspection inspection;
  Json::sax_parse(text, &inspection);
  try {
    return Json::parse(text);
  } catch (const Json::exception& error) {
    const std::string message = error.what();
    const auto name = message.find("] ");  // the end of the exception's name
    throw Failure(source + ": " + (name == std::string::npos ? message : message.substr(name + 2)));
  }
}

void JsonPlace::refuse(const std::string& why) const {
  throw Failure(path.empty() ? why : path + ": " + why);
}

int JsonPlace::number(int least, int most) const {
  if (!value.is_number_integer()) refuse("expected an integer");
  const bool isHuge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT32_MAX;
  const auto found = value.get<std::int64_t>();
  if (isHuge || found < least || found > most) {
    refuse(fmt::format("{} is not from {} to {}", value.dump(), least, most));
  }
  return static_cast<int>(found);
}

std::string JsonPlace::text() const {
  if (!value.is_string()) refuse("expected a string");
  return value.get<std::string>();
}

std::vector<JsonPlace> JsonPlace::items() const {
  if (!value.is_array()) refuse("expected a list");
  std::vector<JsonPlace> list;
  list.reserve(value.size());
  for (const Json& item : value) list.push_back({item, fmt::format("{}[{}]", path, list.size())});
  return list;
}

JsonObject::JsonObject(const JsonPlace& place) : m_place(place) {
  if (!place.value.is_object()) place.refuse("expected an object");
}

std::string JsonObject::pathOf(const std::string& key) const {
  return m_place.path.empty() ? key : m_place.path + "." + key;
}

std::optional<JsonPlace> JsonObject::find(const std::string& key) {
  m_known.insert(key);
  const auto found = m_place.value.find(key);
  if (found == m_place.value.end()) return std::nullopt;
  return JsonPlace{*found, pathOf(key)};
}

void JsonObject::read(const std::string& key, std::string& value) {
  if (const auto found = find(key)) value = found->text();
}

void JsonObject::read(const std::string& key, int& value, int least, int most) {
  if (const auto found = find(key)) value = found->number(least, most);
}

void JsonObject::read(const std::string& key, std::optional<bool>& value) {
  const auto found = find(key);
  if (!found) return;
  if (!found->value.is_boolean()) found->refuse("expected true or false");
  value = found->value.get<bool>();
}

void JsonObject::refuseOtherKeys() const {
  for (const auto& [key, ignored] : m_place.value.items()) {
    if (m_known.contains(key)) continue;
    throw Failure(
        fmt::format("{}: unknown key; expected one of {}", pathOf(key), fmt::join(m_known, ", ")));
  }
}

// Reading JSON: a first pass finds what the parser accepts silently. Then values are read from the
// parsed document, and their types and ranges are checked.
#include "base/Json.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Errors.h"

namespace {

constexpr std::size_t kDeepest = 100;
constexpr std::size_t kMostKeys = 100;  // each new key of an object is compared with all before

// The parser keeps only the last of two equal keys, so the first pass keeps all keys. A callback of
// the parser would see both, but its time grows with the square of a list's length.
template <class Key, class T, class Less, class Allocator>
struct AllKeys : nlohmann::ordered_map<Key, T, Less, Allocator> {
  T& operator[](const Key& key) { return this->emplace_back(key, T{}).second; }
};
using JsonWithAllKeys = nlohmann::basic_json<AllKeys>;

void inspect(const JsonWithAllKeys& value, const std::string& path, std::size_t depth) {
  if (!value.is_structured()) return;
  if (depth == kDeepest) throw Failure(path + ": nested too deeply");
  std::set<std::string> keys;
  for (const auto& [key, item] : value.items()) {
    if (value.is_array()) {
      inspect(item, fmt::format("{}[{}]", path, key), depth + 1);
      continue;
    }
    const std::string place = path.empty() ? key : fmt::format("{}.{}", path, key);
    if (!keys.insert(key).second) throw Failure(place + ": the key appears twice");
    if (keys.size() > kMostKeys) throw Failure(place + ": too many keys");
    inspect(item, place, depth + 1);
  }
}

}  // namespace

Json parseStrictly(const std::string& text, const std::string& source) {
  try {
    inspect(JsonWithAllKeys::parse(text), "", 0);
    return Json::parse(text);
  } catch (const Json::exception& error) {
    const std::string message = error.what();
    // The exception's name, in brackets, comes first.
    throw Failure(source + ": " + message.substr(message.find("] ") + 2));
  }
}

void JsonPlace::refuse(const std::string& why) const {
  throw Failure(path.empty() ? why : path + ": " + why);
}

int JsonPlace::number(int least, int most) const {
  if (!value.is_number_integer()) refuse("expected an integer");
  const auto found = value.get<double>();  // exact for an int; no other integer becomes one
  if (found < least || found > most) {
    refuse(fmt::format("{} is not from {} to {}", value.dump(), least, most));
  }
  return static_cast<int>(found);
}

std::string JsonPlace::text() const {
  if (!value.is_string()) refuse("expected a string");
  return value.get<std::string>();
}

bool JsonPlace::isTrue() const {
  if (!value.is_boolean()) refuse("expected true or false");
  return value.get<bool>();
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

void JsonObject::refuseOtherKeys() const {
  for (const auto& [key, ignored] : m_place.value.items()) {
    if (m_known.contains(key)) continue;
    throw Failure(
        fmt::format("{}: unknown key; expected one of {}", pathOf(key), fmt::join(m_known, ", ")));
  }
}

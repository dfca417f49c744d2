#include "base/JsonObject.h"

#include <cstdint>

#include "base/Errors.h"

void JsonPlace::refuse(const std::string& why) const {
  throw Failure(path.empty() ? why : path + ": " + why);
}

int JsonPlace::number(int least, int most) const {
  if (!value.is_number_integer()) refuse("there has to be a whole number");
  const bool isHuge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT32_MAX;
  const auto found = value.get<std::int64_t>();
  if (isHuge || found < least || found > most) {
    refuse(value.dump() + " is not from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return static_cast<int>(found);
}

std::string JsonPlace::text() const {
  if (!value.is_string()) refuse("there has to be a text");
  return value.get<std::string>();
}

std::vector<JsonPlace> JsonPlace::items() const {
  if (!value.is_array()) refuse("there has to be a list");
  std::vector<JsonPlace> list;
  list.reserve(value.size());
  for (const Json& item : value) {
    list.push_back({item, path + "[" + std::to_string(list.size()) + "]"});
  }
  return list;
}

JsonObject::JsonObject(const JsonPlace& place) : m_place(place) {
  if (!place.value.is_object()) place.refuse("there has to be an object");
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
  if (!found->value.is_boolean()) found->refuse("there has to be true or false");
  value = found->value.get<bool>();
}

void JsonObject::refuseOtherKeys() const {
  for (const auto& [key, ignored] : m_place.value.items()) {
    if (m_known.contains(key)) continue;
    std::string known;
    for (const std::string& one : m_known) known += (known.empty() ? "" : ", ") + one;
    throw Failure(pathOf(key) + ": unknown key; there are " + known);
  }
}

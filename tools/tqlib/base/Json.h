// Strict reading of the operator's JSON: each mistake is an error. A value that does not fit is
// reported with its path.
#pragma once

#include <climits>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

/// Throws Failure for invalid JSON, with line and column in `source`. Throws it also, with the
/// path, for a key that appears twice in one object, too many keys, or too deep nesting.
Json parseStrictly(const std::string& text, const std::string& source);

/// A value and its path in the text. The functions throw Failure when the value does not fit.
struct JsonPlace {
  const Json& value;
  std::string path;

  /// Throws Failure, with the path.
  [[noreturn]] void refuse(const std::string& why) const;

  int number(int least, int most) const;
  std::string text() const;
  bool isTrue() const;
  std::vector<JsonPlace> items() const;
};

/// An object that is read key by key.
class JsonObject {
public:
  /// Throws Failure when the value is not an object.
  explicit JsonObject(const JsonPlace& place);

  std::optional<JsonPlace> find(const std::string& key);

  /// Leaves `value` as it is when there is no such key.
  void read(const std::string& key, std::string& value);
  void read(const std::string& key, int& value, int least = INT_MIN, int most = INT_MAX);

  /// Throws Failure when there is a key that was not read.
  void refuseOtherKeys() const;

private:
  std::string pathOf(const std::string& key) const;

  const JsonPlace m_place;
  std::set<std::string> m_known;
};

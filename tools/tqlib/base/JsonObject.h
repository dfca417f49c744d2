// One object of a JSON text, read key by key; what does not fit is told with its path.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "base/Output.h"

/// A value of the text, and its path there.
struct JsonPlace {
  const Json& value;
  std::string path;

  /// Throws Failure, with the path.
  [[noreturn]] void refuse(const std::string& why) const;

  /// Throws Failure unless it is a whole number from `least` to `most`.
  int number(int least, int most) const;
  std::string text() const;

  /// The items of a list. Throws Failure unless it is one.
  std::vector<JsonPlace> items() const;
};

/// Throws Failure when it is made of something else than an object.
class JsonObject {
public:
  explicit JsonObject(const JsonPlace& place);

  std::optional<JsonPlace> find(const std::string& key);

  /// Leaves `value` as it is when there is no such key.
  void read(const std::string& key, std::string& value);
  void read(const std::string& key, int& value, int least, int most);
  void read(const std::string& key, std::optional<bool>& value);

  /// Throws Failure when there is a key that nobody asked for.
  void refuseOtherKeys() const;

private:
  std::string pathOf(const std::string& key) const;

  const JsonPlace m_place;
  std::set<std::string> m_known;
};

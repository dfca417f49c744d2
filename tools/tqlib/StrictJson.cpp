#include "StrictJson.h"

#include <set>
#include <vector>

#include "Errors.h"

namespace {

constexpr std::size_t kDeepest = 100;

/// Follows the parser through the text. Of two equal keys the parser itself takes the last without
/// a word.
class PlaceInText {
public:
  bool operator()(Json::parse_event_t event, const Json& value) {
    switch (event) {
      case Json::parse_event_t::key:
        enter(value.get<std::string>());
        break;
      case Json::parse_event_t::object_start:
      case Json::parse_event_t::array_start:
        advance();
        open(event == Json::parse_event_t::array_start);
        break;
      case Json::parse_event_t::object_end:
      case Json::parse_event_t::array_end:
        m_levels.pop_back();
        break;
      case Json::parse_event_t::value:
        advance();
        break;
    }
    return true;
  }

private:
  struct Level {
    bool isArray;
    long index = -1;
    std::string key;
    std::set<std::string> keys;
  };

  void advance() {
    if (!m_levels.empty() && m_levels.back().isArray) ++m_levels.back().index;
  }

  void open(bool isArray) {
    if (m_levels.size() == kDeepest) throw Failure(path() + ": nested too deeply");
    m_levels.push_back({isArray, -1, {}, {}});
  }

  void enter(const std::string& key) {
    Level& level = m_levels.back();
    level.key = key;
    if (!level.keys.insert(key).second) throw Failure(path() + ": the key stands twice");
  }

  std::string path() const {
    std::string text;
    for (const Level& level : m_levels) {
      if (level.isArray) {
        text += "[" + std::to_string(level.index) + "]";
      } else {
        text += (text.empty() ? "" : ".") + level.key;
      }
    }
    return text;
  }

  std::vector<Level> m_levels;
};

/// The parser's message without the name of its exception.
std::string withoutName(const std::string& message) {
  const auto end = message.find("] ");
  return end == std::string::npos ? message : message.substr(end + 2);
}

}  // namespace

Json parseStrictly(const std::string& text, const std::string& source) {
  PlaceInText place;
  const auto follow = [&](int, Json::parse_event_t event, const Json& value) {
    return place(event, value);
  };
  try {
    return Json::parse(text, follow);
  } catch (const Json::exception& error) {
    throw Failure(source + ": " + withoutName(error.what()));
  }
}

#include "base/StrictJson.h"

#include <set>
#include <vector>

#include "base/Errors.h"

namespace {

constexpr std::size_t kDeepest = 100;
constexpr std::size_t kMostKeys = 100;

/// Goes through the text before it is parsed: of two equal keys the parser takes the last without a
/// word, and a callback that it asks makes a long list cost the square of its length.
class Inspection : public Json::json_sax_t {
public:
  bool null() override { return advance(); }
  bool boolean(bool) override { return advance(); }
  bool number_integer(number_integer_t) override { return advance(); }
  bool number_unsigned(number_unsigned_t) override { return advance(); }
  bool number_float(number_float_t, const string_t&) override { return advance(); }
  bool string(string_t&) override { return advance(); }
  bool binary(binary_t&) override { return advance(); }
  bool start_object(std::size_t) override { return open(false); }
  bool start_array(std::size_t) override { return open(true); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& key) override {
    Level& level = m_levels.back();
    level.key = key;
    if (!level.keys.insert(key).second) throw Failure(path() + ": the key stands twice");
    // Each key that is added to an object is looked for among those before.
    if (level.keys.size() > kMostKeys) throw Failure(path() + ": too many keys");
    return true;
  }

  /// The parser itself tells what is no JSON.
  bool parse_error(std::size_t, const std::string&, const Json::exception&) override {
    return false;
  }

private:
  struct Level {
    bool isArray;
    long index = -1;
    std::string key;
    std::set<std::string> keys;
  };

  bool advance() {
    if (!m_levels.empty() && m_levels.back().isArray) ++m_levels.back().index;
    return true;
  }

  bool open(bool isArray) {
    advance();
    if (m_levels.size() == kDeepest) throw Failure(path() + ": nested too deeply");
    m_levels.push_back({isArray, -1, {}, {}});
    return true;
  }

  bool close() {
    m_levels.pop_back();
    return true;
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
  Inspection inspection;
  Json::sax_parse(text, &inspection);
  try {
    return Json::parse(text);
  } catch (const Json::exception& error) {
    throw Failure(source + ": " + withoutName(error.what()));
  }
}

// A mutator that, half of the time, changes elements and attributes and keeps the XML well-formed.
// Random byte changes seldom pass the parser, so they would hardly reach the code behind it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

namespace {

using Random = std::minstd_rand;

struct Span {
  std::size_t begin, end;
};

struct Element {
  Span all, content;
};

/// Unexpected texts for values.
constexpr std::string_view kTexts[] = {"",
                                       " ",
                                       "0",
                                       "-1",
                                       "1000",
                                       "500",
                                       "2147483647",
                                       "-2147483648",
                                       "99999999999999999999",
                                       "true",
                                       "False",
                                       "BarCode",
                                       "L1",
                                       "D1",
                                       "T1",
                                       "a",
                                       "8",
                                       "&#9;",
                                       "&#10;",
                                       "&#xFFFD;",
                                       "&amp;lt;",
                                       "]]",
                                       "<![CDATA[T1]]>",
                                       "<!--T1-->",
                                       "<?T 1?>",
                                       "T1<x/>",
                                       "<x/>T1",
                                       "\xF0\x9F\x93\xBC"};

/// The elements that a simple scan finds; it need not find all of them.
std::vector<Element> elementsOf(const std::string& xml) {
  std::vector<Element> found;
  std::vector<Span> open;
  for (std::size_t begin = xml.find('<'); begin + 1 < xml.size();) {
    const std::size_t last = xml.find('>', begin);
    if (last == std::string::npos) {
      break;
    }
    const std::size_t end = last + 1;
    const char kind = xml[begin + 1];
    if (kind == '/' && !open.empty()) {
      found.push_back({{open.back().begin, end}, {open.back().end, begin}});
      open.pop_back();
    } else if (xml[last - 1] == '/') {
      found.push_back({{begin, end}, {end, end}});
    } else if (kind != '/' && kind != '?' && kind != '!') {
      open.push_back({begin, end});
    }
    begin = std::min(xml.find('<', end), xml.size());
  }
  return found;
}

std::size_t below(Random& random, std::size_t limit) {
  return random() % limit;
}

std::string textOf(const std::string& xml, const Span& span) {
  return xml.substr(span.begin, span.end - span.begin);
}

void replace(std::string& xml, const Span& span, std::string_view text) {
  xml.replace(span.begin, span.end - span.begin, text);
}

/// Sets one of the attributes in the start tag of `element`, if it has any.
void setAttribute(std::string& xml, const Element& element, Random& random) {
  std::vector<Span> values;
  for (std::size_t i = element.all.begin; i < element.content.begin; ++i) {
    const std::size_t close = xml[i] == '"' ? xml.find('"', i + 1) : std::string::npos;
    if (close < element.content.begin) {
      values.push_back({i + 1, close});
      i = close;
    }
  }
  const std::string_view text = kTexts[below(random, std::size(kTexts))];
  if (!values.empty() && text.find('<') == std::string_view::npos) {
    replace(xml, values[below(random, values.size())], text);
  }
}

void mutate(std::string& xml, const std::vector<Element>& elements, Random& random) {
  const Element& one = elements[below(random, elements.size())];
  const Element& other = elements[below(random, elements.size())];
  switch (below(random, 7)) {
    case 0:
      replace(xml, one.all, "");
      break;
    case 1:
      replace(xml, one.all, textOf(xml, one.all) + textOf(xml, one.all));
      break;
    case 2:
      replace(xml, one.all, textOf(xml, other.all));
      break;
    case 3:
      xml.insert(one.all.begin, textOf(xml, other.all));
      break;
    case 4:
      xml.insert(one.content.end, textOf(xml, other.all));
      break;
    case 5:
      replace(xml, one.content, kTexts[below(random, std::size(kTexts))]);
      break;
    default:
      setAttribute(xml, one, random);
      break;
  }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t room, unsigned int seed) {
  Random random(seed);
  if (below(random, 2) == 0) {
    return LLVMFuzzerMutate(data, size, room);
  }
  std::string xml(reinterpret_cast<const char*>(data), size);
  for (std::size_t rounds = 1 + below(random, 3); rounds > 0; --rounds) {
    if (const std::vector<Element> elements = elementsOf(xml); !elements.empty()) {
      mutate(xml, elements, random);
    }
  }
  if (xml.size() > room) {
    return LLVMFuzzerMutate(data, size, room);
  }
  std::copy(xml.begin(), xml.end(), data);
  return xml.size();
}

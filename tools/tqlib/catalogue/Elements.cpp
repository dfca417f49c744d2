// Names of elements, and the search for elements and media by address, serial number and barcode.
#include "catalogue/Elements.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include <fmt/ranges.h>

#include "base/Output.h"
#include "catalogue/Configuration.h"
#include "catalogue/LibraryContent.h"

namespace {

const std::pair<std::string, int> kTypes[] = {{"slot", LIB_ELEM_SLOT},
                                              {"mail", LIB_ELEM_MAIL_SLOT},
                                              {"drive", LIB_ELEM_DRIVE},
                                              {"shelf", LIB_ELEM_SHELF}};

/// The address at the front of `text`, which is removed from it; -1 when there is none.
int takeAddress(std::string_view& text) {
  int address = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), address);
  if (error != std::errc() || address < 0) return -1;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return address;
}

Failure noSuchElement(const std::string& library, const std::string& text) {
  return Failure(fmt::format("library {} has no {}", library, text),
                 fmt::format("\"tqlib elements {}\" lists the elements", library),
                 kElementNotFound);
}

}  // namespace

bool ElementSpan::contains(const LibElement& element) const {
  return element.elementType == type && element.elementAddress >= first &&
         element.elementAddress <= last;
}

std::optional<ElementSpan> spanOf(std::string_view text) {
  for (const auto& [word, type] : kTypes) {
    if (!text.starts_with(word + ":")) continue;
    text.remove_prefix(word.size() + 1);
    ElementSpan span{type, takeAddress(text), 0};
    span.last = span.first;
    if (text.starts_with('-')) {
      text.remove_prefix(1);
      span.last = takeAddress(text);
    }
    if (text.empty() && span.first >= 0 && span.last >= span.first) return span;
    break;
  }
  return std::nullopt;
}

LibElement parseElementName(const std::string& name) {
  const auto span = spanOf(name);
  if (!span || span->first != span->last) {
    throw UsageError(fmt::format("not an element: \"{}\"; write {} with the element address N",
                                 name, kElementForms));
  }
  LibElement element;
  element.elementType = span->type;
  element.elementAddress = span->first;
  return element;
}

std::string elementTypeWord(int type) {
  const auto* known = std::ranges::find(kTypes, type, &std::pair<std::string, int>::second);
  return known == std::end(kTypes) ? "unknown" : known->first;
}

std::string elementName(const LibElement& element) {
  return fmt::format("{}:{}", elementTypeWord(element.elementType), element.elementAddress);
}

bool isSlot(const LibElement& element) {
  return element.elementType == LIB_ELEM_SLOT || element.elementType == LIB_ELEM_MAIL_SLOT;
}

bool isSameElement(const LibElement& one, const LibElement& other) {
  return one.elementType == other.elementType && one.elementAddress == other.elementAddress;
}

std::string contentText(const LibElement& element) {
  if (!element.isOccupied) return elementName(element) + " is empty";
  return fmt::format("{} holds {}", elementName(element),
                     element.barCode.empty() ? "a medium without barcode" : element.barCode);
}

Inventory::Inventory(const std::string& library)
    : m_library(library), m_elements(inventory(library)) {
  for (LibElement& element : m_elements) {
    const std::pair place(element.elementType, element.elementAddress);
    if (!m_places.emplace(place, &element).second && place.second >= 0) {
      m_faulty[place] = "two elements are " + elementName(element);
    }
  }
  // For the API, an element that is marked empty has no barcode: a change would lose its medium.
  const ParsedFile file = readLibraryFile(library);
  for (const ElementContent& element : readLibrary(*file.document()).elements) {
    if (!element.address) continue;
    if (element.type == LIB_ELEM_DRIVE) m_drives.emplace(folded(element.serial), *element.address);
    if (element.isOccupied || element.barcode.empty()) continue;
    m_faulty[{element.type, *element.address}] =
        fmt::format("{}:{} is marked empty, but has the barcode {}", elementTypeWord(element.type),
                    *element.address, element.barcode);
  }
}

void Inventory::requireSound(int type, int address) const {
  const auto fault = m_faulty.find({type, address});
  if (fault == m_faulty.end()) return;
  throw Failure(fault->second,
                fmt::format("\"tqlib check {}\" shows what to do", shellWord(m_library)));
}

const LibElement* Inventory::find(int type, int address) const {
  requireSound(type, address);
  const auto found = m_places.find({type, address});
  return found == m_places.end() ? nullptr : found->second;
}

const LibElement& Inventory::locate(const std::string& text) const {
  const auto span = spanOf(text);
  if (span && span->first == span->last) {
    if (const LibElement* element = find(span->type, span->first)) return *element;
    throw noSuchElement(m_library, text);
  }
  if (text.starts_with("drive:")) {
    const auto drive = m_drives.find(folded(text.substr(text.find(':') + 1)));
    if (drive != m_drives.end()) {
      if (const auto* found = find(LIB_ELEM_DRIVE, drive->second)) return *found;
    }
    throw Failure(fmt::format("library {} has no {}", m_library, text),
                  fmt::format("\"tqlib drive list {}\" lists the drives", m_library));
  }
  if (text.empty() || std::ranges::any_of(kTypes, [&](const auto& known) {
        return text.starts_with(known.first + ":");
      })) {
    throw UsageError(
        fmt::format("neither an element nor a range with the lower address first: \"{}\"", text));
  }
  std::vector<std::string> places;
  const LibElement* found = nullptr;
  for (const LibElement& element : m_elements) {
    if (!element.isOccupied || element.barCode != text) continue;
    found = &element;
    places.push_back(elementName(element));
  }
  if (places.size() == 1) return *found;
  if (found == nullptr) {
    throw Failure(fmt::format("library {} has no medium {}", m_library, text),
                  fmt::format("write {}; or \"tqlib find {}\" looks in all libraries", kElementHelp,
                              shellWord(text)));
  }
  throw Failure(fmt::format("{} is in {}", text, fmt::join(places, " and in ")),
                "name the element; \"tqlib check\" shows media that are in two places");
}

std::vector<LibElement> Inventory::within(const std::string& text) const {
  const auto span = spanOf(text);
  if (!span || span->first == span->last) return {locate(text)};
  std::vector<LibElement> found;
  for (const LibElement& element : m_elements) {
    if (!span->contains(element)) continue;
    requireSound(element.elementType, element.elementAddress);
    found.push_back(element);
  }
  if (found.empty()) throw noSuchElement(m_library, text);
  return found;
}

std::pair<LibElement, LibElement> Inventory::move(const std::string& from, const std::string& to) {
  const LibElement& source = locate(from);
  const LibElement& destination = locate(to);
  requireMovable(source, destination);
  LibElement& left = *m_places.at({source.elementType, source.elementAddress});
  LibElement& taken = *m_places.at({destination.elementType, destination.elementAddress});
  taken.barCode = std::exchange(left.barCode, "");
  taken.isOccupied = std::exchange(left.isOccupied, false);
  return {left, taken};
}

const LibElement& Inventory::firstEmpty(int type) const {
  for (const auto& [place, element] : m_places) {
    const bool isEmpty = !element->isOccupied && !m_faulty.contains(place);
    if (place.first == type && place.second >= 0 && isEmpty) return *element;
  }
  throw Failure(fmt::format("library {} has no empty {}", m_library, elementTypeWord(type)),
                fmt::format("\"tqlib map {}\" shows what is where", shellWord(m_library)));
}

void requireMovable(const LibElement& from, const LibElement& to) {
  if (from.isOccupied && !to.isOccupied) return;
  const LibElement& obstacle = from.isOccupied ? to : from;
  throw Failure(fmt::format("cannot move {} to {}: {}", elementName(from), elementName(to),
                            contentText(obstacle)),
                "", from.isOccupied ? kDestinationOccupied : kSourceEmpty);
}

std::vector<MediumPlace> placesOf(const std::set<std::string>& barcodes,
                                  std::vector<std::string>* unread) {
  std::vector<MediumPlace> places;
  for (const std::string& library : storedLibraries()) {
    if (!mayHold(library, barcodes)) continue;
    try {
      const ParsedFile file = readLibraryFile(library);
      for (const ElementContent& element : readLibrary(*file.document()).elements) {
        if (!barcodes.contains(element.barcode)) continue;
        places.push_back({library,
                          {static_cast<LibElemType>(element.type), element.address.value_or(-1),
                           true, element.isOccupied, element.barcode}});
      }
    } catch (const RemovedLibrary&) {  // it has none
    } catch (const Failure&) {
      if (unread != nullptr) unread->push_back(library);
    }
  }
  return places;
}

void refuseMediaElsewhere(const std::set<std::string>& barcodes, const std::string& next,
                          const std::function<bool(const MediumPlace&)>& isAllowed) {
  std::vector<std::string> unread;
  const std::vector<MediumPlace> places = placesOf(barcodes, &unread);
  if (!unread.empty()) {
    throw Failure(
        fmt::format("library {} cannot be read, and may have that medium", unread.front()),
        !next.empty()
            ? next
            : fmt::format("\"tqlib check {}\" shows what is wrong", shellWord(unread.front())));
  }
  const auto found = std::ranges::find_if_not(places, isAllowed);
  if (found == places.end()) return;
  const std::string place = elementName(found->element);
  throw Failure(
      fmt::format("{} is in {} of library {}", found->element.barCode, place, found->library),
      !next.empty()
          ? next
          : fmt::format("\"tqlib element set {} {} --empty\" takes it out of the catalogue",
                        shellWord(found->library), place));
}

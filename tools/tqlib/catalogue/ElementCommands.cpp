// Names of elements, and tqlib element: lists the elements of a library, sets and removes them, and
// moves media.
//
// Refuses what the API accepts without a useful result: a second slot for one address, the removal
// of nothing.
#include <algorithm>
#include <charconv>

#include "catalogue/CatalogueCommands.h"
#include "files/XmlText.h"

namespace {

const std::pair<std::string, int> kTypes[] = {{"slot", LIB_ELEM_SLOT},
                                              {"mail", LIB_ELEM_MAIL_SLOT},
                                              {"drive", LIB_ELEM_DRIVE},
                                              {"shelf", LIB_ELEM_SHELF}};

struct Options {
  std::string library;
  std::string element;
  std::string destination;
  std::string barcode;
  bool empty = false;
};

void listElements(const Options& options, const Session& session) {
  Json list = Json::array();
  std::vector<Row> rows{{"ELEMENT", "STATE", "BARCODE"}};
  for (const LibElement& element : inventory(options.library)) {
    const std::string name = elementName(element);
    list.push_back({{"element", name},
                    {"type", elementTypeWord(element.elementType)},
                    {"address", element.elementAddress},
                    {"occupied", element.isOccupied},
                    {"barcode", element.barCode}});
    rows.push_back(
        {name, element.isOccupied ? "full" : "empty", element.isOccupied ? element.barCode : ""});
  }
  printResult(session.json, {{"library", options.library}, {"elements", std::move(list)}},
              tableText(rows));
}

/// Throws Failure when `wanted` cannot be set in a library of these elements.
void requireSettable(const std::vector<LibElement>& elements, const LibElement& wanted) {
  const LibElement* same = nullptr;
  for (const LibElement& element : elements) {
    if (element.elementAddress != wanted.elementAddress) continue;
    if (element.elementType == wanted.elementType) {
      same = &element;
    } else if (isSlot(element) && isSlot(wanted)) {
      throw Failure(fmt::format("cannot set {}: address {} belongs to {}", elementName(wanted),
                                wanted.elementAddress, elementName(element)));
    }
  }
  if (same == nullptr && wanted.elementType == LIB_ELEM_DRIVE) {
    throw Failure("no such drive: " + elementName(wanted), "\"tqlib drive add\" adds one");
  }
  // The API never replaces a text by one that is the name of its own XML element.
  const bool isOwnName = folded(wanted.barCode) == folded(toUtf8(names::barCode));
  if (same != nullptr && isOwnName && !same->barCode.empty() && same->barCode != wanted.barCode) {
    throw Failure(fmt::format("{} holds {}; only an empty element takes the barcode {}",
                              elementName(wanted), same->barCode, wanted.barCode));
  }
}

void setElement(const Options& options, const Session& session) {
  LibElement element = parseElementName(options.element);
  if (options.empty != options.barcode.empty()) {
    throw UsageError("give either --barcode or --empty");
  }
  element.isOccupied = !options.empty;
  element.barCode = options.barcode;
  asOneStep([&] {
    requireSettable(inventory(options.library), element);
    change("cannot set " + options.element, [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualLibraryElement(options.library, element, false);
    });
  });
  printResult(session.json,
              {{"library", options.library},
               {"element", elementName(element)},
               {"occupied", element.isOccupied},
               {"barcode", element.barCode}},
              options.element + (options.empty ? " is empty" : " holds " + options.barcode));
}

void removeElement(const Options& options, const Session& session) {
  const LibElement element = parseElementName(options.element);
  if (element.elementType == LIB_ELEM_DRIVE) {
    throw UsageError(options.element + " is a drive; \"tqlib drive remove\" removes it");
  }
  asOneStep([&] {
    const std::vector<LibElement> elements = inventory(options.library);
    const bool exists = std::ranges::any_of(
        elements, [&](const LibElement& one) { return isSameElement(one, element); });
    if (!exists) throw Failure("no such element: " + options.element);
    change("cannot remove " + options.element, [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualLibraryElement(options.library, element, true);
    });
  });
  printResult(session.json, {{"library", options.library}, {"removed", options.element}},
              options.element + " removed");
}

void moveMedium(const Options& options, const Session& session) {
  const LibElement from = parseElementName(options.element);
  const LibElement to = parseElementName(options.destination);
  requireLibrary(options.library);
  const std::string move = fmt::format("{} to {}", options.element, options.destination);
  change("cannot move " + move, [&](TqLibEmulator& emulator) {
    return emulator.MoveVirtualLibraryElement(
        options.library, from.elementType, from.elementAddress, to.elementType, to.elementAddress);
  });
  printResult(
      session.json,
      {{"library", options.library}, {"from", options.element}, {"to", options.destination}},
      fmt::format("{} moved to {}", options.element, options.destination));
}

void addList(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const auto [list, options] = addCommand(parent, session, texts, listElements);
  addLibraryOperand(list, options.library);
}

void addMove(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const std::string forms = std::string(": ") + kElementForms;
  const auto [move, options] = addCommand(parent, session, texts, moveMedium);
  addLibraryOperand(move, options.library);
  move.add_option("FROM", options.element, "Where the medium is" + forms)->required();
  move.add_option("TO", options.destination, "Where it goes" + forms)->required();
}

}  // namespace

LibElement parseElementName(const std::string& name) {
  LibElement element;
  for (const auto& [word, type] : kTypes) {
    if (!name.starts_with(word + ":")) continue;
    element.elementType = type;
    const char* end = name.data() + name.size();
    const auto [last, error] =
        std::from_chars(name.data() + word.size() + 1, end, element.elementAddress);
    if (error == std::errc() && last == end && element.elementAddress >= 0) return element;
  }
  throw UsageError(fmt::format("not an element: \"{}\"; write {} with the element address N", name,
                               kElementForms));
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

void addElementCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "element", "Elements of a library and their media");
  addList(group, session, {"list", "List the elements of a library", "tqlib element list LIB001"});
  addMove(group, session,
          {"move", "Move a medium to another element",
           "tqlib element move LIB001 slot:1000 drive:500"});
  addList(app, session, {"elements", "Short for \"element list\"", "tqlib elements LIB001 --json"});
  addMove(app, session,
          {"move", "Short for \"element move\"", "tqlib move LIB001 slot:1000 drive:500"});

  const auto [set, setting] =
      addCommand(group, session,
                 {"set", "Set what an element holds; creates missing slots and shelves",
                  "tqlib element set LIB001 slot:1002 --barcode A00004"},
                 setElement);
  addLibraryOperand(set, setting.library);
  set.add_option("ELEMENT", setting.element, kElementForms)->required();
  addText(set, "--barcode", setting.barcode, "Barcode of its medium");
  set.add_flag("--empty", setting.empty, "It holds no medium");

  const auto [remove, removal] =
      addCommand(group, session,
                 {"remove", "Remove a slot or a shelf", "tqlib element remove LIB001 slot:1007"},
                 removeElement);
  addLibraryOperand(remove, removal.library);
  remove.add_option("ELEMENT", removal.element, "slot:N, mail:N or shelf:N")->required();
}

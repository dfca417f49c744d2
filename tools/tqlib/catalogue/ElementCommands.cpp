// tqlib element list, set and remove, for one element or many in one step.
//
// The API sets what it is given. What an operator would regret is refused here: a second place for
// a medium, a medium that the catalogue forgets, an element that no host sees.
#include <algorithm>
#include <regex>

#include <boost/algorithm/string/trim.hpp>
#include <fnmatch.h>

#include "base/Streams.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Devices.h"
#include "catalogue/Elements.h"
#include "files/XmlText.h"

namespace {

struct Options {
  std::string library;
  std::string elements;
  std::string barcode;
  std::string barcodeFile;
  std::string barcodePattern;
  bool full = false;
  bool empty = false;
  bool replace = false;
  bool isNew = false;
  bool force = false;
};

// What is set

[[noreturn]] void tooMany() {
  throw UsageError(fmt::format("more than {} elements", kMostElements));
}

/// "A{00001..00060}L8": as many digits as the first number has.
std::vector<std::string> expanded(const std::string& pattern) {
  static const std::regex form(R"((.*)\{(\d{1,8})\.\.(\d{1,8})\}(.*))");
  std::smatch parts;
  if (!std::regex_match(pattern, parts, form)) {
    throw UsageError("--barcode-pattern takes a text such as A{00001..00060}L8, not " + pattern);
  }
  const int first = std::stoi(parts[2]);
  const int last = std::stoi(parts[3]);
  if (last - first >= kMostElements) tooMany();
  std::vector<std::string> barcodes;
  for (int number = first; number <= last; ++number) {
    barcodes.push_back(
        fmt::format("{}{:0{}}{}", parts[1].str(), number, parts[2].length(), parts[4].str()));
  }
  return barcodes;
}

/// The barcodes of the command line; empty with --empty.
std::vector<std::string> givenBarcodes(const Options& options) {
  const bool ways[] = {options.empty, !options.barcode.empty(), !options.barcodeFile.empty(),
                       !options.barcodePattern.empty()};
  if (std::ranges::count(ways, true) != 1) {
    throw UsageError("give one of --barcode, --barcodes, --barcode-pattern and --empty");
  }
  if (options.empty) return {};
  if (!options.barcode.empty()) return {options.barcode};
  if (!options.barcodePattern.empty()) return expanded(options.barcodePattern);
  std::vector<std::string> barcodes = readLines(options.barcodeFile);
  std::erase(barcodes, "");
  return barcodes;
}

/// The elements that are set, with what they will hold.
std::vector<LibElement> wantedElements(const Options& options, const Inventory& inventory,
                                       const std::vector<std::string>& barcodes) {
  std::vector<LibElement> wanted;
  if (const auto span = spanOf(options.elements)) {
    if (span->last - span->first >= kMostElements) tooMany();
    for (int i = 0; i <= span->last - span->first; ++i) {
      wanted.push_back({span->type, span->first + i, true, false, ""});
    }
  } else {
    wanted.push_back(inventory.locate(options.elements));
  }
  if (!options.empty && wanted.size() != barcodes.size()) {
    throw UsageError(fmt::format("{} for {}", counted(barcodes.size(), "barcode"),
                                 counted(wanted.size(), "element")));
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    wanted[i].isOccupied = !options.empty;
    wanted[i].barCode = options.empty ? "" : barcodes[i];
  }
  return wanted;
}

// What is refused

void requireReplaceable(const LibElement& known, const LibElement& wanted, bool replace) {
  if (!known.isOccupied || !wanted.isOccupied || known.barCode == wanted.barCode) return;
  if (!replace) {
    throw Failure(
        contentText(known),
        fmt::format("--replace takes {} out of the catalogue; its volume stays", known.barCode));
  }
  // The API never replaces a text by one that is the name of its own XML element.
  if (!known.barCode.empty() && folded(wanted.barCode) == folded(toUtf8(names::barCode))) {
    throw Failure(fmt::format("{}; only an empty element takes the barcode {}", contentText(known),
                              wanted.barCode));
  }
}

/// Refuses new elements that cannot be, and without --new those that no host would see.
void requireCreatable(const std::vector<LibElement>& created, const Inventory& inventory,
                      bool isNew) {
  if (created.empty()) return;
  const SCSIUnitFields library = devicesIn(inventory.library()).library.record;
  for (const LibElement& element : created) {
    const std::string none =
        fmt::format("library {} has no {}", inventory.library(), elementName(element));
    if (element.elementType == LIB_ELEM_DRIVE) {
      throw Failure(none, "\"tqlib drive add\" adds a drive");
    }
    const int otherKind = element.elementType == LIB_ELEM_SLOT ? LIB_ELEM_MAIL_SLOT : LIB_ELEM_SLOT;
    const LibElement* other = inventory.find(otherKind, element.elementAddress);
    if (isSlot(element) && other != nullptr) {
      throw Failure(fmt::format("{}: {} has that address", none, elementName(*other)));
    }
    const bool isSeen = std::ranges::any_of(kRanges, [&](const ElementRange& range) {
      const int offset = element.elementAddress - library.*range.base;
      return range.type == element.elementType && offset >= 0 && offset < library.*range.count;
    });
    if (!isSeen && !isNew) {
      throw Failure(none, isSlot(element)
                              ? "\"tqlib library resize\" adds slots; with --new, one is "
                                "made beyond those that hosts see"
                              : "--new makes one");
    }
  }
}

/// Refuses a barcode that no volume can have, and one that is, or comes, into a second place.
void requireUniqueMedia(const std::vector<LibElement>& wanted, const Inventory& inventory) {
  std::set<std::string> barcodes;
  std::set<std::pair<int, int>> places;
  for (const LibElement& element : wanted) {
    places.emplace(element.elementType, element.elementAddress);
    if (!element.isOccupied) continue;
    const std::string& barcode = element.barCode;
    std::string problem = volumeNameProblem(barcode);
    if (boost::trim_copy(barcode) != barcode) problem = "white space around it: " + barcode;
    if (problem.empty() && spanOf(barcode)) problem = "it is the name of an element: " + barcode;
    if (!problem.empty()) throw Failure("not a barcode: " + problem);
    if (!barcodes.insert(barcode).second) throw Failure(barcode + " is given twice");
  }
  if (barcodes.empty()) return;
  refuseMediaElsewhere(barcodes, "", [&](const MediumPlace& place) {
    const LibElement& element = place.element;
    return place.library == inventory.library() &&
           places.contains({element.elementType, element.elementAddress});
  });
}

// The commands

Json elementJson(const LibElement& element) {
  return {{"element", elementName(element)},
          {"type", elementTypeWord(element.elementType)},
          {"address", element.elementAddress},
          {"occupied", element.isOccupied},
          {"barcode", element.barCode}};
}

void listElements(const Options& options, const Session& session) {
  const Inventory inventory(options.library);
  const auto isListed = [&](const LibElement& element) {
    if ((options.full && !element.isOccupied) || (options.empty && element.isOccupied))
      return false;
    return options.barcode.empty() ||
           (element.isOccupied &&
            fnmatch(options.barcode.c_str(), element.barCode.c_str(), 0) == 0);
  };
  Json list = Json::array();
  std::vector<Row> rows{{"ELEMENT", "STATE", "BARCODE"}};
  for (const LibElement& element :
       options.elements.empty() ? inventory.elements() : inventory.within(options.elements)) {
    if (!isListed(element)) continue;
    list.push_back(elementJson(element));
    rows.push_back({elementName(element), element.isOccupied ? "full" : "empty",
                    element.isOccupied ? element.barCode : ""});
  }
  const std::string text = list.empty() ? "no such elements" : tableText(rows);
  printResult(session.json, {{"library", options.library}, {"elements", std::move(list)}}, text);
}

void setElements(const Options& options, const Session& session) {
  const std::vector<std::string> barcodes = givenBarcodes(options);
  std::vector<LibElement> wanted;
  std::vector<std::string> forgotten;
  asOneStep([&] {
    const Inventory inventory(options.library);
    wanted = wantedElements(options, inventory, barcodes);
    std::vector<LibElement> created;
    for (const LibElement& element : wanted) {
      const LibElement* known = inventory.find(element.elementType, element.elementAddress);
      if (known == nullptr) {
        created.push_back(element);
      } else {
        requireReplaceable(*known, element, options.replace);
        const bool isSame = known->barCode == element.barCode;
        if (known->isOccupied && !isSame) forgotten.push_back(known->barCode);
      }
    }
    requireCreatable(created, inventory, options.isNew);
    requireUniqueMedia(wanted, inventory);
    change("cannot set " + options.elements, [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualLibraryElement(options.library, wanted, false);
    });
  });
  const std::string before = forgotten.empty() ? "" : "; before: " + shortList(forgotten);
  Json values{{"library", options.library}};
  if (wanted.size() == 1) {
    const LibElement& element = wanted.front();
    values.update({{"element", elementName(element)},
                   {"occupied", element.isOccupied},
                   {"barcode", element.barCode}});
    return printResult(session.json, values, contentText(element) + before);
  }
  for (const LibElement& element : wanted) values["elements"].push_back(elementJson(element));
  const std::string content =
      options.empty ? "empty" : fmt::format("{} to {}", barcodes.front(), barcodes.back());
  printResult(session.json, values,
              fmt::format("{} elements set: {}{}", wanted.size(), content, before));
}

void removeElements(const Options& options, const Session& session) {
  std::vector<LibElement> removed;
  asOneStep([&] {
    removed = Inventory(options.library).within(options.elements);
    for (const LibElement& element : removed) {
      if (element.elementType == LIB_ELEM_DRIVE) {
        throw UsageError(elementName(element) + " is a drive; \"tqlib drive remove\" removes it");
      }
      if (element.isOccupied && !options.force) {
        throw Failure(contentText(element),
                      "--force takes its medium out of the catalogue, too; its volume stays");
      }
    }
    change("cannot remove " + options.elements, [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualLibraryElement(options.library, removed, true);
    });
  });
  const std::string text = removed.size() == 1 ? elementName(removed.front()) + " removed"
                                               : fmt::format("{} elements removed", removed.size());
  printResult(session.json, {{"library", options.library}, {"removed", options.elements}}, text);
}

void addList(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const auto [list, options] = addCommand(parent, session, listElements, texts);
  addLibraryOperand(list, options.library);
  list.add_option("ELEMENT", options.elements, kElementsHelp);
  auto* full = list.add_flag("--full", options.full, "Only elements with a medium");
  list.add_flag("--empty", options.empty, "Only elements without a medium")->excludes(full);
  addText(list, "--barcode", options.barcode, "Only barcodes of this pattern, such as 'A*L8'");
}

}  // namespace

void addElementCommands(CLI::App& app, Session& session) {
  CLI::App& group = addGroup(app, "element", "Elements of a library and their media");
  addList(group, session,
          {"list", "List the elements of a library", "tqlib element list LIB001 --full"});
  addList(app, session, {"elements", "Short for \"element list\"", "tqlib elements LIB001 --json"});

  const auto [set, setting] = addCommand(group, session, setElements,
                                         {"set", "Set what elements hold, in one step",
                                          "tqlib element set LIB001 slot:1002 --barcode A00004"});
  addLibraryOperand(set, setting.library);
  set.add_option("ELEMENT", setting.elements, kElementsHelp)->required();
  addText(set, "--barcode", setting.barcode, "Barcode of its medium");
  set.add_option("--barcodes", setting.barcodeFile,
                 "A file with a barcode in each line; - is standard input");
  addText(set, "--barcode-pattern", setting.barcodePattern,
          "Consecutive barcodes, such as A{00001..00060}L8");
  set.add_flag("--empty", setting.empty, "They hold no medium");
  set.add_flag("--replace", setting.replace,
               "Also where another medium is, which is taken out of the catalogue");
  set.add_flag(
      "--new", setting.isNew,
      "Also shelves and slots that do not exist; hosts see only those that the library announces");

  const auto [remove, removal] =
      addCommand(group, session, removeElements,
                 {"remove", "Remove slots or shelves", "tqlib element remove LIB001 slot:1007"});
  addLibraryOperand(remove, removal.library);
  remove.add_option("ELEMENT", removal.elements, kElementsHelp)->required();
  remove.add_flag("--force", removal.force,
                  "Remove full elements, too, and take their media out of the catalogue");

  addMediaCommands(app, group, session);
}

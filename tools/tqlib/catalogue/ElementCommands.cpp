// tqlib element: the inventory of a library and its changes.
#include <algorithm>

#include "TqLibEmulator.h"
#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueCommands.h"
#include "files/Names.h"
#include "files/XmlText.h"
#include "catalogue/Configuration.h"
#include "catalogue/ElementName.h"
#include "catalogue/Printing.h"

namespace {

struct Options {
  std::string library;
  std::string element;
  std::string destination;
  std::string barcode;
  bool empty = false;
};

using Elements = std::vector<LibElement>;

/// The element of that type and address; null when there is none.
const LibElement* find(const Elements& elements, const LibElement& wanted) {
  const auto found = std::find_if(elements.begin(), elements.end(), [&](const LibElement& element) {
    return element.elementType == wanted.elementType &&
           element.elementAddress == wanted.elementAddress;
  });
  return found == elements.end() ? nullptr : &*found;
}

// The library would make a second element for an address that the other kind of slot has.
void refuseTwinSlot(const Elements& elements, const LibElement& wanted) {
  for (const LibElement& element : elements) {
    if (isSlot(element) && isSlot(wanted) && element.elementType != wanted.elementType &&
        element.elementAddress == wanted.elementAddress) {
      throw Failure(elementName(wanted) + " cannot be set: the address is that of " +
                    elementName(element));
    }
  }
}

// The library never replaces a text by one that is the name of its own XML element.
void refuseElementsOwnName(const Elements& elements, const LibElement& wanted) {
  const LibElement* found = find(elements, wanted);
  if (found != nullptr && !found->barCode.empty() && found->barCode != wanted.barCode &&
      folded(wanted.barCode) == folded(toUtf8(names::barCode))) {
    throw Failure(elementName(wanted) + " holds " + found->barCode +
                  "; only an empty element takes the barcode " + wanted.barCode);
  }
}

Json changeJson(const std::string& library, const LibElement& element) {
  return {{"library", library},
          {"element", elementName(element)},
          {"occupied", element.isOccupied},
          {"barcode", element.barCode}};
}

void listElements(const Options& options, const Session& session) {
  useConfiguration(session.config);
  printElements(session.json, options.library, inventory(options.library));
}

void changeElement(const Options& options, const LibElement& element, bool remove,
                   const char* what) {
  TqLibEmulator emulator;
  if (!emulator.SetVirtualLibraryElement(options.library, element, remove)) {
    throw libraryFailure(options.element + " cannot be " + what, emulator);
  }
  requireSaved(emulator, options.element);
}

void setElement(const Options& options, const Session& session) {
  LibElement element = parseElementName(options.element);
  if (options.empty != options.barcode.empty()) {
    throw UsageError("give either --barcode or --empty");
  }
  element.isOccupied = !options.empty;
  element.barCode = options.barcode;
  useConfiguration(session.config);

  asOneStep([&] {
    const Elements elements = inventory(options.library);
    refuseTwinSlot(elements, element);
    refuseElementsOwnName(elements, element);
    if (element.elementType == LIB_ELEM_DRIVE && find(elements, element) == nullptr) {
      throw Failure("no such drive: " + options.element, "\"tqlib drive add\" makes one");
    }
    changeElement(options, element, false, "set");
  });
  printResult(session.json, changeJson(options.library, element),
              options.element + (options.empty ? " is empty" : " holds " + options.barcode));
}

void removeElement(const Options& options, const Session& session) {
  const LibElement element = parseElementName(options.element);
  if (element.elementType == LIB_ELEM_DRIVE) {
    throw UsageError(options.element + " is a drive; \"tqlib drive remove\" removes it");
  }
  useConfiguration(session.config);

  asOneStep([&] {
    // For the library it is a success to remove nothing, which would hide a mistyped address.
    if (find(inventory(options.library), element) == nullptr) {
      throw Failure("no such element: " + options.element);
    }
    changeElement(options, element, true, "removed");
  });
  printResult(session.json, {{"library", options.library}, {"removed", options.element}},
              options.element + " removed");
}

void moveMedium(const Options& options, const Session& session) {
  const LibElement from = parseElementName(options.element);
  const LibElement to = parseElementName(options.destination);
  useConfiguration(session.config);
  requireLibrary(options.library);

  TqLibEmulator emulator;
  if (!emulator.MoveVirtualLibraryElement(options.library, from.elementType, from.elementAddress,
                                          to.elementType, to.elementAddress)) {
    throw libraryFailure("cannot move " + options.element + " to " + options.destination, emulator);
  }
  requireSaved(emulator, "the move of " + options.element + " to " + options.destination);
  printResult(
      session.json,
      {{"library", options.library}, {"from", options.element}, {"to", options.destination}},
      options.element + " moved to " + options.destination);
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

void addChanges(CLI::App& group, Session& session) {
  const auto [set, setting] =
      addCommand(group, session,
                 {"set", "Say what an element holds; makes slots and shelves that are missing",
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

}  // namespace

void addElementCommands(CLI::App& app, Session& session) {
  CLI::App* group =
      app.add_subcommand("element", "Elements of a library and their media")->require_subcommand(1);
  addList(*group, session, {"list", "List the elements of a library", "tqlib element list LIB001"});
  addMove(*group, session,
          {"move", "Move a medium to another element",
           "tqlib element move LIB001 slot:1000 drive:500"});
  addChanges(*group, session);
  addList(app, session, {"elements", "Short for \"element list\"", "tqlib elements LIB001 --json"});
  addMove(app, session,
          {"move", "Short for \"element move\"", "tqlib move LIB001 slot:1000 drive:500"});
}

// tqlib element: the inventory of a library and its changes.
#include <algorithm>

#include "Catalogue.h"
#include "CatalogueNames.h"
#include "CommandSetup.h"
#include "Configuration.h"
#include "ElementName.h"
#include "Errors.h"
#include "Output.h"

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

// A change is a success to the library also when it could not be saved, so the catalogue is asked.
void verify(const std::string& library, const LibElement& wanted) {
  const Elements elements = inventory(library);
  const LibElement* saved = find(elements, wanted);
  if (saved == nullptr || saved->isOccupied != wanted.isOccupied) {
    throw notSaved(elementName(wanted));
  }
  if (saved->barCode == wanted.barCode) return;
  // The library never puts such a text in the place of another one.
  if (folded(wanted.barCode) == folded(names::kBarCode)) {
    throw Failure(elementName(wanted) + " holds " + saved->barCode +
                  "; only an empty element takes the barcode " + wanted.barCode);
  }
  throw notSaved("barcode " + wanted.barCode + " in " + elementName(wanted));
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

void setElement(const Options& options, const Session& session) {
  LibElement element = parseElementName(options.element);
  if (options.empty != options.barcode.empty()) {
    throw UsageError("give either --barcode or --empty");
  }
  element.isOccupied = !options.empty;
  element.barCode = options.barcode;
  useConfiguration(session.config);

  const Elements elements = inventory(options.library);
  refuseTwinSlot(elements, element);
  if (element.elementType == LIB_ELEM_DRIVE && find(elements, element) == nullptr) {
    throw Failure("no such drive: " + options.element, "\"tqlib drive add\" makes one");
  }
  TqLibEmulator emulator;
  if (!emulator.SetVirtualLibraryElement(options.library, element, false)) {
    throw libraryFailure(options.element + " cannot be set", emulator);
  }
  verify(options.library, element);
  printResult(session.json, changeJson(options.library, element),
              options.element + (options.empty ? " is empty" : " holds " + options.barcode));
}

void removeElement(const Options& options, const Session& session) {
  const LibElement element = parseElementName(options.element);
  if (element.elementType == LIB_ELEM_DRIVE) {
    throw UsageError(options.element + " is a drive; \"tqlib drive remove\" removes it");
  }
  useConfiguration(session.config);

  // The library takes the removal of nothing for a success, which would hide a mistyped address.
  if (find(inventory(options.library), element) == nullptr) {
    throw Failure("no such element: " + options.element);
  }
  TqLibEmulator emulator;
  if (!emulator.SetVirtualLibraryElement(options.library, element, true)) {
    throw libraryFailure(options.element + " cannot be removed", emulator);
  }
  if (find(inventory(options.library), element) != nullptr) {
    throw notSaved("the removal of " + options.element);
  }
  printResult(session.json, {{"library", options.library}, {"removed", options.element}},
              options.element + " removed");
}

void verifyMove(const Options& options, const LibElement& from, const LibElement& to) {
  const Elements elements = inventory(options.library);
  const LibElement* source = find(elements, from);
  const LibElement* destination = find(elements, to);
  if (source == nullptr || source->isOccupied || destination == nullptr ||
      !destination->isOccupied) {
    throw notSaved("the move of " + options.element + " to " + options.destination);
  }
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
  verifyMove(options, from, to);
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

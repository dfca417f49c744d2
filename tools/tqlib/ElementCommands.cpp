// tqlib elements, element and move: the inventory of a library and its changes.
#include <algorithm>
#include <memory>

#include "Catalogue.h"
#include "Commands.h"
#include "Configuration.h"
#include "ElementName.h"
#include "Errors.h"
#include "Output.h"
#include "Text.h"

namespace {

constexpr char kRefused[] = "refused; see the log";

struct Options {
  std::string library;
  std::string element;
  std::string destination;
  std::string barcode;
  bool empty = false;
};

bool holds(const std::vector<LibElement>& elements, int type, int address) {
  return std::any_of(elements.begin(), elements.end(), [=](const LibElement& element) {
    return element.elementType == type && element.elementAddress == address;
  });
}

// The library would make a second element for an address that the other kind of slot has.
void refuseTwinSlot(const std::vector<LibElement>& elements, const LibElement& wanted) {
  LibElement twin = wanted;
  if (wanted.elementType == LIB_ELEM_SLOT) {
    twin.elementType = LIB_ELEM_MAIL_SLOT;
  } else if (wanted.elementType == LIB_ELEM_MAIL_SLOT) {
    twin.elementType = LIB_ELEM_SLOT;
  } else {
    return;
  }
  if (holds(elements, twin.elementType, twin.elementAddress)) {
    throw Failure(elementName(wanted) + " cannot be set: the address is that of " +
                  elementName(twin));
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
  TqLibEmulator emulator;
  printElements(session.json, options.library, inventory(emulator, options.library));
}

void setElement(const Options& options, const Session& session) {
  LibElement element = parseElementName(options.element);
  if (options.empty != options.barcode.empty()) {
    throw UsageError("give either --barcode or --empty");
  }
  element.isOccupied = !options.empty;
  element.barCode = options.barcode;
  useConfiguration(session.config);

  TqLibEmulator emulator;
  const std::vector<LibElement> elements = inventory(emulator, options.library);
  refuseTwinSlot(elements, element);
  if (element.elementType == LIB_ELEM_DRIVE &&
      !holds(elements, element.elementType, element.elementAddress)) {
    throw Failure("no such drive: " + options.element + "; drives come with their library");
  }
  if (!emulator.SetVirtualLibraryElement(options.library, element, false)) {
    throw libraryFailure(options.element + " cannot be set", emulator, kRefused);
  }
  printResult(session.json, changeJson(options.library, element),
              options.element + (options.empty ? " is empty" : " holds " + options.barcode));
}

void removeElement(const Options& options, const Session& session) {
  const LibElement element = parseElementName(options.element);
  if (element.elementType == LIB_ELEM_DRIVE) {
    throw UsageError("drives are not removed as elements: " + options.element);
  }
  useConfiguration(session.config);

  TqLibEmulator emulator;
  // The library takes the removal of nothing for a success, which would hide a mistyped address.
  if (!holds(inventory(emulator, options.library), element.elementType, element.elementAddress)) {
    throw Failure("no such element: " + options.element);
  }
  if (!emulator.SetVirtualLibraryElement(options.library, element, true)) {
    throw libraryFailure(options.element + " cannot be removed", emulator, kRefused);
  }
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
    throw libraryFailure("cannot move " + options.element + " to " + options.destination, emulator,
                         kRefused);
  }
  printResult(
      session.json,
      {{"library", options.library}, {"from", options.element}, {"to", options.destination}},
      options.element + " moved to " + options.destination);
}

using Run = void (*)(const Options&, const Session&);

/// A command on a library; `options` lives as long as it.
CLI::App* addCommand(CLI::App& parent, Session& session, const char* name, const char* help,
                     const std::shared_ptr<Options>& options, Run run) {
  CLI::App* command = parent.add_subcommand(name, help);
  command->add_option("LIBRARY", options->library, "Serial number of the library")
      ->required()
      ->check(nameText());
  command->callback([options, run, &session] {
    session.action = [options, run, &session] { run(*options, session); };
  });
  return command;
}

void addElementGroup(CLI::App& app, Session& session) {
  CLI::App* group = app.add_subcommand("element", "One element")->require_subcommand(1);

  auto setting = std::make_shared<Options>();
  CLI::App* set = addCommand(*group, session, "set",
                             "Say what an element holds; makes slots and shelves that are missing",
                             setting, setElement);
  set->add_option("ELEMENT", setting->element, "slot:N, mail:N, drive:N or shelf:N")->required();
  set->add_option("--barcode", setting->barcode, "Barcode of its medium")->check(catalogueText());
  set->add_flag("--empty", setting->empty, "It holds no medium");

  auto removal = std::make_shared<Options>();
  CLI::App* remove =
      addCommand(*group, session, "remove", "Remove a slot or a shelf", removal, removeElement);
  remove->add_option("ELEMENT", removal->element, "slot:N, mail:N or shelf:N")->required();
}

}  // namespace

void addElementCommands(CLI::App& app, Session& session) {
  addCommand(app, session, "elements", "List the elements of a library",
             std::make_shared<Options>(), listElements);
  addElementGroup(app, session);

  auto options = std::make_shared<Options>();
  CLI::App* move =
      addCommand(app, session, "move", "Move a medium to another element", options, moveMedium);
  move->add_option("FROM", options->element, "Where the medium is")->required();
  move->add_option("TO", options->destination, "Where it goes")->required();
}

// tqlib library edit, drive edit and library resize: change what is there, and nothing else.
//
// An edit gives the API the whole present record with the new values. A resize changes the file
// itself: by the API, the announced number and the slots would be two saves.
#include <algorithm>
#include <set>

#include "catalogue/Configuration.h"
#include "catalogue/Elements.h"
#include "catalogue/LibraryContent.h"
#include "description/LibraryDescription.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

struct Options {
  const CLI::App* command = nullptr;
  std::string library;
  SCSIUnitFields device;  // the new values
  std::optional<int> slots;
  std::optional<int> mailSlots;
};

/// Takes the values that were given over into `record`. Returns whether there are any.
bool takeOver(const Options& options, std::span<const DeviceField> fields, SCSIUnitFields& record) {
  bool hasChanged = false;
  for (const DeviceField& field : fields) {
    const CLI::Option* option = options.command->get_option(std::string("--") + field.key);
    if (option->count() == 0) continue;
    // The API never replaces a text by one that is the name of its own XML element.
    if (folded(option->as<std::string>()) == folded(toUtf8(field.element))) {
      throw Failure("the catalogue cannot hold this value of " + option->get_name());
    }
    std::visit([&](auto member) { record.*member = options.device.*member; }, field.field);
    hasChanged = true;
  }
  return hasChanged;
}

void edit(const Options& options, const Session& session) {
  const std::string& library = options.library;
  const std::string& host = options.device.MAName;
  const bool isDrive = !options.device.SerialNumber.empty();
  SCSIUnit record;
  asOneStep([&] {
    const LibraryDevices devices = devicesIn(library);
    const Device& device =
        isDrive ? driveIn(devices, options.device.SerialNumber) : devices.library;
    if (device.hosts.empty()) throw Failure("no host sees " + device.record.SerialNumber);
    const SCSIUnitFields& unit = host.empty() ? device.hosts.front() : unitFor(device, host);
    record =
        isDrive ? unitOf(device.record, unit) : libraryUnit(device.record, devices.drives, unit);
    const bool hasAddressing = takeOver(options, kAddressing, record);
    if (hasAddressing && host.empty())
      throw UsageError("give --host: each host has its own path and address");
    if (!takeOver(options, kIdentity, record) && !hasAddressing) {
      throw UsageError("give what to change, such as --model");
    }
    change("cannot edit " + record.SerialNumber, [&](TqLibEmulator& emulator) {
      return emulator.UpdateVirtualDevice(record, isDrive ? library : "");
    });
  });
  Json values{{"library", library}};
  values.update(deviceJson(record));
  printResult(session.json, values, record.SerialNumber + " is changed");
}

DOMElement* newSlot(DOMDocument& document, int type, int address) {
  DOMElement* slot = newElement(&document, names::slots);
  slot->setAttribute(names::name, toXml(names::slotPrefix + std::to_string(address)).c_str());
  slot->setAttribute(names::isOccupied, names::falseText);
  slot->setAttribute(names::isMailSlot, boolText(type == LIB_ELEM_MAIL_SLOT));
  slot->appendChild(newElement(&document, names::baseAddress, toXml(address).c_str()));
  slot->appendChild(newElement(&document, names::barCode));
  return slot;
}

void resizeRange(DOMDocument& document, const SCSIUnitFields& library, const ElementRange& range,
                 int before) {
  const int count = library.*range.count;
  const int base = library.*range.base;
  if (count == before) return;
  DOMNode* parent = singleLibrary(&document);
  updateValues(&document, asElement(parent), range.countElement, std::to_string(count));
  DOMNode* next = nullptr;  // new slots go before it
  std::set<int> present;    // where slots are to be added
  std::vector<std::string> full;
  for (const ElementContent& element : readLibrary(document).elements) {
    if (!element.address || element.type == LIB_ELEM_SHELF) continue;
    const int offset = *element.address - base;
    const bool isSlot = element.type == range.type;
    if (isSlot && offset < before) {
      parent = element.node->getParentNode();
      next = element.node->getNextSibling();
    }
    if (offset < std::min(before, count) || offset >= std::max(before, count)) continue;
    const std::string name = fmt::format("{}:{}", elementTypeWord(element.type), *element.address);
    if (count > before) {
      if (!isSlot) throw Failure(name + " has an address that the slots need");
      present.insert(*element.address);
    } else if (isSlot) {
      if (element.isOccupied || !element.barcode.empty())
        full.push_back(fmt::format("{} holds {}", name, element.barcode));
      removeFrom(*parent, element.node);
    }
  }
  if (!full.empty()) {
    throw Failure("cannot remove full slots: " + shortList(full),
                  fmt::format("\"tqlib elements {} --empty\" shows where the media can go",
                              library.SerialNumber));
  }
  for (int address = base + before; address < base + count; ++address) {
    if (present.contains(address)) continue;
    parent->insertBefore(newSlot(document, range.type, address), next);
  }
}

void resize(const Options& options, const Session& session) {
  const std::string& library = options.library;
  if (!options.slots && !options.mailSlots) throw UsageError("give --slots, --mail-slots or both");
  requireLibrary(library);
  SCSIUnitFields record;
  changeFile(libraryFile(library), nullptr, [&](DOMDocument& document) {
    record = devicesIn(&document, library).library.record;
    const SCSIUnitFields before = record;
    record.SlotCount = options.slots.value_or(record.SlotCount);
    record.IEPortCount = options.mailSlots.value_or(record.IEPortCount);
    checkRanges(record);
    resizeRange(document, record, kMailRange, before.IEPortCount);
    resizeRange(document, record, kSlotRange, before.SlotCount);
    return true;
  });
  printResult(
      session.json,
      {{"library", library}, {"slots", record.SlotCount}, {"mailSlots", record.IEPortCount}},
      fmt::format("library {} has {}", library, sizeText(record)));
}

Command<Options> addEdit(CLI::App& app, const char* group, Session& session, const char* help,
                         const char* example) {
  const auto added = addCommand(*app.get_subcommand(group), session, edit, {"edit", help, example});
  added.options.command = &added.app;
  addLibraryOperand(added.app, added.options.library);
  addDeviceOptions(added.app, added.options.device, "The new ");
  addText(added.app, "--host", added.options.device.MAName,
          "The host whose path, port, bus, target or LUN changes");
  return added;
}

}  // namespace

void addChangeCommands(CLI::App& app, Session& session) {
  addEdit(app, "library", session, "Change a library's identity, or how a host sees it",
          "tqlib library edit LIB001 --model VL-9 --firmware 2.0");
  const auto drive =
      addEdit(app, "drive", session, "Change a drive's identity, or how a host sees it",
              "tqlib drive edit LIB001 LIB001D1 --host host-a --path /dev/nst3");
  addDriveOperand(drive.app, drive.options.device.SerialNumber);
  const auto [command, options] =
      addCommand(*app.get_subcommand("library"), session, resize,
                 {"resize", "Give a library more or fewer slots, at the end of their addresses",
                  "tqlib library resize LIB001 --slots 60 --mail-slots 4"});
  addLibraryOperand(command, options.library);
  command.add_option("--slots", options.slots, "Number of slots")->check(CLI::Range(kMostElements));
  command.add_option("--mail-slots", options.mailSlots, "Number of mail slots")
      ->check(CLI::Range(kMostElements));
}

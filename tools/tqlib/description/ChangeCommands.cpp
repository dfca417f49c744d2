// tqlib library edit, drive edit and library resize: change what is there, and nothing else.
//
// An edit gives the API the whole present record with the new values. A resize changes the file
// itself: by the API, the announced number and the slots would be two saves.
#include <algorithm>

#include "catalogue/Configuration.h"
#include "catalogue/Elements.h"
#include "catalogue/LibraryContent.h"
#include "description/LibraryDescription.h"
#include "files/Documents.h"
#include "files/XmlText.h"

namespace {

using xercesc::DOMDocument;
using xercesc::DOMElement;

struct EditOptions {
  const CLI::App* command = nullptr;
  std::string library;
  SCSIUnitFields device;  // the new values; without a serial number, of the library itself
};

struct SizeOptions {
  std::string library;
  std::optional<int> slots;
  std::optional<int> mailSlots;
};

/// Takes the values that were given over into `record`. Returns them as text.
std::string takeOver(const EditOptions& options, std::span<const DeviceField> fields,
                     SCSIUnitFields& record) {
  std::string text;
  for (const DeviceField& field : fields) {
    const std::string option = fmt::format("--{}", field.key);
    if (options.command->count(option) == 0) continue;
    if (fields.data() == kAddressing && options.device.MAName.empty()) {
      throw UsageError(option + " needs --host: each host has its own");
    }
    std::visit([&](auto member) { record.*member = options.device.*member; }, field.field);
    const std::string value = options.command->get_option(option)->results().back();
    // The API never replaces a text by one that is the name of its own XML element.
    if (folded(value) == folded(toUtf8(field.element))) {
      throw Failure(fmt::format("the catalogue cannot hold this value of {}: {}", option, value));
    }
    text += fmt::format(", {} {}", field.key, value);
  }
  return text;
}

void edit(const EditOptions& options, const Session& session) {
  const bool isDrive = !options.device.SerialNumber.empty();
  const std::string device =
      isDrive ? "drive " + options.device.SerialNumber : "library " + options.library;
  const std::string& serial = isDrive ? options.device.SerialNumber : options.library;
  SCSIUnit record;
  std::string changes;
  asOneStep([&] {
    const std::vector<SCSIUnitNoMap> seen = devicesOf(options.library, options.device.MAName);
    const auto found = std::ranges::find(seen, serial, &SCSIUnitNoMap::SerialNumber);
    if (found == seen.end())
      throw Failure(fmt::format("no such {}, or the host does not see it", device),
                    "\"tqlib drive list\" lists the drives and their hosts");
    record = *found;
    std::erase_if(record.DriveIdentifierMap, [](const auto& drive) { return drive.first < 1; });
    changes = takeOver(options, kIdentity, record) + takeOver(options, kAddressing, record);
    if (changes.empty()) throw UsageError("give what to change, such as --model");
    change("cannot edit " + device, [&](TqLibEmulator& emulator) {
      return emulator.UpdateVirtualDevice(record, isDrive ? options.library : "");
    });
  });
  Json values{{"library", options.library}};
  values.update(deviceJson(record));
  printResult(session.json, values, fmt::format("{} has{}", device, changes.substr(1)));
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

void removeSlots(const std::map<int, const ElementContent*>& slots) {
  std::vector<std::string> full;
  for (const auto& [address, slot] : slots) {
    if (slot->isOccupied) full.push_back(fmt::format("{} in {}", slot->barcode, address));
    removeFrom(*slot->node->getParentNode(), slot->node);
  }
  if (full.empty()) return;
  throw Failure(fmt::format("cannot remove slots that hold {}: {}", counted(full.size(), "medium"),
                            shortList(full)),
                "\"tqlib move\" moves them to other slots");
}

void resizeRange(DOMDocument& document, SCSIUnitFields& library, const ElementRange& range,
                 int count) {
  const int before = std::exchange(library.*range.count, count);
  const int base = library.*range.base;
  checkRanges(library);
  const LibraryContent content = readLibrary(document);
  std::map<int, const ElementContent*> changed;  // at the addresses that come or go
  DOMElement* last = nullptr;                    // before those; new slots follow it
  for (const ElementContent& element : content.elements) {
    if (!element.address || element.type == LIB_ELEM_SHELF) continue;
    const int offset = *element.address - base;
    if (element.type == range.type && offset < before) last = element.node;
    if (offset < std::min(before, count) || offset >= std::max(before, count)) continue;
    if (element.type != range.type) {
      throw Failure(fmt::format("address {} belongs to a {}", *element.address,
                                elementTypeWord(element.type)));
    }
    changed[*element.address] = &element;
  }
  if (count < before) removeSlots(changed);
  DOMElement& parent = *singleLibrary(&document);
  for (int address = base + before; address < base + count; ++address) {
    if (changed.contains(address)) continue;
    DOMElement* slot = newSlot(document, range.type, address);
    parent.insertBefore(slot, last == nullptr || last->getParentNode() != &parent
                                  ? nullptr
                                  : last->getNextSibling());
    last = slot;
  }
  updateValues(&document, &parent, range.countElement, std::to_string(count));
}

void resize(const SizeOptions& options, const Session& session) {
  const std::string& library = options.library;
  if (!options.slots && !options.mailSlots) throw UsageError("give --slots, --mail-slots or both");
  requireLibrary(library);
  SCSIUnitFields record;
  changeFile(libraryFile(library), nullptr, [&](DOMDocument& document) {
    record = devicesIn(&document, library).library.record;
    if (options.mailSlots) resizeRange(document, record, kMailRange, *options.mailSlots);
    if (options.slots) resizeRange(document, record, kSlotRange, *options.slots);
    return true;
  });
  printResult(
      session.json,
      {{"library", library}, {"slots", record.SlotCount}, {"mailSlots", record.IEPortCount}},
      fmt::format("library {} has {}", library, sizeText(record)));
}

Command<EditOptions> addEdit(CLI::App& app, const char* group, Session& session,
                             const CommandTexts& texts) {
  const auto added = addCommand(*app.get_subcommand(group), session, texts, edit);
  added.options.command = &added.app;
  addLibraryOperand(added.app, added.options.library);
  addDeviceOptions(added.app, added.options.device, "The new ");
  addText(added.app, "--host", added.options.device.MAName,
          "The host whose path, port, bus, target or logical unit is meant");
  return added;
}

}  // namespace

void addChangeCommands(CLI::App& app, Session& session) {
  addEdit(app, "library", session,
          {"edit", "Change a library's identity, or how a host sees it",
           "tqlib library edit LIB001 --model VL-9 --firmware 2.0"});
  const auto [drive, edited] =
      addEdit(app, "drive", session,
              {"edit", "Change a drive's identity, or how a host sees it",
               "tqlib drive edit LIB001 LIB001D1 --host host-a --path /dev/nst3"});
  addDriveOperand(drive, edited.device.SerialNumber);
  const auto [command, options] =
      addCommand(*app.get_subcommand("library"), session,
                 {"resize", "Give a library more or fewer slots, at the end of their addresses",
                  "tqlib library resize LIB001 --slots 60 --mail-slots 4"},
                 resize);
  addLibraryOperand(command, options.library);
  command.add_option("--slots", options.slots, "Number of slots")->check(CLI::Range(kMostElements));
  command.add_option("--mail-slots", options.mailSlots, "Number of mail slots")
      ->check(CLI::Range(kMostElements));
}

// tqlib find, load, unload and move: where media are, and how they go from one element to another.
#include <algorithm>
#include <filesystem>

#include <boost/algorithm/string/trim.hpp>

#include "base/Streams.h"
#include "catalogue/CatalogueCommands.h"
#include "catalogue/Elements.h"
#include "catalogue/VolumeFiles.h"

namespace {

struct Options {
  std::string library;
  std::string from;
  std::string to;
  std::string file;
};

struct FindOptions {
  std::vector<std::string> barcodes;
};

using Move = std::pair<LibElement, LibElement>;  // from, to

/// Moves a medium. The library is read only when the API refuses, to say why: the API's own text
/// has types and addresses.
void callMove(const std::string& library, const Move& move) {
  const LibElement& from = move.first;
  const LibElement& to = move.second;
  const std::string what = fmt::format("cannot move {} to {}", elementName(from), elementName(to));
  try {
    change(what, [&](TqLibEmulator& emulator) {
      return emulator.MoveVirtualLibraryElement(library, from.elementType, from.elementAddress,
                                                to.elementType, to.elementAddress);
    });
  } catch (const Failure& failure) {
    const Inventory now(library);
    requireMovable(now.locate(elementName(from)), now.locate(elementName(to)));
    const bool isRefused =
        std::string(failure.what()).find("Failed to move element") != std::string::npos;
    if (!isRefused && failure.code != kSourceEmpty && failure.code != kDestinationOccupied) throw;
    throw Failure(what + ": one of them is marked empty but has a barcode, or has none",
                  fmt::format("\"tqlib check {}\" shows which", library));
  }
}

/// Moves between two addresses, without a look at what is there.
Move moveByAddress(const Options& options) {
  Move move{parseElementName(options.from), parseElementName(options.to)};
  requireLibrary(options.library);
  asOneStep([&] { callMove(options.library, move); });
  return move;
}

enum class Way { Any, Load, Unload };

/// Moves between elements in any form; a load and an unload know where to without TO.
Move moveByContent(const Options& options, Way way) {
  Move move;
  asOneStep([&] {
    const Inventory inventory(options.library);
    const LibElement& from = inventory.locate(options.from);
    const bool isInDrive = from.elementType == LIB_ELEM_DRIVE;
    if (way != Way::Any && isInDrive != (way == Way::Unload)) {
      throw Failure(isInDrive ? fmt::format("{} is in {} already", options.from, elementName(from))
                              : elementName(from) + " is not a drive");
    }
    const int type = way == Way::Load ? LIB_ELEM_DRIVE : LIB_ELEM_SLOT;
    const LibElement& to =
        options.to.empty() ? inventory.firstEmpty(type) : inventory.locate(options.to);
    if (way == Way::Load && to.elementType != LIB_ELEM_DRIVE) {
      throw Failure(elementName(to) + " is not a drive");
    }
    requireMovable(from, to);
    move = {from, to};
    callMove(options.library, move);
  });
  return move;
}

Json moveJson(const Move& move) {
  return {{"from", elementName(move.first)}, {"to", elementName(move.second)}};
}

void report(const Options& options, const Move& move, const Session& session) {
  const auto& [from, to] = move;
  Json values{{"library", options.library}};
  values.update(moveJson(move));
  const std::string medium = from.barCode.empty()
                                 ? elementName(from)
                                 : fmt::format("{} in {}", from.barCode, elementName(from));
  printResult(session.json, values, fmt::format("{} moved to {}", medium, elementName(to)));
}

/// Moves along all lines of a file, each "FROM TO", in one step. Nothing is moved if one cannot be.
void moveByFile(const Options& options, const Session& session) {
  const std::vector<std::string> lines = readLines(options.file);
  Json moves = Json::array();
  asOneStep([&] {
    Inventory inventory(options.library);
    std::vector<LibElement> changed;
    int number = 0;
    for (const std::string& line : lines) {
      ++number;
      if (line.empty()) continue;
      const auto space = line.find_last_of(" \t");
      if (space == std::string::npos) {
        throw Failure(fmt::format("line {} is not \"FROM TO\": {}", number, line));
      }
      try {
        const Move move =
            inventory.move(boost::trim_copy(line.substr(0, space)), line.substr(space + 1));
        changed.insert(changed.end(), {move.first, move.second});
        moves.push_back(moveJson(move));
      } catch (const Failure& failure) {
        throw Failure(fmt::format("{}, line {}: {}", options.file, number, failure.what()),
                      failure.next);
      }
    }
    if (changed.empty()) return;
    change("cannot move the media", [&](TqLibEmulator& emulator) {
      return emulator.SetVirtualLibraryElement(options.library, changed, false);
    });
  });
  const std::string text = counted(moves.size(), "medium") + " moved";
  printResult(session.json, {{"library", options.library}, {"moves", std::move(moves)}}, text);
}

void moveMedium(const Options& options, const Session& session) {
  if (options.file.empty() == options.to.empty()) throw UsageError("give FROM and TO, or --file");
  if (!options.file.empty()) return moveByFile(options, session);
  const bool haveAddresses = spanOf(options.from) && spanOf(options.to);
  report(options, haveAddresses ? moveByAddress(options) : moveByContent(options, Way::Any),
         session);
}

void loadMedium(const Options& options, const Session& session) {
  report(options, moveByContent(options, Way::Load), session);
}

void unloadMedium(const Options& options, const Session& session) {
  report(options, moveByContent(options, Way::Unload), session);
}

/// A barcode and the size of its volume, without a place.
Json mediumJson(const std::string& barcode) {
  Json medium{{"barcode", barcode},
              {"library", nullptr},
              {"element", nullptr},
              {"filemarks", nullptr},
              {"bytes", nullptr}};
  if (volumeNameProblem(barcode).empty() && std::filesystem::is_directory(volumeRoot() / barcode)) {
    const VolumeContents contents = examineVolume(barcode);
    medium.update({{"filemarks", contents.marks.size()}, {"bytes", contents.bytes}});
  }
  return medium;
}

void findMedia(const FindOptions& options, const Session& session) {
  const std::set<std::string> barcodes(options.barcodes.begin(), options.barcodes.end());
  std::vector<std::string> unread;
  const std::vector<MediumPlace> places = placesOf(barcodes, &unread);
  Json media = Json::array();
  std::vector<std::string> missing;
  for (const std::string& barcode : barcodes) {
    Json found = mediumJson(barcode);
    const std::size_t before = media.size();
    for (const auto& [library, element] : places) {
      if (element.barCode != barcode) continue;
      found.update({{"library", library}, {"element", elementName(element)}});
      media.push_back(found);
    }
    if (media.size() > before) continue;
    if (found["bytes"].is_null()) {
      missing.push_back(barcode);
    } else {
      media.push_back(found);
    }
  }
  if (session.json || !media.empty()) {
    printList(session.json, {{"unread", unread}}, "media", media,
              {"barcode", "library", "element", "filemarks", "bytes"});
  }
  if (!missing.empty()) {
    throw Failure(fmt::format("no medium and no volume: {}", fmt::join(missing, ", ")),
                  "\"tqlib elements LIBRARY --barcode 'A*'\" takes patterns");
  }
  if (!unread.empty()) {
    throw Failure(
        fmt::format("not searched, since they cannot be read: {}", fmt::join(unread, ", ")),
        "\"tqlib check\" shows what is wrong");
  }
}

void addMove(CLI::App& parent, Session& session, const CommandTexts& texts) {
  const auto [move, options] = addCommand(parent, session, moveMedium, texts);
  addLibraryOperand(move, options.library);
  move.add_option("FROM", options.from, std::string("Where the medium is: ") + kElementHelp);
  move.add_option("TO", options.to, "Where it goes");
  move.add_option("--file", options.file,
                  "Lines of FROM and TO, all in one step; - is standard input")
      ->excludes("FROM");
}

}  // namespace

void addMediaCommands(CLI::App& app, CLI::App& elementGroup, Session& session) {
  addMove(elementGroup, session,
          {"move", "Move a medium to another element",
           "tqlib element move LIB001 slot:1000 drive:500"});
  addMove(app, session, {"move", "Short for \"element move\"", "tqlib move LIB001 A00001 mail:11"});

  const auto [load, loading] = addCommand(
      app, session, loadMedium, {"load", "Load a medium into a drive", "tqlib load LIB001 A00001"});
  addLibraryOperand(load, loading.library);
  load.add_option("FROM", loading.from, std::string("The medium: ") + kElementHelp)->required();
  load.add_option("TO", loading.to, "The drive (else the first empty one)");

  const auto [unload, unloading] =
      addCommand(app, session, unloadMedium,
                 {"unload", "Take a medium out of a drive",
                  "tqlib load LIB001 A00001 && tqlib unload LIB001 drive:500"});
  addLibraryOperand(unload, unloading.library);
  unload.add_option("FROM", unloading.from, "drive:N, drive:SERIAL or the barcode of its medium")
      ->required();
  unload.add_option("TO", unloading.to, "Where it goes (else the first empty slot)");

  const auto [find, finding] =
      addCommand(app, session, findMedia,
                 {"find", "Find media by barcode, in all libraries", "tqlib find A00001 A00002"});
  find.add_option("BARCODE", finding.barcodes, "Barcodes")->required()->check(catalogueText());
}

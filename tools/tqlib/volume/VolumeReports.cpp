// tqlib volume list and info: the volumes of the tape folder, and one of them in full.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/Command.h"
#include "base/Errors.h"
#include "base/Output.h"
#include "catalogue/Configuration.h"
#include "catalogue/ConfiguredPlaces.h"
#include "catalogue/TapeFolder.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
};

/// What is known of a volume; only the reason when it cannot be examined.
struct Entry {
  std::string volume;
  VolumeContents contents;
  Checksums checksums;
  std::string checksumProblem;  ///< why the checksums cannot be read
  std::string reason;
};

// The checksums lie beside the volume: it can be told of without them.
Entry examine(const fs::path& root, const std::string& volume) {
  Entry entry{volume, examineVolume(volume), {}, "", ""};
  try {
    entry.checksums = loadChecksums(root, volume);
  } catch (const std::exception& failure) {
    entry.checksumProblem = failure.what();
  }
  return entry;
}

// One volume that cannot be read is told of like the others and hides none of them.
Entry examineIfReadable(const fs::path& root, const std::string& volume) {
  try {
    return examine(root, volume);
  } catch (const std::exception& failure) {
    return {volume, {}, {}, "", failure.what()};
  }
}

double shareOf(unsigned long long bytes) {
  const double share = static_cast<double>(bytes) / static_cast<double>(configuredVolumeLimit());
  return std::round(share * 1e4) / 1e4;
}

std::string percent(unsigned long long bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %%", shareOf(bytes) * 100);
  return text;
}

std::string checksumText(const Entry& entry) {
  if (!entry.checksumProblem.empty()) return entry.checksumProblem;
  return entry.checksums.empty() ? "no" : "yes";
}

/// Whether there are checksums, or there is one of the mark; null when that cannot be known.
Json knownOrNull(const Entry& entry, bool value) {
  return entry.checksumProblem.empty() ? Json(value) : Json(nullptr);
}

void addProblem(Json& values, const Entry& entry) {
  if (!entry.checksumProblem.empty()) values["checksumProblem"] = entry.checksumProblem;
}

Json entryJson(const Entry& entry) {
  if (!entry.reason.empty()) {
    return {{"volume", entry.volume}, {"state", "unreadable"}, {"reason", entry.reason}};
  }
  Json values{{"volume", entry.volume},
              {"state", "ok"},
              {"marks", entry.contents.marks.size()},
              {"bytes", entry.contents.bytes},
              {"share", shareOf(entry.contents.bytes)},
              {"checksums", knownOrNull(entry, !entry.checksums.empty())}};
  addProblem(values, entry);
  return values;
}

Row entryRow(const Entry& entry) {
  if (!entry.reason.empty()) return {entry.volume, "-", "-", "-", "-", entry.reason};
  return {entry.volume, std::to_string(entry.contents.marks.size()),
          std::to_string(entry.contents.bytes), percent(entry.contents.bytes), checksumText(entry)};
}

void listVolumes(const Options&, const Session& session) {
  useConfiguration(session.config);
  const fs::path root = volumeRoot();
  Json list = Json::array();
  std::vector<Row> rows{{"VOLUME", "MARKS", "BYTES", "OF LIMIT", "CHECKSUMS"}};
  for (const std::string& volume : volumesIn(root)) {
    const Entry entry = examineIfReadable(root, volume);
    list.push_back(entryJson(entry));
    rows.push_back(entryRow(entry));
  }
  const std::string sentence = list.empty() ? "no volumes" : tableText(rows);
  printResult(
      session.json,
      {{"folder", root.string()}, {"limit", configuredVolumeLimit()}, {"volumes", std::move(list)}},
      sentence);
}

std::vector<Gap> gapsOf(const VolumeContents& contents) {
  std::vector<int> numbers;
  for (const FileMark& mark : contents.marks) numbers.push_back(mark.number);
  return gapsIn(numbers);
}

Json infoJson(const Entry& entry) {
  const VolumeContents& contents = entry.contents;
  Json marks = Json::array();
  for (const FileMark& mark : contents.marks) {
    marks.push_back({{"mark", mark.number},
                     {"bytes", mark.bytes},
                     {"checksum", knownOrNull(entry, entry.checksums.contains(mark.number))}});
  }
  Json gaps = Json::array();
  for (const Gap& gap : gapsOf(contents)) {
    gaps.push_back({{"first", gap.first}, {"last", gap.last}});
  }
  Json values{{"volume", entry.volume},
              {"folder", contents.folder.string()},
              {"nextMark", contents.nextMark},
              {"bytes", contents.bytes},
              {"limit", configuredVolumeLimit()},
              {"share", shareOf(contents.bytes)},
              {"checksums", knownOrNull(entry, !entry.checksums.empty())},
              {"marks", std::move(marks)},
              {"gaps", std::move(gaps)},
              {"otherEntries", contents.others}};
  addProblem(values, entry);
  return values;
}

std::string infoText(const Entry& entry) {
  const VolumeContents& contents = entry.contents;
  std::vector<Row> rows{{"volume:", entry.volume},
                        {"folder:", contents.folder.string()},
                        {"next file mark:", std::to_string(contents.nextMark)},
                        {"bytes:", std::to_string(contents.bytes) + " (" + percent(contents.bytes) +
                                       " of " + std::to_string(configuredVolumeLimit()) + ")"},
                        {"checksums:", checksumText(entry)}};
  for (const FileMark& mark : contents.marks) {
    rows.push_back({"mark " + std::to_string(mark.number) + ":",
                    std::to_string(mark.bytes) + " bytes" +
                        (entry.checksums.contains(mark.number) ? ", with checksum" : "")});
  }
  for (const Gap& gap : gapsOf(contents)) {
    rows.push_back({"no marks:", gapText(gap)});
  }
  for (const std::string& name : contents.others) rows.push_back({"no file mark:", name});
  return tableText(rows);
}

void showVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  const Entry entry = examine(volumeRoot(), options.volume);
  printResult(session.json, infoJson(entry), infoText(entry));
}

}  // namespace

void addVolumeReports(CLI::App& group, Session& session) {
  addCommand(group, session, {"list", "List all volumes", "tqlib volume list"}, listVolumes);
  const auto [info, options] = addCommand(
      group, session,
      {"info", "Show folder, size, file marks and gaps of a volume", "tqlib volume info A00001"},
      showVolume);
  addVolumeOperand(info, options.volume);
}

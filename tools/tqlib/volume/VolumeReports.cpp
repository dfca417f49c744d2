// tqlib volume list, info and verify: the volumes of the tape folder, one of them in full, and its
// file marks compared with their checksums. What cannot be read is reported and hides nothing else.
#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "base/Output.h"
#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/Configuration.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
};

struct Entry {
  std::string volume;
  VolumeContents contents{};
  Checksums checksums{};
  std::string checksumProblem{};  ///< why the checksums cannot be read
};

Entry examine(const fs::path& root, const std::string& volume) {
  Entry entry{volume, examineVolume(volume)};
  try {
    entry.checksums = loadChecksums(root, volume);
  } catch (const std::exception& failure) {
    entry.checksumProblem = failure.what();
  }
  return entry;
}

double shareOf(unsigned long long bytes) {
  const double share = static_cast<double>(bytes) / static_cast<double>(configuredVolumeLimit());
  return std::round(share * 1e4) / 1e4;
}

std::string checksumText(const Entry& entry) {
  if (!entry.checksumProblem.empty()) return entry.checksumProblem;
  return entry.checksums.empty() ? "no" : "yes";
}

/// Whether there are checksums, or one of a mark; null when they cannot be read.
Json knownOrNull(const Entry& entry, bool value) {
  return entry.checksumProblem.empty() ? Json(value) : Json(nullptr);
}

/// What list and info report alike.
void addTotals(Json& values, const Entry& entry) {
  values["share"] = shareOf(entry.contents.bytes);
  values["checksums"] = knownOrNull(entry, !entry.checksums.empty());
  if (!entry.checksumProblem.empty()) values["checksumProblem"] = entry.checksumProblem;
}

void listVolumes(const NoOptions&, const Session& session) {
  useConfiguration(session.config);
  const fs::path root = volumeRoot();
  Json list = Json::array();
  std::vector<Row> rows{{"VOLUME", "MARKS", "BYTES", "OF LIMIT", "CHECKSUMS"}};
  for (const std::string& volume : volumesIn(root)) {
    try {
      const Entry entry = examine(root, volume);
      const std::size_t marks = entry.contents.marks.size();
      const unsigned long long bytes = entry.contents.bytes;
      Json values{{"volume", volume}, {"state", "ok"}, {"marks", marks}, {"bytes", bytes}};
      addTotals(values, entry);
      list.push_back(std::move(values));
      rows.push_back({volume, std::to_string(marks), std::to_string(bytes),
                      fmt::format("{:.1f} %", shareOf(bytes) * 100), checksumText(entry)});
    } catch (const std::exception& failure) {
      list.push_back({{"volume", volume}, {"state", "unreadable"}, {"reason", failure.what()}});
      rows.push_back({volume, "-", "-", "-", "-", failure.what()});
    }
  }
  printResult(
      session.json,
      {{"folder", root.string()}, {"limit", configuredVolumeLimit()}, {"volumes", std::move(list)}},
      rows.size() == 1 ? "no volumes" : tableText(rows));
}

void showVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  const Entry entry = examine(volumeRoot(), options.volume);
  const VolumeContents& contents = entry.contents;
  const auto limit = configuredVolumeLimit();
  std::vector<Row> rows{{"volume:", entry.volume},
                        {"folder:", contents.folder.string()},
                        {"next file mark:", std::to_string(contents.nextMark)},
                        {"bytes:", fmt::format("{} ({:.1f} % of {})", contents.bytes,
                                               shareOf(contents.bytes) * 100, limit)},
                        {"checksums:", checksumText(entry)}};
  Json marks = Json::array();
  std::vector<int> numbers;
  for (const FileMark& mark : contents.marks) {
    const bool hasChecksum = entry.checksums.contains(mark.number);
    numbers.push_back(mark.number);
    marks.push_back({{"mark", mark.number},
                     {"bytes", mark.bytes},
                     {"checksum", knownOrNull(entry, hasChecksum)}});
    rows.push_back({fmt::format("mark {}:", mark.number),
                    fmt::format("{} bytes{}", mark.bytes, hasChecksum ? ", with checksum" : "")});
  }
  Json gaps = Json::array();
  for (const Gap& gap : gapsIn(numbers)) {
    gaps.push_back({{"first", gap.first}, {"last", gap.last}});
    rows.push_back({"no marks:", gapText(gap)});
  }
  for (const std::string& name : contents.others) rows.push_back({"no file mark:", name});

  Json values{{"volume", entry.volume},
              {"folder", contents.folder.string()},
              {"nextMark", contents.nextMark},
              {"bytes", contents.bytes},
              {"limit", limit}};
  addTotals(values, entry);
  values["marks"] = std::move(marks);
  values["gaps"] = std::move(gaps);
  values["otherEntries"] = contents.others;
  printResult(session.json, values, tableText(rows));
}

/// What verify says of a file mark.
struct Verdict {
  int mark;
  std::string result;
  bool isNewer = false;  ///< than the checksum file
  std::string reason{};  ///< why the mark cannot be read

  bool isFault() const { return result != "ok" && result != "no checksum"; }
};

std::string checksumOf(const fs::path& path, Progress& progress) {
  const FileDescriptor input = openForReading(path.string());
  std::vector<char> buffer(std::size_t{1} << 20);
  Sha256 checksum;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    checksum.update(std::span(buffer).first(filled));
    progress.advance(filled);
  }
  stopIfInterrupted("the volume is not verified");
  return checksum.hex();
}

Verdict verdictOn(const FileMark& mark, const std::string& known, Progress& progress) {
  try {
    return {mark.number, checksumOf(mark.path, progress) == known ? "ok" : "differs"};
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& failure) {
    return {.mark = mark.number, .result = "unreadable", .reason = failure.what()};
  }
}

std::vector<Verdict> compare(const std::vector<FileMark>& marks, Checksums checksums,
                             fs::file_time_type calculated) {
  unsigned long long bytes = 0;
  for (const FileMark& mark : marks) bytes += checksums.contains(mark.number) ? mark.bytes : 0;
  Progress progress(bytes);
  std::vector<Verdict> verdicts;
  for (const FileMark& mark : marks) {
    const auto known = checksums.extract(mark.number);
    verdicts.push_back(known ? verdictOn(mark, known.mapped(), progress)
                             : Verdict{mark.number, "no checksum"});
    verdicts.back().isNewer = fs::last_write_time(mark.path) > calculated;
  }
  for (const auto& [mark, digits] : checksums) verdicts.push_back({mark, "missing"});
  std::ranges::sort(verdicts, {}, &Verdict::mark);
  return verdicts;
}

void verifyVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  const fs::path root = volumeRoot();
  const Checksums checksums = loadChecksums(root, options.volume);
  if (checksums.empty()) {
    throw Failure(
        fmt::format("volume {} has no checksums", options.volume),
        fmt::format("write with --checksum: \"tqlib volume write {} --mark N --checksum\"",
                    options.volume));
  }
  watchForInterruption();
  const auto calculated = fs::last_write_time(checksumFile(root, options.volume));
  const auto verdicts = compare(examineVolume(options.volume).marks, checksums, calculated);
  Json list = Json::array();
  std::vector<Row> rows{{"MARK", "RESULT"}};
  for (const Verdict& verdict : verdicts) {
    Json values{{"mark", verdict.mark}, {"result", verdict.result}, {"newer", verdict.isNewer}};
    if (!verdict.reason.empty()) values["reason"] = verdict.reason;
    list.push_back(std::move(values));
    const std::string remark = verdict.isNewer ? "written after the checksums" : "";
    rows.push_back({std::to_string(verdict.mark), verdict.result,
                    verdict.reason.empty() ? remark : verdict.reason});
  }
  printResult(session.json, {{"volume", options.volume}, {"marks", std::move(list)}},
              tableText(rows));
  if (const auto faults = std::ranges::count_if(verdicts, &Verdict::isFault); faults > 0) {
    throw Failure(
        fmt::format("volume {}: file marks that differ, are missing or cannot be read: {}",
                    options.volume, faults),
        "one written after the checksums may be good: write it again with --checksum");
  }
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

void addVolumeVerify(CLI::App& group, Session& session) {
  const auto [verify, options] = addCommand(
      group, session,
      {"verify", "Compare all file marks of a volume with their checksums",
       "date | tqlib volume write A00001 --mark 1 --checksum && tqlib volume verify A00001"},
      verifyVolume);
  addVolumeOperand(verify, options.volume);
}

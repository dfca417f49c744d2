// tqlib volume list, info and verify: the volumes of the tape folder, one of them in full, and its
// filemarks compared with their checksums and block lengths. What cannot be read is reported and
// hides nothing else.
#include <cmath>

#include "base/Progress.h"
#include "base/Streams.h"
#include "catalogue/Configuration.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

/// Everything about a volume, except what cannot be read of its checksums.
Json examine(const std::string& volume) {
  const VolumeContents contents = examineVolume(volume);
  const auto bytes = static_cast<double>(contents.bytes);
  const auto limit = configuredVolumeLimit();
  Json values{{"volume", volume},
              {"folder", contents.folder.string()},
              {"nextMark", contents.nextMark},
              {"bytes", contents.bytes},
              {"limit", limit},
              {"share", std::round(bytes / static_cast<double>(limit) * 1e4) / 1e4}};
  Checksums checksums;
  try {
    checksums = loadChecksums(volume);
    values["checksums"] = !checksums.empty();
  } catch (const std::exception& failure) {
    values["checksums"] = nullptr;
    values["checksumProblem"] = failure.what();
  }
  values["marks"] = Json::array();
  std::vector<int> numbers;
  for (const FileMark& mark : contents.marks) {
    Json& value = values["marks"].emplace_back(Json{{"mark", mark.number}, {"bytes", mark.bytes}});
    value["checksum"] = nullptr;
    if (values["checksums"] != nullptr) value["checksum"] = checksums.contains(mark.number);
    numbers.push_back(mark.number);
  }
  values["gaps"] = Json::array();
  for (const Gap& gap : gapsIn(numbers)) {
    values["gaps"].push_back({{"first", gap.first}, {"last", gap.last}});
  }
  values["otherEntries"] = contents.others;
  return values;
}

std::string shareText(const Json& values) {
  return fmt::format("{:.1f} %", values["share"].get<double>() * 100);
}

std::string checksumText(const Json& values) {
  return values.value("checksumProblem", values["checksums"] == true ? "yes" : "no");
}

void listVolumes(const NoOptions&, const Session& session) {
  const fs::path root = volumeRoot();
  Json list = Json::array();
  for (const std::string& volume : volumesIn(root)) {
    Json& listed = list.emplace_back(Json{{"volume", volume}, {"state", "ok"}});
    try {
      const Json values = examine(volume);
      listed["marks"] = values["marks"].size();
      for (const char* key : {"bytes", "share", "checksums", "checksumProblem"}) {
        if (values.contains(key)) listed[key] = values[key];
      }
    } catch (const std::exception& failure) {
      listed["state"] = "unreadable";
      listed["reason"] = failure.what();
    }
  }
  printList(session.json, {{"folder", root.string()}, {"limit", configuredVolumeLimit()}},
            "volumes", list, {"volume", "state", "marks", "bytes", "share", "checksums", "reason"});
}

void showVolume(const std::string& volume, const Session& session) {
  requireVolume(volume);
  const Json values = examine(volume);
  std::vector<Row> rows{{"volume:", volume},
                        {"folder:", values["folder"]},
                        {"next filemark:", values["nextMark"].dump()},
                        {"bytes:", fmt::format("{} ({} of {})", values["bytes"].dump(),
                                               shareText(values), values["limit"].dump())},
                        {"checksums:", checksumText(values)}};
  for (const Json& mark : values["marks"]) {
    const char* const remark = mark["checksum"] == true ? ", with checksum" : "";
    rows.push_back({fmt::format("mark {}:", mark["mark"].dump()),
                    fmt::format("{} bytes{}", mark["bytes"].dump(), remark)});
  }
  for (const Json& gap : values["gaps"]) {
    rows.push_back({"no marks:", gapText({gap["first"], gap["last"]})});
  }
  for (const std::string name : values["otherEntries"]) rows.push_back({"no filemark:", name});
  printResult(session.json, values, tableText(rows));
}

std::string resultOf(const FileMark& mark, const Checksums& checksums, Progress& progress) {
  const auto known = checksums.find(mark.number);
  if (known == checksums.end()) return "no checksum";
  const FileDescriptor input = openForReading(mark.path.string());
  std::vector<char> buffer(std::size_t{1} << 20);
  Sha256 checksum;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    checksum.update(std::span(buffer).first(filled));
    progress.advance(filled);
  }
  stopIfInterrupted("the volume is not verified");
  return checksum.hex() == known->second ? "ok" : "differs";
}

/// Compares the marks with their checksums: a list of verdicts, by mark.
Json verdictsOn(const std::vector<FileMark>& marks, const Checksums& checksums,
                fs::file_time_type calculated) {
  std::map<int, const FileMark*> all;  // null for one that is missing
  for (const auto& [number, digits] : checksums) all[number] = nullptr;
  unsigned long long bytes = 0;
  for (const FileMark& mark : marks) {
    all[mark.number] = &mark;
    bytes += checksums.contains(mark.number) ? mark.bytes : 0;
  }
  Progress progress(bytes);
  Json list = Json::array();
  for (const auto& [number, mark] : all) {
    Json& verdict = list.emplace_back(Json{{"mark", number}, {"result", "missing"}});
    verdict["newer"] = mark != nullptr && mark->written > calculated;
    if (mark == nullptr) continue;
    try {
      verdict["result"] = resultOf(*mark, checksums, progress);
    } catch (const Interrupted&) {
      throw;
    } catch (const Failure& failure) {
      verdict["result"] = "unreadable";
      verdict["reason"] = failure.what();
    }
  }
  return list;
}

void verifyVolume(const std::string& volume, const Session& session) {
  requireVolume(volume);
  const auto [checksums, blockLengths] = loadRecords(volume);
  if (checksums.empty() && blockLengths.empty()) {
    throw Failure(fmt::format("volume {} has no checksums", volume),
                  "only filemarks that are written with --checksum have one");
  }
  watchForInterruption();
  const auto calculated =
      checksums.empty() ? fs::file_time_type::max() : fs::last_write_time(checksumFile(volume));
  const std::vector<FileMark> marks = examineVolume(volume).marks;
  const Json list = verdictsOn(marks, checksums, calculated);
  const std::vector<std::string> problems = blockLengthProblems(blockLengths, marks);
  std::vector<Row> rows{{"MARK", "RESULT"}};
  std::size_t faults = problems.size();
  for (const Json& verdict : list) {
    const std::string result = verdict["result"];
    const std::string remark = verdict["newer"] ? "written after the checksums" : "";
    rows.push_back({verdict["mark"].dump(), result, verdict.value("reason", remark)});
    faults += result == "ok" || result == "no checksum" ? 0U : 1U;
  }
  std::string text = tableText(rows);
  for (const std::string& problem : problems) text += "\nblock lengths: " + problem;
  printResult(session.json, {{"volume", volume}, {"marks", list}, {"blockLengths", problems}},
              text);
  if (faults > 0) {
    throw Failure(fmt::format("volume {}: filemarks that differ, are missing or cannot be read, or "
                              "block lengths that do not fit: {}",
                              volume, faults),
                  "one written after the checksums may be good: write it again with --checksum");
  }
}

}  // namespace

void addVolumeReports(CLI::App& group, Session& session) {
  addCommand(group, session, listVolumes, {"list", "List all volumes", "tqlib volume list"});
  const auto [info, name] = addCommand(
      group, session, showVolume,
      {"info", "Show folder, size, filemarks and gaps of a volume", "tqlib volume info A00001"});
  addVolumeOperand(info, name);
}

void addVolumeVerify(CLI::App& group, Session& session) {
  const auto [verify, name] = addCommand(
      group, session, verifyVolume,
      {"verify", "Compare all filemarks of a volume with their checksums and block lengths",
       "date | tqlib volume write A00001 --mark 1 --checksum && tqlib volume verify A00001"});
  addVolumeOperand(verify, name);
}

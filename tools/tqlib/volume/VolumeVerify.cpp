// tqlib volume verify: the file marks of a volume against their checksums.
#include <algorithm>
#include <set>

#include "base/Command.h"
#include "base/Errors.h"
#include "base/Interruption.h"
#include "base/Output.h"
#include "base/Progress.h"
#include "base/Sha256.h"
#include "catalogue/Configuration.h"
#include "catalogue/TapeFolder.h"
#include "catalogue/TargetFile.h"
#include "catalogue/VolumeFiles.h"
#include "volume/Checksums.h"
#include "volume/VolumeCommands.h"

namespace fs = std::filesystem;

namespace {

struct Options {
  std::string volume;
};

struct Finding {
  int mark;
  const char* result;
  bool newer;            ///< than the checksum file
  std::string reason{};  ///< why the mark cannot be read
};

constexpr char kOk[] = "ok";
constexpr char kDiffers[] = "differs";
constexpr char kMissing[] = "missing";
constexpr char kUnreadable[] = "unreadable";
constexpr char kNoChecksum[] = "no checksum";

std::string checksumOf(const fs::path& path, Progress& progress) {
  const Descriptor input(openForReading(path.string()));
  std::vector<unsigned char> buffer(std::size_t{1} << 20);
  Sha256 checksum;
  while (const std::size_t filled = readBlock(input.get(), buffer)) {
    stopIfInterrupted("the volume is not verified");
    checksum.update(std::span(buffer).first(filled));
    progress.advance(filled);
  }
  stopIfInterrupted("the volume is not verified");
  return checksum.hex();
}

unsigned long long bytesToRead(const std::vector<FileMark>& marks, const Checksums& checksums) {
  unsigned long long bytes = 0;
  for (const FileMark& mark : marks) {
    if (checksums.contains(mark.number)) bytes += mark.bytes;
  }
  return bytes;
}

// A mark that cannot be read hides none of the others.
Finding findingOn(const FileMark& mark, const std::string& known, Progress& progress) {
  try {
    return {mark.number, checksumOf(mark.path, progress) == known ? kOk : kDiffers, false};
  } catch (const Interrupted&) {
    throw;
  } catch (const Failure& failure) {
    return {mark.number, kUnreadable, false, failure.what()};
  }
}

std::vector<Finding> compare(const std::vector<FileMark>& marks, const Checksums& checksums,
                             fs::file_time_type calculated, Progress& progress) {
  std::vector<Finding> findings;
  Checksums missing = checksums;
  for (const FileMark& mark : marks) {
    missing.erase(mark.number);
    const auto known = checksums.find(mark.number);
    findings.push_back(known == checksums.end() ? Finding{mark.number, kNoChecksum, false}
                                                : findingOn(mark, known->second, progress));
    findings.back().newer = fs::last_write_time(mark.path) > calculated;
  }
  for (const auto& [mark, digits] : missing) findings.push_back({mark, kMissing, false});
  std::sort(findings.begin(), findings.end(),
            [](const Finding& a, const Finding& b) { return a.mark < b.mark; });
  return findings;
}

Json findingJson(const Finding& finding) {
  Json values{{"mark", finding.mark}, {"result", finding.result}, {"newer", finding.newer}};
  if (!finding.reason.empty()) values["reason"] = finding.reason;
  return values;
}

std::string remark(const Finding& finding) {
  if (!finding.reason.empty()) return finding.reason;
  return finding.newer ? "written after the checksums" : "";
}

void print(const Options& options, const std::vector<Finding>& findings, bool json) {
  Json list = Json::array();
  std::vector<Row> rows{{"MARK", "RESULT"}};
  for (const Finding& finding : findings) {
    list.push_back(findingJson(finding));
    rows.push_back({std::to_string(finding.mark), finding.result, remark(finding)});
  }
  printResult(json, {{"volume", options.volume}, {"marks", std::move(list)}}, tableText(rows));
}

bool isFault(const Finding& finding) {
  return finding.result != kOk && finding.result != kNoChecksum;
}

void verifyVolume(const Options& options, const Session& session) {
  useConfiguration(session.config);
  requireVolume(options.volume);
  const fs::path root = volumeRoot();
  const Checksums checksums = loadChecksums(root, options.volume);
  if (checksums.empty()) {
    throw Failure("volume " + options.volume + " has no checksums",
                  "\"tqlib volume write " + options.volume +
                      " --mark N --checksum\" keeps one of what it writes");
  }
  watchForInterruption();
  const VolumeContents contents = examineVolume(options.volume);
  Progress progress(bytesToRead(contents.marks, checksums));
  const std::vector<Finding> findings = compare(
      contents.marks, checksums, fs::last_write_time(checksumFile(root, options.volume)), progress);
  progress.finish();
  print(options, findings, session.json);
  if (const auto faults = std::count_if(findings.begin(), findings.end(), isFault); faults > 0) {
    throw Failure(
        "volume " + options.volume +
            ": file marks that differ, are missing or cannot be read: " + std::to_string(faults),
        "one written after the checksums may be good: write it again with --checksum");
  }
}

}  // namespace

void addVolumeVerify(CLI::App& group, Session& session) {
  const auto [verify, options] = addCommand(
      group, session,
      {"verify", "Compare all file marks of a volume with their checksums",
       "date | tqlib volume write A00001 --mark 1 --checksum && tqlib volume verify A00001"},
      verifyVolume);
  addVolumeOperand(verify, options.volume);
}

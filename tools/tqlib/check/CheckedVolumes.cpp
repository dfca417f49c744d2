#include "check/CheckedVolumes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>

#include "base/Errors.h"
#include "catalogue/ConfiguredPlaces.h"
#include "catalogue/VolumeFiles.h"
#include "check/LeftOvers.h"

namespace fs = std::filesystem;

namespace {

constexpr char kOfFileSystem[] = "lost+found";
constexpr std::size_t kMostGaps = 5;  // are told by number

struct Volume {
  unsigned long long bytes = 0;
  std::vector<int> marks;
};

// What is no file mark counts too: the library measures everything in the folder.
Volume readVolume(const std::string& folder) {
  Volume volume;
  for (const std::string& name : namesIn(folder)) {
    struct stat record {};
    const std::string path = fs::path(folder) / name;
    if (stat(path.c_str(), &record) != 0) {
      if (errno == ENOENT) continue;  // erased meanwhile
      throw systemFailure(path, errno);
    }
    volume.bytes += static_cast<unsigned long long>(record.st_size);
    if (const auto mark = markNumber(name)) volume.marks.push_back(*mark);
  }
  std::sort(volume.marks.begin(), volume.marks.end());
  return volume;
}

/// "1, 3 to 7"; empty when no mark is missing.
std::string missingMarks(const std::vector<int>& marks) {
  const std::vector<Gap> gaps = gapsIn(marks);
  std::string text;
  for (std::size_t i = 0; i < std::min(gaps.size(), kMostGaps); ++i) {
    text += (text.empty() ? "" : ", ") + gapText(gaps[i]);
  }
  return gaps.size() > kMostGaps ? text + ", and more" : text;
}

class VolumeCheck {
public:
  VolumeCheck(const Inventory& inventory, Findings& findings)
      : m_inventory(inventory), m_findings(findings) {}

  std::size_t run() {
    std::error_code ignored;
    if (!m_root.isNamed && !fs::exists(m_root.path, ignored)) {
      checkMedia();  // nothing was ever written
      return 0;
    }
    try {
      for (const std::string& name : namesIn(m_root.path)) visit(name);
    } catch (const Failure& failure) {
      // Were every medium told to have no volume, this would be lost among them.
      add(kinds::kUnparsableFile, m_root.path, failure.what(),
          "bring the folder back, or mend sVirtualTapeDirectory in the configuration");
      return m_volumes.size();
    }
    checkMedia();
    return m_volumes.size();
  }

private:
  void add(const Kind& kind, const std::string& folder, const std::string& text,
           const std::string& next) {
    m_findings.emplace_back(kind, Place{folder, ""}, text, next);
  }

  void visit(const std::string& name) {
    const std::string folder = m_root.path + "/" + name;
    std::error_code ignored;
    if (isLeftAmongVolumes(name) && !isInUse(folder)) {
      add(kinds::kLeftOver, folder, "a crash left it", "\"tqlib check --fix\" deletes it");
    }
    const bool isOther = name == kOfFileSystem || name.starts_with(".tqlib-");
    if (isOther || !fs::is_directory(folder, ignored)) return;
    m_volumes.insert(name);
    if (m_inventory.media.count(name) == 0) {
      add(kinds::kVolumeWithoutMedium, folder,
          m_inventory.isWhole ? "no library has a medium of that barcode"
                              : "no library that can be read has a medium of that barcode",
          m_inventory.isWhole
              ? "\"tqlib element set\" puts the medium somewhere; or delete the volume"
              : "mend the libraries that cannot be read first");
    }
    checkContent(folder);
  }

  void checkContent(const std::string& folder) {
    try {
      const Volume volume = readVolume(folder);
      if (volume.bytes > m_limit) {
        add(kinds::kVolumeOverLimit, folder,
            "it has " + std::to_string(volume.bytes) + " bytes, and " + std::to_string(m_limit) +
                " are the most",
            "raise nVirtualTapeSizeMB in the configuration, or erase the volume");
      }
      if (const std::string gaps = missingMarks(volume.marks); !gaps.empty()) {
        add(kinds::kMarkGap, folder, "it lacks the file marks " + gaps,
            "take the last backup of the volume, or erase it");
      }
    } catch (const Failure& failure) {
      add(kinds::kUnparsableFile, folder, failure.what(), "mend the permissions, or the disk");
    }
  }

  void checkMedia() {
    for (const auto& [barcode, places] : m_inventory.media) {
      if (m_volumes.count(barcode) != 0) continue;
      m_findings.emplace_back(kinds::kMediumWithoutVolume, places.front(),
                              "the medium " + barcode + " has no volume",
                              "nothing, when it is new; else bring its volume back");
    }
  }

  const Inventory& m_inventory;
  Findings& m_findings;
  const ConfiguredFolder m_root = configuredTapeFolder();
  const unsigned long long m_limit = configuredVolumeLimit();
  std::set<std::string> m_volumes;
};

}  // namespace

std::size_t checkVolumes(const Inventory& inventory, Findings& findings) {
  return VolumeCheck(inventory, findings).run();
}

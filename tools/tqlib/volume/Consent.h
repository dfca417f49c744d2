// What is asked before a volume changes.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>

/// What the listed libraries say about the media of volumes.
struct Medium {
  bool isListed = false;  ///< whether one has a medium
  std::string risk;       ///< why an emulator may use it now; empty when none can
};

/// Looks nothing up when consent was given: that can take longer than a change.
Medium mediumOf(const std::set<std::string>& volumes, bool isConsentGiven);

/// " (3 filemarks, 1234 bytes)": all that the folder of a volume holds, or one filemark. Empty when
/// that has no bytes.
std::string dataText(const std::filesystem::path& folder, std::optional<int> mark = std::nullopt);

/// Asks whether to go on with `deed` when it destroys data or when a medium may be in a drive,
/// unless consent was given. Throws Failure as requireConsent() does.
void requireVolumeConsent(bool isGiven, const std::string& deed, bool destroys,
                          const Medium& medium);

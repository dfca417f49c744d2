// The lock of the catalogue, as every process takes it that changes something there.
#pragma once

#include <chrono>
#include <string>

#include "common/FileDescriptor.h"

/// Holds the lock of the folder as long as it lives. The library takes it too, in each of its
/// calls that change something, and would wait for this one in vain: let go of it before.
class FolderLock {
public:
  FolderLock(const std::string& folder, std::chrono::milliseconds longestWait);

  /// False when another process kept it. A folder whose file system has no locks is one that
  /// everybody has to work on without, and counts as locked.
  bool isHeld() const { return m_isHeld; }

private:
  FileDescriptor m_folder;
  bool m_isHeld;
};

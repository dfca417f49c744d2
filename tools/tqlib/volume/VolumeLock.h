// A volume that one tqlib alone changes: its data and its checksums are two files, which another
// one between them would leave at odds.
#pragma once

#include <string>

#include "catalogue/FolderLock.h"

/// Holds a volume as long as it lives, and makes its folder when there is none. One that it made
/// and nobody filled is gone at the end. An emulator knows nothing of this lock.
class VolumeLock {
public:
  /// Throws Failure when another process holds the volume, or there can be no such folder.
  explicit VolumeLock(const std::string& volume);
  ~VolumeLock();
  VolumeLock(const VolumeLock&) = delete;
  VolumeLock& operator=(const VolumeLock&) = delete;

  /// The volume stays, though it is empty.
  void keep() { m_isMade = false; }

private:
  bool m_isMade;
  std::string m_path;
  FolderLock m_lock;
};

// The catalogue directory, held against the changing operations of other processes.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "common/FileDescriptor.h"

/// An advisory lock (flock) on the catalogue directory itself, so that no file is needed for it. It
/// is given back at the end of the object's life.
class CatalogueLock {
public:
  /// Long enough for the largest library on a busy machine, short enough for a host's command.
  static constexpr std::chrono::seconds kLongestWait{30};

  explicit CatalogueLock(std::chrono::milliseconds longestWait = kLongestWait)
      : m_longestWait(longestWait) {}
  ~CatalogueLock();
  CatalogueLock(const CatalogueLock&) = delete;
  CatalogueLock& operator=(const CatalogueLock&) = delete;

  /// Takes the lock unless this object had its answer before, and completes what a process that
  /// died left half done. `folder` may end in "/".
  ///
  /// True also without a lock, where there is none to be had: the directory does not exist, or
  /// cannot be opened for lack of permission, or its file system has no such lock; the last two are
  /// logged, once in a process. On false (another process keeps it too long, a system error)
  /// error() tells why.
  bool take(const std::string& folder);

  /// Removes the unfinished files that processes left which died; no other process can be at work
  /// on one while the lock is held. Does nothing when it is not.
  void removeLeftOvers() const;

  const std::string& error() const { return m_error; }

private:
  int lock();

  std::chrono::milliseconds m_longestWait;
  std::optional<FileDescriptor> m_held;
  std::string m_folder;  // empty until the lock was asked for
  std::string m_error;
};

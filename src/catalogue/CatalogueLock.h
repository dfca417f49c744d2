// The catalogue directory, held against the changing operations of other processes.
#pragma once

#include <chrono>
#include <deque>
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

  /// Takes the lock on a directory unless it was asked for before. Not only the catalogue's: what
  /// has no library's key lies in the working directory.
  ///
  /// True also without a lock, where there is none to be had: the directory does not exist, or
  /// cannot be opened for lack of permission, or its file system has no such lock; the last two are
  /// logged, once in a process. On false (another process keeps it too long, a system error)
  /// error() tells why, and every later call fails at once.
  bool take(const std::string& path);

  /// Whether the directory was asked for, under whatever name.
  bool has(const std::string& path) const;

  /// Whether there is a lock on it, too.
  bool holds(const std::string& path) const;

  /// Removes the unfinished files that processes left which died; no other process can be at work
  /// on one while the lock is held. Does nothing where it is not.
  void removeLeftOvers() const;

  const std::string& error() const { return m_error; }

private:
  struct Folder {
    std::string path;
    std::optional<FileDescriptor> lock;
  };

  int lock(Folder& folder) const;

  std::chrono::milliseconds m_longestWait;
  std::deque<Folder> m_folders;
  std::string m_error;
};

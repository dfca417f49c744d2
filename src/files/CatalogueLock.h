// The lock between processes that change the same catalogue, on one machine or on several.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "common/FileDescriptor.h"
#include "files/PairedSave.h"

/// The locks of one operation: on the catalogue directory and any other directory that it changes.
///
/// Taking a lock never blocks, so it is done with gCriticalSection held. If a lock is refused, the
/// operation releases all its locks, waits without gCriticalSection, and starts again. An operation
/// never waits for a lock while it holds another one, so there is no deadlock.
class CatalogueLock {
public:
  /// How long an operation waits for the locks. Long enough for a change of the largest library on
  /// a busy machine, and shorter than the timeout of a host's command. Tests shorten it.
  static std::chrono::milliseconds longestWait;

  CatalogueLock() = default;
  ~CatalogueLock();
  CatalogueLock(const CatalogueLock&) = delete;
  CatalogueLock& operator=(const CatalogueLock&) = delete;

  /// The lock of the changing operation that is running; null when none is. Hold gCriticalSection.
  static CatalogueLock* current() { return s_current; }

  /// One attempt of an operation. While it lives, the lock is current(); at its end, all
  /// directories are released. Hold gCriticalSection.
  class Attempt {
  public:
    explicit Attempt(CatalogueLock& lock);
    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

  private:
    CatalogueLock& m_lock;
  };

  /// Locks all directories that earlier attempts locked. False when one was refused.
  bool takeAgain();

  /// Locks a directory unless it is already locked. Then completes an interrupted save in it; see
  /// obstacleTo() if that is not possible.
  ///
  /// False when another process has the lock, or on an error; isRefused() is then true. True,
  /// without a lock, when locking is not possible: the directory does not exist, may not be read,
  /// or is on a file system without locks. The last two cases are logged once in a process.
  bool take(const std::string& path);

  /// Completes the saves that earlier steps of a running operation left half done, as take() does.
  void completeSaves();

  /// Whether a directory could not be taken in this attempt.
  bool isRefused() const { return m_refused != nullptr; }

  /// Makes this attempt the last one: from here on, the operation must not start again.
  void makeFinal() { m_isFinal = true; }
  bool isFinal() const { return m_isFinal; }

  /// Clears the refusal and returns its reason. Directories that are locked stay locked, and more
  /// can be taken.
  std::string acceptRefusal();

  /// Sleeps before the next attempt. False when no other attempt makes sense; error() says why. Do
  /// not hold gCriticalSection.
  bool wait();

  /// Why wait() returned false, for people.
  const std::string& error() const { return m_error; }

  /// Why the file `name` in a locked directory must not be changed: a save of it and another file
  /// was interrupted and cannot be completed. Empty when the file may be changed.
  std::string obstacleTo(const std::string& directory, const std::string& name) const;

private:
  struct Folder {
    std::string path;
    FileDescriptor directory{-1};
    FileDescriptor file{-1};
    bool isTaken = false;
    bool isLocal = true;
    off_t waitingSince = 0;   // 0: not waiting
    int timesFree = 0;        // how often the lock was left to an earlier waiter
    const char* failed = "";  // ".tqlib-lock: " if the file in it could not be locked
    UnfinishedSave unfinished;
  };

  static CatalogueLock* s_current;

  const Folder* find(const std::string& path) const;
  bool take(Folder& folder);
  static int tryLock(Folder& folder);
  static int tryDirectory(Folder& folder);
  static int tryFile(Folder& folder);
  void giveBack();

  std::deque<Folder> m_folders;
  Folder* m_refused = nullptr;
  bool m_isFinal = false;
  std::optional<std::chrono::steady_clock::time_point> m_deadline;
  std::chrono::microseconds m_step{0};
  std::string m_error;
};

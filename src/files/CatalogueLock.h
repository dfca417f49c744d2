// The lock between the processes, on this machine and on others, that change one catalogue.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <optional>
#include <string>

#include "files/PairedSave.h"
#include "common/FileDescriptor.h"

/// What one operation has locked: the catalogue directory and any other directory that it changes.
///
/// Taking a directory never blocks, so it is done with gCriticalSection held. An operation that is
/// refused gives everything back, waits without gCriticalSection and starts again. So nothing waits
/// for a lock while it holds another one, and no order of locks can deadlock.
class CatalogueLock {
public:
  /// Long enough for the largest library on a busy machine, short enough for a host's command.
  /// Tests shorten it.
  static std::chrono::milliseconds longestWait;

  CatalogueLock() = default;
  ~CatalogueLock();
  CatalogueLock(const CatalogueLock&) = delete;
  CatalogueLock& operator=(const CatalogueLock&) = delete;

  /// The lock of the changing operation that runs; null when none does. Hold gCriticalSection.
  static CatalogueLock* current() { return s_current; }

  /// One attempt of an operation: the lock is current() meanwhile, and everything is given back at
  /// the end. Hold gCriticalSection.
  class Attempt {
  public:
    explicit Attempt(CatalogueLock& lock);
    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

  private:
    CatalogueLock& m_lock;
  };

  /// Takes what earlier attempts asked for. False when something was refused.
  bool takeAgain();

  /// Takes a directory unless it is held. Then completes what a process that died left half saved
  /// in it, see obstacleTo().
  ///
  /// True also without a lock where locking is not supported: the directory does not exist, may not
  /// be read, or lies on a file system without locks. The last two are logged, once in a process.
  bool take(const std::string& path);

  /// Whether a directory could not be taken in this attempt.
  bool isRefused() const { return m_refused != nullptr; }

  /// From here on the attempt is the last one: what runs in it must not run again.
  void makeFinal() { m_isFinal = true; }
  bool isFinal() const { return m_isFinal; }

  /// Why a directory could not be taken. What is taken stays, and others can be asked for again.
  std::string acceptRefusal();

  /// Waits a moment before the next attempt. False when that makes no sense: error() says why.
  /// Do not hold gCriticalSection.
  bool wait();

  const std::string& error() const { return m_error; }

  /// Why the file `name` in a directory that was taken must not be changed: a save of it and
  /// another file is half done and cannot be completed. Empty when nothing is in the way.
  std::string obstacleTo(const std::string& directory, const std::string& name) const;

private:
  struct Folder {
    std::string path;
    FileDescriptor directory{-1};
    FileDescriptor file{-1};
    bool isTaken = false;
    bool isLocal = true;
    off_t waitingSince = 0;   // 0: not waiting
    int timesFree = 0;        // how often the lock was free while others waited longer
    const char* failed = "";  // what could not be locked: the directory, or the file in it
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

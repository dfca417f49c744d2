// Replacing a file as a whole or not at all.
#pragma once

#include <string>
#include <string_view>

#include "common/FileDescriptor.h"

/// How to handle a file that already exists at the target path.
enum class Existing {
  Replaced,
  Kept  ///< the commit fails: the new content was made as if there were no file
};

/// Gives the open file `to` the owner and the permissions of `from`, if that exists. Only root can
/// change the owner; other users can at most keep the group. False, with errno, when the
/// permissions cannot be kept.
bool copyAccess(const std::string& from, int to);

/// The new content of a file, written to a temporary file beside it until it is committed.
///
/// A reader in another process finds the old content or the new one at any moment, and so does the
/// next process after a crash. The new file keeps the permission bits of the old one and, if the
/// system allows it, its owner. A symbolic link stays a link to the replaced file. If no new file
/// can be created in the folder, or the permissions cannot be kept, the commit overwrites the file
/// in place.
class ReplacedFile {
public:
  explicit ReplacedFile(const std::string& path, Existing existing = Existing::Replaced);
  /// Removes the temporary file unless it was committed or leave() was called.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  /// Writes the new content durably to the temporary file. On false, error() says why. The content
  /// is borrowed until the commit.
  bool prepare(std::string_view content);

  /// Does the same in steps, for content that is produced piece by piece: begin(), append() any
  /// number of times, finish(). If temporary() is empty after begin(), there is no temporary file
  /// and nothing can be appended.
  bool begin();
  bool append(std::string_view content);
  bool finish();

  /// Gives the new file the owner and the permissions of the file `model`, not those of the old
  /// file. Call it before the content is prepared.
  void copyAccessOf(const std::string& model) { m_accessModel = model; }

  /// Replaces the file with the prepared content, durably. On false, error() says why.
  bool commit();

  /// Does the same, but not durably: the next commit in the same folder makes it durable.
  bool place();

  /// Takes over the temporary file at `path`, which another process prepared and did not commit.
  /// Its name says how to handle an existing file. On false, error() says why; it is empty when
  /// there is no such file.
  bool adopt(const std::string& path);

  /// Keeps the temporary file when this object is destroyed without a commit. Another operation
  /// will complete it.
  void leave() { m_isLeft = true; }

  /// Removes the file after its commit.
  void remove();

  /// Removes stale temporary files in `folder`. A temporary file is stale when no process holds a
  /// lock on it.
  static void removeStaleFiles(const std::string& folder);

  const std::string& path() const { return m_path; }      ///< as it was given
  const std::string& target() const { return m_target; }  ///< symbolic links followed
  const std::string& folder() const { return m_folder; }
  /// The temporary file. Empty when there is none; the commit then overwrites the target.
  const std::string& temporary() const { return m_temporary; }
  /// Whether the path is a symbolic link into another folder.
  bool isElsewhere() const;
  /// Whether the target did not exist when the content was prepared.
  bool isNew() const { return m_isNew; }
  /// Whether the last failure was a target that exists although it must not be replaced.
  bool isTargetInTheWay() const { return m_isTargetInTheWay; }

  /// The reason of the last failure, for people.
  const std::string& error() const { return m_error; }

private:
  bool fail(const char* what, int code);
  bool rename();
  bool overwrite();

  std::string m_path;
  std::string m_target;
  std::string m_folder;
  std::string m_temporary;
  std::string m_accessModel;   // empty: the target
  std::string m_adopted;       // content of an adopted file; m_content refers to it
  bool m_isWhole = false;      // m_content is all there is; it was not appended in pieces
  std::string_view m_content;  // borrowed
  FileDescriptor m_file{-1};   // the temporary file; locked while it is open
  Existing m_existing;
  bool m_isLeft = false;
  bool m_isNew = false;
  bool m_isTargetInTheWay = false;
  std::string m_error;
};

// Replacing a file whole or not at all.
#pragma once

#include <string>
#include <string_view>

#include "common/FileDescriptor.h"

/// What to do about a file that exists where the new one is to be.
enum class Existing {
  Replaced,
  Kept  ///< the commit fails: the file was taken for absent, and its content is not known
};

/// The new content of a file, written to a temporary file beside it until it is committed.
///
/// A reader in another process may open the file at any moment, and a crash may come at any moment:
/// each finds the old content or the new one. The permission bits and, where the system allows it,
/// the owner of the old file stay; a symbolic link stays a link to the replaced file. Where the
/// folder admits no new file, or the permissions cannot be kept, the file is overwritten in place
/// on commit.
class ReplacedFile {
public:
  explicit ReplacedFile(const std::string& path, Existing existing = Existing::Replaced);
  /// Removes the temporary file unless it was committed or left.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  /// Brings the new content to the disk, beside the old file. On false, error() says why. The
  /// content is borrowed until the commit.
  bool prepare(std::string_view content);

  /// The same in steps, for content that is made piece by piece: begin(), append() any number of
  /// times, finish(). Where begin() leaves aside() empty, the folder admits no new file and nothing
  /// can be appended.
  bool begin();
  bool append(std::string_view content);
  bool finish();

  /// The new file gets the owner and the permissions of `model` instead of those of the old file.
  /// Call it before the content is prepared.
  void copyAccessOf(const std::string& model) { m_accessModel = model; }

  /// Puts the prepared content durably in the file's place. On false, error() says why.
  bool commit();

  /// The same, but it is on the disk only when something else in the folder is committed.
  bool place();

  /// Prepares what another process prepared in the file `aside` and did not commit, in the same way
  /// with an existing file. On false, error() says why; it is empty when there is no such file.
  bool adopt(const std::string& aside);

  /// What is prepared stays when this object dies without a commit: somebody else completes it.
  void leave() { m_isLeft = true; }

  /// Takes a committed file away again.
  void remove();

  /// Removes the temporary files in `folder` of processes that died. A living process keeps its
  /// files locked.
  static void removeStaleFiles(const std::string& folder);

  const std::string& path() const { return m_path; }      ///< as it was given
  const std::string& target() const { return m_target; }  ///< symbolic links followed
  const std::string& folder() const { return m_folder; }
  /// The prepared file; empty when there is none, and the target is overwritten on commit.
  const std::string& aside() const { return m_aside; }
  /// Whether the path is a symbolic link into another folder.
  bool isElsewhere() const;
  /// Whether there was no file when it was prepared.
  bool isNew() const { return m_isNew; }
  /// Whether the commit failed because of a file that is to be kept.
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
  std::string m_aside;
  std::string m_accessModel;   // empty: the target
  std::string m_adopted;       // what m_content shows of an adopted file
  std::string_view m_content;  // borrowed
  FileDescriptor m_file{-1};   // the temporary file; locked while it is open
  Existing m_existing;
  bool m_isLeft = false;
  bool m_isNew = false;
  bool m_isTargetInTheWay = false;
  std::string m_error;
};

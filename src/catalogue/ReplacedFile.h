// Replacing a file whole or not at all.
#pragma once

#include <string>
#include <string_view>

/// The new content of a file, built aside until it is committed.
///
/// A reader in another process may open the file at any moment, and a crash may come at any moment:
/// each finds the old content or the new one. The permission bits and, where the system allows it,
/// the owner of the old file stay; a symbolic link stays a link to the replaced file. Where the
/// folder admits no new file, or the permissions cannot be kept, the file is overwritten in place
/// on commit.
class ReplacedFile {
public:
  explicit ReplacedFile(const std::string& path);
  /// Removes what was built aside unless it was committed.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  /// Brings the new content to the disk, beside the old file. On false, error() tells why. The
  /// content is borrowed until the commit.
  bool prepare(std::string_view content);

  /// Puts the prepared content in the file's place, for good. On false, error() tells why.
  bool commit();

  /// The same, but it is on the disk only when something else in the folder is committed.
  bool place();

  /// Prepares what another process prepared in the file `aside` and did not commit. On false,
  /// error() tells why; it is empty when there is no such file.
  bool adopt(const std::string& aside);

  /// Leaves what is prepared to whoever adopts it.
  void leave() { m_aside.clear(); }

  /// Takes a committed file away again.
  void remove();

  /// Whether a file of this name, without its directory, was built aside.
  static bool isAside(const std::string& name);

  /// Removes what was built aside in `folder` by processes that are no more.
  static void removeLeftOvers(const std::string& folder);

  const std::string& path() const { return m_path; }      ///< as it was given
  const std::string& target() const { return m_target; }  ///< symbolic links followed
  const std::string& folder() const { return m_folder; }
  /// The prepared file; empty when there is none, and the target is overwritten on commit.
  const std::string& aside() const { return m_aside; }
  /// Whether there was no file when it was prepared.
  bool isNew() const { return m_isNew; }

  /// The reason of the last failure, for people.
  const std::string& error() const { return m_error; }

private:
  bool fail(const char* what, int code);
  bool overwrite();

  std::string m_path;
  std::string m_target;
  std::string m_folder;
  std::string m_aside;
  std::string m_adopted;       // what m_content shows of an adopted file
  std::string_view m_content;  // borrowed
  bool m_isNew = false;
  std::string m_error;
};

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

  /// Puts the prepared content in the file's place. On false, error() tells why.
  bool commit();

  /// Takes a committed file away again.
  void remove();

  const std::string& path() const { return m_path; }

  /// The reason of the last failure, for people.
  const std::string& error() const { return m_error; }

private:
  bool fail(const char* what, int code);
  bool overwrite();

  std::string m_path;          // as it was given
  std::string m_target;        // the file itself, symbolic links followed
  std::string m_folder;        // where it lies
  std::string m_aside;         // the new file; empty when there is none
  std::string_view m_content;  // borrowed
  std::string m_error;
};

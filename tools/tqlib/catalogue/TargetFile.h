// Files of the operator: where transfers come from and go to.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <span>
#include <string>

/// A file descriptor; standard input and output are borrowed and stay open.
class Descriptor {
public:
  explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return m_descriptor; }

private:
  int m_descriptor;
};

/// Whether a FILE argument stands for standard input or output.
bool isStandardStream(const std::string& file);

/// Opens a file, or standard input, for reading. Throws Failure.
int openForReading(const std::string& file);

/// Reads until `block` is full, the input ends or a signal is noted, and returns the bytes read.
/// Throws Failure.
std::size_t readBlock(int descriptor, std::span<unsigned char> block);

/// Where read data goes. A regular file is built aside and takes its place by commit(), so that a
/// transfer that breaks off leaves neither half a file nor the loss of an older one.
class TargetFile {
public:
  explicit TargetFile(const std::string& file);
  /// Removes what was built when there was no commit.
  ~TargetFile();
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  /// Both throw Failure, and Interrupted when a signal was noted.
  void write(std::span<const unsigned char> block);
  void commit();

private:
  int open(const std::string& file);
  void refuseInterrupted() const;

  std::filesystem::path m_target;
  std::filesystem::path m_aside;  ///< empty when the data goes straight to its place
  Descriptor m_descriptor;
};

/// Gives an open file or folder the owner and the permissions of an older one, as far as this user
/// may. `path` names it in a Failure.
void keepAccess(const struct stat& old, int file, const std::filesystem::path& path);

/// Brings what was created, renamed or removed in `folder` to the disk. Throws Failure.
void syncFolder(const std::filesystem::path& folder);

// The power fails after each system call of an operation. A model of the disk derives from the
// recorded calls what may be on it then; the catalogue must be the old one or the new one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <algorithm>
#include <set>

#include "ChangingOperations.h"

namespace tests {
namespace {

/// A disk that keeps no more than it must: a file's bytes once the file is synced, a name once its
/// folder is synced.
class Disk {
public:
  Disk(const fs::path& root, const State& state) : m_root(root.string() + "/") {
    for (const auto& [path, bytes] : state) make(path, bytes);
    m_pending.clear();
    m_durable = m_names;
  }

  void apply(const SystemCall& call) {
    if (call.result < 0) return;
    const int fd = static_cast<int>(call.arguments[0]);
    switch (call.number) {
      case SYS_openat:
        return open(call, pathAt(fd, call.path));
      case SYS_close:
        m_open.erase(fd);
        return;
      case SYS_write:
        ASSERT_LE(call.result, std::ssize(call.data));
        return write(m_open[fd], {call.data, static_cast<size_t>(call.result)});
      case SYS_fsync:
        return sync(m_open[fd]);
      case SYS_renameat2:
      case SYS_rename:
        return change({pathAt(AT_FDCWD, call.path), pathAt(AT_FDCWD, call.secondPath), 0});
      case SYS_unlink:
        return change({pathAt(AT_FDCWD, call.path), "", 0});
      case SYS_mkdir:
        return make(pathAt(AT_FDCWD, call.path) + "/", "");
      default: {
        constexpr int harmless[] = {SYS_read,       SYS_fstat,    SYS_newfstatat, SYS_access,
                                    SYS_faccessat2, SYS_readlink, SYS_flock,      SYS_getdents64,
                                    SYS_lseek,      SYS_fchmod,   SYS_fchown,     SYS_statfs};
        EXPECT_NE(std::ranges::find(harmless, call.number), std::end(harmless)) << call.number;
      }
    }
  }

  /// What may be there after the power failed: only what is synced; all names, but only synced
  /// bytes; one changed name alone; all changed names but one.
  std::vector<State> images() const {
    std::vector<State> all{image(m_durable), image(m_names)};
    for (const Change& one : m_pending) {
      Names alone = m_durable;
      Names others = m_durable;
      for (const Change& change : m_pending) change.apply(&change == &one ? alone : others);
      all.push_back(image(alone));
      all.push_back(image(others));
    }
    return all;
  }

private:
  using Names = std::map<std::string, size_t>;
  struct File {
    std::string bytes;
    std::string durable;
  };
  struct Open {
    std::string path;
    size_t file;
  };
  /// A name that is made (`from` is empty), changed, or removed (`to` is empty).
  struct Change {
    std::string from;
    std::string to;
    size_t file;

    void apply(Names& names) const {
      names.erase(from);
      if (!to.empty()) names[to] = file;
    }
    bool isIn(const std::string& folder) const {
      return folderOf(to.empty() ? from : to) == folder;
    }
  };

  static std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/', path.size() - 2) + 1);
  }
  /// Without "/" at its end, also for a folder.
  std::string pathAt(int folder, const char* name) const {
    const fs::path base = folder == AT_FDCWD ? m_root + "work" : m_open.at(folder).path;
    const std::string path = (base / name).lexically_normal().string();
    return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
  }

  void change(Change change) {
    if (!change.from.empty()) change.file = m_names.at(change.from);
    change.apply(m_names);
    m_pending.push_back(change);
  }
  void make(const std::string& path, const std::string& bytes) {
    m_files.push_back({bytes, bytes});
    change({"", path, m_files.size() - 1});
  }
  void open(const SystemCall& call, const std::string& path) {
    EXPECT_EQ(call.arguments[2] & O_TRUNC, 0);
    const std::string name = m_names.contains(path + "/") ? path + "/" : path;
    if (!m_names.contains(name)) make(name, "");
    m_open[static_cast<int>(call.result)] = {path, m_names.at(name)};
  }
  void write(const Open& open, const std::string& data) {
    EXPECT_TRUE(m_files[open.file].durable.empty()) << open.path << " is overwritten";
    m_files[open.file].bytes += data;
  }
  void sync(const Open& open) {
    m_files[open.file].durable = m_files[open.file].bytes;
    std::erase_if(m_pending, [&](const Change& change) {
      const bool isSynced = change.isIn(open.path + "/");
      if (isSynced) change.apply(m_durable);
      return isSynced;
    });
  }

  State image(const Names& names) const {
    State state;
    for (const auto& [path, file] : names)
      if (folderOf(path) == m_root || state.contains(folderOf(path)))
        state[path] = m_files[file].durable;
    return state;
  }

  std::string m_root;
  std::vector<File> m_files;
  Names m_names;  // to indices of m_files
  Names m_durable;
  std::vector<Change> m_pending;
  std::map<int, Open> m_open;
};

class PowerLoss : public testing::TestWithParam<ChangingOperation> {};

TEST_P(PowerLoss, LeavesTheOldCatalogueOrTheNewOne) {
  const FaultyCatalogue catalogue;
  const States states = GetParam().states(catalogue);
  catalogue.become(states.begun);
  std::vector<SystemCall> calls;
  runInChild(catalogue.path().string(), GetParam(), {}, &calls);

  Disk disk(catalogue.path(), states.begun);
  std::set<State> seen;
  for (const SystemCall& call : calls) {
    disk.apply(call);
    for (const State& image : disk.images()) {
      if (!seen.insert(image).second) continue;
      catalogue.become(image);
      const std::string found = catalogue.look(states);
      EXPECT_TRUE(found == "old" || found == "new")
          << found << " after number " << call.number << ' ' << call.path;
      EXPECT_EQ(catalogue.nextSave(), "");
    }
  }
  catalogue.become(disk.images()[0]);
  EXPECT_EQ(catalogue.look(states), "new") << "what is reported as done is not durable";
}

INSTANTIATE_TEST_SUITE_P(Operations, PowerLoss, testing::ValuesIn(changingOperations()),
                         nameOfParam);

}  // namespace
}  // namespace tests

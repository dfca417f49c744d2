// The configuration: an INI file. It is parsed again only when its metadata shows a change.

#include "TqPlatform/PlatformInfo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "OpenFile.h"
#include "TqPlatform/MMDebug.h"

namespace {

using boost::property_tree::ptree;
using std::chrono::nanoseconds;

constexpr char kDefaultFile[] = "/etc/tqlib.ini";
constexpr char kOrigin[] = "TQPlatformInfo";

const char* configuredFile() {
  const char* const path = std::getenv("TQ_PLATFORM_CONFIG");
  return path != nullptr && *path != '\0' ? path : kDefaultFile;
}

/// Appends the content of `file` to `text`; 0 or an errno value.
int read(const std::string& file, std::string& text) {
  const OpenFile input(file.c_str(), O_RDONLY);
  if (input.get() < 0) {
    return errno;
  }
  char buffer[1024];
  for (;;) {
    const ssize_t count = ::read(input.get(), buffer, sizeof buffer);
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return count == 0 ? 0 : errno;
    }
  }
}

nanoseconds sinceEpoch(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

/// Identifies the content of a file without reading it.
struct FileVersion {
  dev_t device;
  ino_t inode;
  off_t size;
  nanoseconds modified;
  nanoseconds changed;

  explicit FileVersion(const struct stat& record)
      : device(record.st_dev),
        inode(record.st_ino),
        size(record.st_size),
        modified(sinceEpoch(record.st_mtim)),
        changed(sinceEpoch(record.st_ctim)) {}

  bool operator==(const FileVersion&) const = default;

  /// Whether a later change must change the time stamps. Their resolution is 2 s on the coarsest
  /// file systems.
  bool isSettled() const {
    const nanoseconds now = std::chrono::system_clock::now().time_since_epoch();
    return now - changed > std::chrono::seconds(2);
  }
};

}  // namespace

struct TQPlatformInfo::Store {
  /// A section with its values. Each block transfer looks up values. A linear search is the
  /// fastest, because there are few names, mostly of different length.
  struct Section {
    std::string name;
    std::vector<std::pair<std::string, std::string>> values;  ///< key and value
  };
  std::vector<Section> sections;
  std::string fault;    ///< why the existing file cannot be used; empty: no fault
  bool isLost = false;  ///< there is a fault, and no earlier content is known

  struct Cache {
    std::mutex mutex;
    std::string path;                    ///< the file from which `store` was read
    std::optional<FileVersion> version;  ///< of its content; no value: read the file again
    std::shared_ptr<const Store> store;  ///< the last usable store
  };
  static Cache cache;  // not local to a function: it must outlive the embedder's static objects

  static std::shared_ptr<const Store> current();
  static std::shared_ptr<const Store> without(std::string fault, const std::string& file);
  static std::shared_ptr<const Store> unreadable(const std::string& file, int code);
  static std::shared_ptr<const Store> parsed(const std::string& file,
                                             const std::optional<FileVersion>& version);

  /// The value of `key` in `section`, or null.
  const std::string* find(const char* section, const char* key) const {
    const std::string_view sectionName = section;
    const std::string_view keyName = key;
    for (const Section& each : sections) {
      if (each.name == sectionName) {
        for (const auto& [name, value] : each.values) {
          if (name == keyName) {
            return &value;
          }
        }
      }
    }
    return nullptr;
  }
};

TQPlatformInfo::Store::Cache TQPlatformInfo::Store::cache;

// The values that were read before stay in use: a disk error or a typing error in the file must not
// make a running emulator write to another directory.
std::shared_ptr<const TQPlatformInfo::Store> TQPlatformInfo::Store::without(
    std::string fault, const std::string& file) {
  auto store = std::make_shared<Store>();
  store->fault = std::move(fault);
  if (cache.store != nullptr && cache.path == file) {
    store->sections = cache.store->sections;
  } else {
    store->isLost = true;
  }
  return store;
}

std::shared_ptr<const TQPlatformInfo::Store> TQPlatformInfo::Store::unreadable(
    const std::string& file, int code) {
  if (code == ENOENT || code == ENOTDIR) {
    return std::make_shared<Store>();
  }
  return without("Failed to read " + file + ", error: " + std::generic_category().message(code),
                 file);
}

std::shared_ptr<const TQPlatformInfo::Store> TQPlatformInfo::Store::parsed(
    const std::string& file, const std::optional<FileVersion>& version) {
  auto store = std::make_shared<Store>();
  try {
    std::string text;
    if (const int code = read(file, text); code != 0) {
      return unreadable(file, code);
    }
    std::istringstream stream(text);
    ptree tree;
    boost::property_tree::read_ini(stream, tree);
    for (const auto& [name, values] : tree) {
      Section section{name, {}};
      for (const auto& [key, value] : values) {
        section.values.emplace_back(key, value.data());
      }
      store->sections.push_back(std::move(section));
    }
  } catch (const boost::property_tree::ini_parser_error& error) {
    return without("Failed to parse " + file + ", line " + std::to_string(error.line()) +
                       ", error: " + error.message(),
                   file);
  }
  cache.path = file;
  cache.version = version;
  cache.store = store;
  return store;
}

std::shared_ptr<const TQPlatformInfo::Store> TQPlatformInfo::Store::current() {
  const char* const file = configuredFile();
  const std::scoped_lock lock(cache.mutex);
  struct stat record;  // filled whole or not used
  if (::stat(file, &record) != 0) {
    const int code = errno;  // saved before a string is constructed, which may change it
    return unreadable(file, code);
  }
  if (!S_ISREG(record.st_mode)) {
    return unreadable(file, S_ISDIR(record.st_mode) ? EISDIR : EINVAL);
  }
  // The version is taken before the file is read. After a change in between, the cached version is
  // the old one, and the file is read again.
  const FileVersion version(record);
  if (cache.version == version && cache.path == file) {
    return cache.store;
  }
  return parsed(file, version.isSettled() ? std::optional(version) : std::nullopt);
}

const char* TQPI_Focus::getFocus() {
  return "default";
}

TQPlatformInfo::TQPlatformInfo() : m_store(Store::current()) {
  if (!m_store->fault.empty()) {
    EvDebug::Error("", kOrigin, "%s", m_store->fault.c_str());
  }
}

TQPlatformInfo::~TQPlatformInfo() = default;

void TQPlatformInfo::setFocus(const char* /*focus*/) {
  // One file is one configuration.
}

// For a folder that is not set, callers use the working directory. Therefore, if the value cannot
// be read or does not fit, they receive a path where nothing can be created.
int TQPlatformInfo::getString(const char* section, const char* key, char* buffer, int* length) {
  static const std::string nowhere = "/dev/null/unreadable-configuration";
  const auto fits = [&](const std::string& text) {
    return *length > 0 && text.size() < static_cast<std::size_t>(*length);
  };
  const std::string* value = m_store->isLost ? &nowhere : m_store->find(section, key);
  if (value == nullptr) {
    return 0;
  }
  if (!fits(*value)) {
    EvDebug::Error("", kOrigin, "Value of %s in section %s is longer than %d bytes", key, section,
                   *length - 1);
    value = &nowhere;
    if (!fits(*value)) {
      return 0;
    }
  }
  std::memcpy(buffer, value->c_str(), value->size() + 1);
  *length = static_cast<int>(value->size());
  return 1;
}

int TQPlatformInfo::getDirectory(const char* base, const char* key, char* buffer, int* length) {
  return getString(base, key, buffer, length);
}

int TQPlatformInfo::getNumber(const char* section, const char* key, unsigned long* value) {
  const std::string* const text = m_store->find(section, key);
  if (text == nullptr) {
    return 0;
  }
  unsigned long number = 0;
  const char* const end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, number);
  if (error != std::errc() || rest != end) {
    EvDebug::Error("", kOrigin, "Value of %s in section %s is not a number: %s", key, section,
                   text->c_str());
    return 0;
  }
  *value = number;
  return 1;
}

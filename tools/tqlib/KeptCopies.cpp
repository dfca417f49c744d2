#include "KeptCopies.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "CatalogueNames.h"
#include "Errors.h"
#include "LeftOvers.h"
#include "TargetFile.h"
#include "XmlScan.h"

namespace {

std::string copyName(const std::string& file) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char time[32] = "";
  if (localtime_r(&now, &local) != nullptr) {
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
  }
  const std::string name = file + names::kBeforeFix + time;
  std::string free = name;
  for (int number = 2; !isAbsent(free); ++number) free = name + "-" + std::to_string(number);
  return free;
}

bool isSame(const std::string& file, const std::string& other) {
  try {
    return fileContent(file) == fileContent(other);
  } catch (const std::exception&) {
    return false;
  }
}

// What only some may read is never there for all, not even while it is written.
class PrivateFiles {
public:
  PrivateFiles() : m_before(umask(077)) {}
  ~PrivateFiles() { umask(m_before); }
  PrivateFiles(const PrivateFiles&) = delete;
  PrivateFiles& operator=(const PrivateFiles&) = delete;

private:
  mode_t m_before;
};

// Only root may give a file away; others can keep the group at best, or have it for themselves.
void giveAccess(const std::string& file, const std::string& copy) {
  struct stat original {};
  if (stat(file.c_str(), &original) != 0) throw systemFailure(file, errno);
  const bool isShared = chown(copy.c_str(), original.st_uid, original.st_gid) == 0 ||
                        chown(copy.c_str(), uid_t(-1), original.st_gid) == 0;
  const mode_t kept = original.st_mode & (isShared ? 0777 : 0700);
  if (chmod(copy.c_str(), kept) != 0) {
    throw systemFailure("cannot set the permissions of " + copy, errno);
  }
}

void copyContent(const std::string& file, const std::string& copy) {
  const std::string content = fileContent(file);
  const PrivateFiles guard;
  TargetFile target(copy);
  target.write({reinterpret_cast<const unsigned char*>(content.data()), content.size()});
  target.commit();
}

}  // namespace

KeptCopies::~KeptCopies() {
  settle();
}

void KeptCopies::settle() {
  for (auto each = m_copies.begin(); each != m_copies.end();) {
    const auto& [file, copy] = *each;
    const bool isNeeded = !isSame(file, copy) || unlink(copy.c_str()) != 0;
    each = isNeeded ? std::next(each) : m_copies.erase(each);
  }
}

void KeptCopies::keep(const std::string& file) {
  if (m_copies.count(file) != 0 || isAbsent(file)) return;
  const std::string copy = copyName(file);
  copyContent(file, copy);
  m_copies.emplace(file, copy);
  giveAccess(file, copy);
}

std::string KeptCopies::copyOf(const std::string& file) const {
  const auto copy = m_copies.find(file);
  return copy == m_copies.end() ? "" : copy->second;
}

std::vector<std::string> KeptCopies::all() const {
  std::vector<std::string> copies;
  for (const auto& each : m_copies) copies.push_back(each.second);
  return copies;
}

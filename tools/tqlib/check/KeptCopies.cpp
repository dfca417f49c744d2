#include "check/KeptCopies.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "base/Errors.h"
#include "catalogue/CatalogueNames.h"
#include "check/LeftOvers.h"
#include "common/FileContent.h"
#include "files/ReplacedFile.h"
#include "files/Names.h"

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
  const auto content = contentOf(file);
  return content && content == contentOf(other);
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
  const auto content = contentOf(file);
  if (!content) throw systemFailure(file, errno);
  ReplacedFile kept(copy, Existing::Kept);
  kept.copyAccessOf(file);
  if (!kept.prepare(*content) || !kept.commit()) throw Failure(copy + ": " + kept.error());
  m_copies.emplace(file, copy);
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

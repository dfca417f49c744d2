#include "KeptCopies.h"

#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "Errors.h"
#include "LeftOvers.h"
#include "XmlScan.h"

namespace fs = std::filesystem;

namespace {

std::string copyName(const std::string& file) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  char time[32] = "";
  if (localtime_r(&now, &local) != nullptr) {
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", &local);
  }
  const std::string name = file + ".before-fix-" + time;
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
  std::error_code failure;
  fs::copy_file(file, copy, failure);  // never onto a file that is there
  if (failure) {
    unlink(copy.c_str());
    throw systemFailure("cannot keep a copy of " + file, failure.value());
  }
  m_copies.emplace(file, copy);
}

std::string KeptCopies::copyOf(const std::string& file) const {
  const auto copy = m_copies.find(file);
  return copy == m_copies.end() ? "" : copy->second;
}

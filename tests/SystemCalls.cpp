// The seccomp filter, its handler, and the memory that child and parent share.
#include "SystemCalls.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <stdexcept>

// Defined under AddressSanitizer.
[[gnu::weak]] int findLeaks() asm("__lsan_do_recoverable_leak_check");

namespace tests {
namespace {

constexpr int kDescriptors = 256;
constexpr int kRecords = 512;

/// How a call names its object: by the descriptor in argument 0, or by paths.
struct Rule {
  long number;
  int path;        // index of the argument; -1: none
  int secondPath;  // the same
  bool isCounted(const long* arguments) const;
};

std::vector<Rule> rules() {
  const struct {
    std::vector<int> calls;
    int path = -1;
    int secondPath = -1;
  } groups[] = {
      {.calls = {SYS_read, SYS_pread64, SYS_readv, SYS_write, SYS_pwrite64, SYS_writev, SYS_lseek,
                 SYS_fsync, SYS_fdatasync, SYS_fchmod, SYS_fchown, SYS_ftruncate, SYS_flock,
                 SYS_fallocate, SYS_getdents64, SYS_fstat, SYS_close}},
      {.calls = {SYS_open, SYS_creat, SYS_mkdir, SYS_unlink, SYS_rmdir, SYS_truncate, SYS_chmod,
                 SYS_chown, SYS_access, SYS_stat, SYS_lstat, SYS_readlink, SYS_statfs},
       .path = 0},
      {.calls = {SYS_openat, SYS_mkdirat, SYS_unlinkat, SYS_newfstatat, SYS_statx, SYS_faccessat,
                 SYS_faccessat2, SYS_readlinkat},
       .path = 1},
      {.calls = {SYS_rename, SYS_link}, .path = 0, .secondPath = 1},
      {.calls = {SYS_renameat, SYS_renameat2, SYS_linkat}, .path = 1, .secondPath = 3}};
  std::vector<Rule> all;
  for (const auto& group : groups)
    for (const int number : group.calls) all.push_back({number, group.path, group.secondPath});
  return all;
}

const std::vector<Rule> kRules = rules();

/// What child and parent share. Of fixed size, because the handler may not allocate.
struct Exchange {
  ChildRun run;
  Fault fault;
  char root[sizeof SystemCall::path];
  bool isWatching;
  bool isWatched[kDescriptors];
  SystemCall record[kRecords];  // of all calls
};

Exchange* exchange = nullptr;

/// Makes the call from code that the filter lets pass.
long systemCall(long number, const long* a) {
  register long fourth asm("r10") = a[3];
  register long fifth asm("r8") = a[4];
  register long sixth asm("r9") = a[5];
  asm volatile("syscall"
               : "+a"(number)
               : "D"(a[0]), "S"(a[1]), "d"(a[2]), "r"(fourth), "r"(fifth), "r"(sixth)
               : "rcx", "r11", "memory");
  return number;
}

bool isWatchedDescriptor(long number) {
  const int descriptor = static_cast<int>(number);
  return descriptor >= 0 && descriptor < kDescriptors && exchange->isWatched[descriptor];
}

const char* textAt(const long* arguments, int index) {
  return index < 0 ? nullptr : std::bit_cast<const char*>(arguments[index]);
}

bool Rule::isCounted(const long* arguments) const {
  if (!exchange->isWatching) return false;
  if (path < 0) return isWatchedDescriptor(arguments[0]);
  const char* const name = textAt(arguments, path);
  const size_t size = std::strlen(exchange->root);
  if (name == nullptr) return false;
  if (name[0] == '/')
    return std::strncmp(name, exchange->root, size) == 0 &&
           (name[size] == '/' || name[size] == '\0');
  return path == 0 || static_cast<int>(arguments[0]) == AT_FDCWD ||
         isWatchedDescriptor(arguments[0]);
}

void copyText(char (&to)[sizeof SystemCall::path], const char* from) {
  if (from != nullptr) std::strncpy(to, from, sizeof to - 1);
}

void record(SystemCall& call, const Rule& rule, const long* arguments, long result) {
  call.number = rule.number;
  call.result = result;
  std::copy(arguments, arguments + 6, call.arguments);
  copyText(call.path, textAt(arguments, rule.path));
  copyText(call.secondPath, textAt(arguments, rule.secondPath));
  if (rule.number == SYS_write && result > 0 && result <= std::ssize(call.data))
    std::copy_n(textAt(arguments, 1), result, call.data);
}

long countedCall(const Rule& rule, const long* arguments) {
  const Fault& fault = exchange->fault;
  const int count = ++exchange->run.calls;
  const bool isHit = fault.kind == Fault::Permanent
                         ? count >= fault.at
                         : fault.kind != Fault::None && count == fault.at;
  if ((isHit && fault.kind == Fault::Death) || count > kRecords) {
    const long death[6] = {systemCall(SYS_getpid, arguments), SIGKILL};
    systemCall(SYS_kill, death);
  }
  const bool isClose = rule.number == SYS_close;  // closes even if it fails
  const long made = isHit && !isClose ? -fault.error : systemCall(rule.number, arguments);
  const bool isOpen =
      rule.number == SYS_open || rule.number == SYS_openat || rule.number == SYS_creat;
  if (isOpen && made >= 0 && made < kDescriptors) exchange->isWatched[made] = true;
  if (isClose) exchange->isWatched[arguments[0]] = false;
  record(exchange->record[count - 1], rule, arguments, made);
  return isHit ? -fault.error : made;
}

void onTrap(int, siginfo_t*, void* context) {
  auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  const long arguments[6] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                             registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
  const long number = registers[REG_RAX];
  const auto rule =
      std::find_if(kRules.begin(), kRules.end(), [=](const Rule& r) { return r.number == number; });
  registers[REG_RAX] =
      rule->isCounted(arguments) ? countedCall(*rule, arguments) : systemCall(number, arguments);
}

/// The addresses of the C library's code. Calls from elsewhere pass, as the handler's own must.
std::pair<uint64_t, uint64_t> libraryCode() {
  std::ifstream map("/proc/self/maps");
  for (std::string range, rights, line; map >> range >> rights && std::getline(map, line);)
    if (rights == "r-xp" && line.find("/libc.so.6") != std::string::npos)
      return {std::stoull(range, nullptr, 16),
              std::stoull(range.substr(range.find('-') + 1), nullptr, 16)};
  return {};
}

sock_filter load(size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset));
}

/// Skips `yes` instructions if the comparison holds, else `no`.
sock_filter jump(int comparison, uint64_t value, size_t yes, size_t no) {
  return BPF_JUMP(static_cast<uint16_t>(BPF_JMP | comparison | BPF_K), static_cast<uint32_t>(value),
                  static_cast<uint8_t>(yes), static_cast<uint8_t>(no));
}

bool installFilter() {
  const auto [first, last] = libraryCode();
  constexpr size_t pointer = offsetof(seccomp_data, instruction_pointer);
  const size_t count = kRules.size();
  std::vector<sock_filter> program{load(pointer + 4),
                                   jump(BPF_JEQ, first >> 32, 0, count + 4),
                                   load(pointer),
                                   jump(BPF_JGE, first, 0, count + 2),
                                   jump(BPF_JGE, last, count + 1, 0),
                                   load(offsetof(seccomp_data, nr))};
  for (size_t i = 0; i < count; ++i)
    program.push_back(jump(BPF_JEQ, static_cast<uint64_t>(kRules[i].number), count - i, 0));
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  struct sigaction action {};
  action.sa_sigaction = onTrap;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  return sigaction(SIGSYS, &action, nullptr) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

[[noreturn]] void runChild(const std::function<Outcome()>& operation) {
  ChildRun& run = exchange->run;
  alarm(60);
  if (chdir((exchange->root + std::string("/work")).c_str()) != 0 || !installFilter()) _exit(2);
  const int before = openDescriptors();
  exchange->isWatching = true;
  run.outcome = operation();
  exchange->isWatching = false;
  run.descriptors = openDescriptors() - before;
  // One failure reaches every way out, and a search for leaks is slow.
  const bool isTried = exchange->fault.kind == Fault::Once && exchange->fault.error == EIO;
  if (isTried && findLeaks != nullptr) run.hasLeaks = findLeaks() != 0;
  run.isDone = true;
  _exit(0);
}

}  // namespace

ChildRun runInChild(const std::string& root, const std::function<Outcome()>& operation,
                    const Fault& fault, std::vector<SystemCall>* record) {
  void* const room =
      mmap(nullptr, sizeof(Exchange), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (room == MAP_FAILED) throw std::runtime_error("no room to share with a child");
  exchange = static_cast<Exchange*>(room);
  exchange->fault = fault;
  copyText(exchange->root, root.c_str());
  const pid_t child = fork();
  if (child == 0) runChild(operation);
  if (child < 0 || waitpid(child, &exchange->run.status, 0) != child)
    throw std::runtime_error("no child");
  const ChildRun run = exchange->run;
  if (record != nullptr)
    record->assign(exchange->record, exchange->record + std::min(run.calls, kRecords));
  munmap(room, sizeof(Exchange));
  return run;
}

}  // namespace tests

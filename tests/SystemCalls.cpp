// The handler of trapped calls, and the memory that child and parent share.
#include "SystemCalls.h"

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
#include <stdexcept>

// Defined under AddressSanitizer.
[[gnu::weak]] int findLeaks() asm("__lsan_do_recoverable_leak_check");

namespace tests {
namespace {

constexpr int kDescriptors = 256;
constexpr int kRecords = 512;

/// How calls name their object: by the descriptor in argument 0, or by paths.
struct Rule {
  std::vector<long> calls;
  int path = -1;        // index of the argument; -1: none
  int secondPath = -1;  // the same
  bool isCounted(const long* arguments) const;
};

const Rule kRules[] = {
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

/// What child and parent share. Of fixed size, because the handler may not allocate.
struct Exchange {
  ChildRun run;
  Fault fault;
  char root[sizeof SystemCall::path];
  volatile char trap;  // read by the kernel: what it does with the next call
  bool isWatched[kDescriptors];
  SystemCall record[kRecords];  // of all calls
};

Exchange* exchange = nullptr;

/// The result as the kernel returns it.
long systemCall(long number, const long* a) {
  const long result = syscall(number, a[0], a[1], a[2], a[3], a[4], a[5]);
  return result == -1 ? -errno : result;
}

bool isWatchedDescriptor(long number) {
  const int descriptor = static_cast<int>(number);
  return descriptor >= 0 && descriptor < kDescriptors && exchange->isWatched[descriptor];
}

const char* textAt(const long* arguments, int index) {
  return index < 0 ? nullptr : std::bit_cast<const char*>(arguments[index]);
}

bool Rule::isCounted(const long* arguments) const {
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

void record(SystemCall& call, long number, const Rule& rule, const long* arguments, long result) {
  call.number = number;
  call.result = result;
  std::copy(arguments, arguments + 6, call.arguments);
  copyText(call.path, textAt(arguments, rule.path));
  copyText(call.secondPath, textAt(arguments, rule.secondPath));
  if (number == SYS_write && result > 0 && result <= std::ssize(call.data))
    std::copy_n(textAt(arguments, 1), result, call.data);
}

long countedCall(long number, const Rule& rule, const long* arguments) {
  const Fault& fault = exchange->fault;
  const int count = ++exchange->run.calls;
  const bool isHit = fault.kind == Fault::Permanent
                         ? count >= fault.at
                         : fault.kind != Fault::None && count == fault.at;
  if ((isHit && fault.kind == Fault::Death) || count > kRecords) kill(getpid(), SIGKILL);
  const bool isClose = number == SYS_close;  // closes even if it fails
  const long made = isHit && !isClose ? -fault.error : systemCall(number, arguments);
  const bool isOpen = number == SYS_open || number == SYS_openat || number == SYS_creat;
  if (isOpen && made >= 0 && made < kDescriptors) exchange->isWatched[made] = true;
  if (isClose) exchange->isWatched[arguments[0]] = false;
  record(exchange->record[count - 1], number, rule, arguments, made);
  return isHit ? -fault.error : made;
}

void onTrap(int, siginfo_t*, void* context) {
  exchange->trap = SYSCALL_DISPATCH_FILTER_ALLOW;
  const int before = errno;
  auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  const long arguments[6] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                             registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
  const long number = registers[REG_RAX];
  const auto* const rule = std::ranges::find_if(
      kRules, [=](const Rule& r) { return std::ranges::count(r.calls, number) != 0; });
  const bool isCounted = rule != std::end(kRules) && rule->isCounted(arguments);
  registers[REG_RAX] =
      isCounted ? countedCall(number, *rule, arguments) : systemCall(number, arguments);
  errno = before;
  exchange->trap = SYSCALL_DISPATCH_FILTER_BLOCK;
}

/// Sends each call to the handler, but for the one by which the handler itself returns.
bool trapCalls() {
  struct sigaction action {};
  action.sa_sigaction = onTrap;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSYS, &action, nullptr);
  struct {
    void* handler;
    unsigned long flags;
    void* handlersReturn;
    unsigned long mask;
  } kernels;
  syscall(SYS_rt_sigaction, SIGSYS, nullptr, &kernels, sizeof kernels.mask);
  return prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, kernels.handlersReturn, 16,
               &exchange->trap) == 0;
}

[[noreturn]] void runChild(const std::function<Outcome()>& operation) {
  ChildRun& run = exchange->run;
  alarm(60);
  if (chdir((exchange->root + std::string("/work")).c_str()) != 0 || !trapCalls()) _exit(2);
  const int before = openDescriptors();
  exchange->trap = SYSCALL_DISPATCH_FILTER_BLOCK;
  run.outcome = operation();
  exchange->trap = SYSCALL_DISPATCH_FILTER_ALLOW;
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

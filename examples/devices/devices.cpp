// Shows a program the units of a target, if it is preloaded: /dev/tq/sgN is unit N with SG_IO or
// with write(2) and read(2) of headers, and /dev/tq/nstN is the drive of unit N + 1 behind a tape
// driver as st(4) describes it. So programs can be tried on an emulator without a driver or root's
// rights:
//
//   LD_PRELOAD=$PWD/libdevices.so TQ_SCSI_SOCKET=socket mtx -f /dev/tq/sg0 status
//
// There is no folder /dev/tq, so that a call that is missing here reaches no real device. The
// descriptor that the program gets is one of eventfd(2), so that it can wait for a result.
//
// A program that another one starts does not inherit a device, so a shell cannot redirect to one.
// Not caught: streams (fopen, printf), calls with vectors or offsets, fstatat, statx, readlink,
// realpath, dup3.
#include <fcntl.h>
#include <linux/major.h>
#include <scsi/scsi.h>
#include <scsi/sg.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mtio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "Message.h"

namespace {

unsigned long number(const std::vector<unsigned char>& bytes, std::size_t at, std::size_t size) {
  unsigned long value = 0;
  for (std::size_t i = at; i < at + size; ++i) value = value << 8 | bytes.at(i);
  return value;
}

/// A CDB or parameters with a number behind them.
std::vector<unsigned char> with(std::vector<unsigned char> bytes, long value, int size) {
  while (size-- > 0) bytes.push_back(static_cast<unsigned char>(value >> 8 * size));
  return bytes;
}

/// Its public operations return what the system call does, or -errno.
class Device {
public:
  Device(unsigned unit, bool isTape)
      : m_unit(unit), m_isTape(isTape), m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = devices::serverAddress();
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("no server");
    }
  }
  Device(const Device&) = delete;
  ~Device() { syscall(SYS_close, m_socket); }

  long open(int flags) {
    if (number(run({0x12, 0, 0, 0, 36}).data, 0, 1) == 0x7F) return -ENXIO;
    if (!m_isTape) return 0;
    Answer answer = run({0x00});
    for (int i = 0; i < 10 && answer.key == 6; ++i) answer = run({0x00});  // unit attentions
    if (answer.isFailure && (flags & O_NONBLOCK) == 0) return answer.key == 2 ? -ENOMEDIUM : -EIO;
    m_blockLength = number(run({0x1A, 0, 0, 0, 12}).data, 9, 3);
    return 0;
  }

  long read(void* buffer, std::size_t size) {
    const bool isFixed = m_blockLength != 0;
    if (isFixed && size % m_blockLength != 0) return -EINVAL;
    const Place before = std::exchange(m_place, Place::AtBlock);
    if (before == Place::AtPassedMark) {
      m_place = Place::BehindMark;
      return 0;
    }
    m_isWriting = false;
    const Answer answer = run(with({0x08, isFixed}, blocksOf(size), 3));
    std::copy(answer.data.begin(), answer.data.end(), static_cast<unsigned char*>(buffer));
    const auto count = static_cast<long>(answer.data.size());
    if (answer.isIncorrectLength && isFixed) space(0, -1);
    if (!answer.isFailure || count > 0) {
      if (answer.isFilemark) m_place = Place::AtPassedMark;
      return answer.isIncorrectLength && answer.residue < 0 ? -ENOMEM : count;
    }
    if (answer.isFilemark) m_place = Place::BehindMark;
    // The first read at the end of data returns nothing, if a filemark is there; others fail.
    return answer.isFilemark || (answer.key == 8 && before == Place::BehindMark) ? 0 : -EIO;
  }

  // After an early warning, each second call fails: in the others, a program writes its trailer.
  long write(const void* buffer, std::size_t size) {
    const bool isFixed = m_blockLength != 0;
    if (isFixed && size % m_blockLength != 0) return -EINVAL;
    if (std::exchange(m_isWarned, false)) return -ENOSPC;
    const auto* const bytes = static_cast<const unsigned char*>(buffer);
    const Answer answer = run(with({0x0A, isFixed}, blocksOf(size), 3), {bytes, bytes + size});
    m_isWriting = true;
    m_place = Place::AtBlock;
    m_isWarned = answer.isWarning();
    if (!answer.isFailure || m_isWarned) return static_cast<long>(size);
    return answer.isEndOfMedium ? -ENOSPC : -EIO;
  }

  /// Executes a command, so that its result can be read at once.
  long submit(int descriptor, const void* header, std::size_t size) {
    if (size != sizeof(sg_io_hdr_t)) return -EINVAL;
    sg_io_hdr_t io = *static_cast<const sg_io_hdr_t*>(header);
    pass(io);
    m_results.push_back(io);
    const std::uint64_t one = 1;
    syscall(SYS_write, descriptor, &one, sizeof one);
    return static_cast<long>(size);
  }

  /// Does not wait: if there is no result, there was no command.
  long collect(int descriptor, void* header, std::size_t size) {
    if (size != sizeof(sg_io_hdr_t)) return -EINVAL;
    if (m_results.empty()) return -EAGAIN;
    *static_cast<sg_io_hdr_t*>(header) = m_results.front();
    m_results.pop_front();
    std::uint64_t one = 0;
    syscall(SYS_read, descriptor, &one, sizeof one);
    return static_cast<long>(size);
  }

  bool isTape() const { return m_isTape; }

  long control(unsigned long request, void* argument) {
    switch (request) {
      case SG_GET_VERSION_NUM:
        *static_cast<int*>(argument) = 30536;
        return 0;
      case SCSI_IOCTL_GET_IDLUN:
        std::fill_n(static_cast<unsigned*>(argument), 2, m_unit << 8);
        return 0;
      case SG_SET_TIMEOUT:
      case SG_SET_RESERVED_SIZE:
        return 0;
      case SG_IO:
        pass(*static_cast<sg_io_hdr_t*>(argument));
        return 0;
      case MTIOCTOP:
        return operate(static_cast<mtop*>(argument)->mt_op, static_cast<mtop*>(argument)->mt_count);
      case MTIOCPOS:
        static_cast<mtpos*>(argument)->mt_blkno = position();
        return 0;
      case MTIOCGET:
        *static_cast<mtget*>(argument) = status();
        return 0;
      default:
        return -ENOTTY;
    }
  }

  long release() {
    if (m_isWriting) return operate(MTWEOF, 1);
    return m_place == Place::AtPassedMark ? space(1, -1).result() : 0;
  }

  std::mutex lock;

private:
  enum class Place { AtBlock, AtPassedMark, BehindMark };

  struct Answer {
    bool isFailure = false;
    int key = 0;
    bool isFilemark = false;
    bool isEndOfMedium = false;
    bool isIncorrectLength = false;
    int residue = 0;
    std::vector<unsigned char> data{};

    bool isWarning() const { return isEndOfMedium && key == 0; }
    long result() const { return isFailure && !isWarning() ? -EIO : 0; }
  };

  devices::Message execute(std::vector<unsigned char> cdb, std::vector<unsigned char> data) {
    devices::sendMessage(m_socket, {m_unit, std::move(cdb), std::move(data)});
    return devices::receiveMessage(m_socket);
  }

  Answer run(std::vector<unsigned char> cdb, std::vector<unsigned char> data = {}) {
    devices::Message result = execute(std::move(cdb), std::move(data));
    std::vector<unsigned char> sense = result.block;
    sense.resize(18);
    return {result.number != 0,     sense[2] & 0x0F,        (sense[2] & 0x80) != 0,
            (sense[2] & 0x40) != 0, (sense[2] & 0x20) != 0, static_cast<int>(number(sense, 3, 4)),
            std::move(result.data)};
  }

  void pass(sg_io_hdr_t& io) {
    auto* const buffer = static_cast<unsigned char*>(io.dxferp);
    const bool isToDevice = io.dxfer_direction == SG_DXFER_TO_DEV;
    const devices::Message result = execute({io.cmdp, io.cmdp + io.cmd_len},
                                            {buffer, buffer + (isToDevice ? io.dxfer_len : 0)});
    const auto count = std::min<std::size_t>(result.data.size(), io.dxfer_len);
    const auto senseCount = std::min<std::size_t>(result.block.size(), io.mx_sb_len);
    std::copy_n(result.data.begin(), count, buffer);
    std::copy_n(result.block.begin(), senseCount, io.sbp);
    io.resid = isToDevice ? 0 : static_cast<int>(io.dxfer_len - count);
    io.sb_len_wr = static_cast<unsigned char>(senseCount);
    io.status = static_cast<unsigned char>(result.number);
    io.masked_status = io.status >> 1;
    io.host_status = 0;
    io.driver_status = senseCount == 0 ? 0 : 0x08;  // there is sense
    io.info = result.number == 0 ? 0 : SG_INFO_CHECK;
  }

  long blocksOf(std::size_t size) const {
    return static_cast<long>(m_blockLength == 0 ? size : size / m_blockLength);
  }
  Answer space(unsigned char code, long count) { return run(with({0x11, code}, count, 3)); }
  long position() { return static_cast<long>(number(run({0x34}).data, 4, 4)); }

  long operate(int operation, long count) {
    static const std::map<int, std::vector<unsigned char>> simple = {
        {MTREW, {0x01}},    {MTERASE, {0x19, 1}},         {MTOFFL, {0x1B}},
        {MTUNLOAD, {0x1B}}, {MTLOAD, {0x1B, 0, 0, 0, 1}}, {MTUNLOCK, {0x1E}},
        {MTEOM, {0x11, 3}}, {MTLOCK, {0x1E, 0, 0, 0, 1}}};
    if (operation == MTNOP) return 0;
    const bool isBack = operation == MTBSF || operation == MTBSFM;
    const bool isForth = operation == MTFSF || operation == MTFSFM;
    if (m_isWriting &&
        (isBack || operation == MTREW || operation == MTOFFL || operation == MTSEEK)) {
      if (operate(MTWEOF, 1) != 0) return -EIO;
      if (isBack) ++count;
    }
    m_isWriting = false;
    m_isWarned = false;
    // A filemark that a read has passed and not reported counts.
    const Place before = std::exchange(m_place, isForth ? Place::BehindMark : Place::AtBlock);
    if (before == Place::AtPassedMark && isForth) --count;
    if (before == Place::AtPassedMark && isBack) ++count;
    switch (operation) {
      case MTFSF:
      case MTBSF:
        return space(1, isBack ? -count : count).result();
      case MTFSFM:
        return space(1, count).isFailure ? -EIO : operate(MTBSF, 1);
      case MTBSFM:
        return space(1, -count).isFailure ? -EIO : operate(MTFSF, 1);
      case MTFSR:
      case MTBSR:
        return space(0, operation == MTBSR ? -count : count).result();
      case MTWEOF:
        return run(with({0x10, 0}, count, 3)).result();
      case MTSEEK:
        return run(with({0x2B, 0, 0}, count, 4)).result();
      case MTSETBLK:
        m_blockLength = static_cast<unsigned long>(count);
        return run({0x15, 0x10, 0, 0, 12}, with({0, 0, 0x10, 8, 0, 0, 0, 0, 0}, count, 3)).result();
      default:
        const auto found = simple.find(operation);
        return found == simple.end() ? -EINVAL : run(found->second).result();
    }
  }

  // A drive counts blocks and filemarks together. So this goes back over all filemarks, and forth
  // to the start of the file.
  mtget status() {
    mtget status{};
    status.mt_type = MT_ISSCSI2;
    status.mt_dsreg = static_cast<long>(m_blockLength);
    status.mt_gstat = 0x40000;  // no medium
    if (run({0x00}).isFailure) return status;
    constexpr int kAll = 0x7FFFFF;
    const long object = position();
    status.mt_fileno = kAll - space(1, -kAll).residue;
    space(1, status.mt_fileno);
    status.mt_blkno = static_cast<int>(object - position());
    run(with({0x2B, 0, 0}, object, 4));
    status.mt_gstat = 0x01000000;  // online; at the start of the tape, or behind a filemark
    if (status.mt_blkno == 0) status.mt_gstat |= status.mt_fileno == 0 ? 0x40000000 : 0x80000000L;
    return status;
  }

  unsigned m_unit;
  bool m_isTape;
  int m_socket;
  unsigned long m_blockLength = 0;
  Place m_place = Place::AtBlock;
  bool m_isWriting = false;  ///< since the last filemark
  bool m_isWarned = false;
  std::deque<sg_io_hdr_t> m_results;  ///< as many as the descriptor's events
};

/// Not destroyed: at its end, a program still closes descriptors.
struct Devices {
  std::mutex lock;
  std::map<int, std::shared_ptr<Device>> byDescriptor;
};

Devices& opened() {
  static auto& all = *new Devices;
  return all;
}

std::shared_ptr<Device> deviceOf(int descriptor) {
  const std::lock_guard guard(opened().lock);
  const auto found = opened().byDescriptor.find(descriptor);
  return found == opened().byDescriptor.end() ? nullptr : found->second;
}

/// Sets errno.
template <typename Call>
long guarded(Call call) {
  long result = -EIO;
  try {
    result = call();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "device: %s\n", failure.what());
  }
  if (result >= 0) return result;
  errno = static_cast<int>(-result);
  return -1;
}

/// A call of the device, if the descriptor has one, or else of the kernel.
template <typename Call, typename... Arguments>
long answer(int descriptor, Call call, long number, Arguments... arguments) {
  const std::shared_ptr<Device> device = deviceOf(descriptor);
  if (device == nullptr) return syscall(number, descriptor, arguments...);
  const std::lock_guard guard(device->lock);
  return guarded([&] { return call(*device); });
}

/// A device is released with its last descriptor.
long forget(int descriptor) {
  const std::shared_ptr<Device> device = deviceOf(descriptor);
  const std::lock_guard guard(opened().lock);
  opened().byDescriptor.erase(descriptor);
  return device.use_count() == 1 ? guarded([&] { return device->release(); }) : 0;
}

/// At the end of a program that does not close its device.
__attribute__((destructor)) void releaseAll() {
  while (!opened().byDescriptor.empty()) forget(opened().byDescriptor.begin()->first);
}

/// The device of a descriptor for its copy as well.
int share(int from, long copy) {
  const std::shared_ptr<Device> device = deviceOf(from);
  const std::lock_guard guard(opened().lock);
  if (device != nullptr && copy >= 0) opened().byDescriptor[static_cast<int>(copy)] = device;
  return static_cast<int>(copy);
}

bool isOurs(const char* path) {
  return std::string(path).rfind("/dev/tq/", 0) == 0;
}

long openDevice(const char* path, int flags) {
  unsigned number = 0;
  const bool isTape = std::sscanf(path, "/dev/tq/nst%u", &number) == 1;
  if (!isTape && std::sscanf(path, "/dev/tq/sg%u", &number) != 1) return -ENOENT;
  const auto device = std::make_shared<Device>(isTape ? number + 1 : number, isTape);
  const long failure = device->open(flags);
  if (failure != 0) return failure;
  static_assert(O_CLOEXEC == EFD_CLOEXEC);
  const int descriptor = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | (flags & O_CLOEXEC));
  if (descriptor < 0) return -errno;
  const std::lock_guard guard(opened().lock);
  opened().byDescriptor[descriptor] = device;
  return descriptor;
}

int describe(struct stat* status) {
  *status = {};
  status->st_mode = S_IFCHR | 0600;
  status->st_rdev = makedev(SCSI_GENERIC_MAJOR, 0);  // sg3-utils refuses others
  return 0;
}

}  // namespace

// The functions of the C library that the programs call, and their other names.
#pragma GCC visibility push(default)
extern "C" {

int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return static_cast<int>(isOurs(path) ? guarded([&] { return openDevice(path, flags); })
                                       : syscall(SYS_openat, folder, path, flags, mode));
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return openat(AT_FDCWD, path, flags, mode);
}

int creat(const char* path, mode_t mode) {
  return open(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int close(int descriptor) {
  const long result = forget(descriptor);
  return syscall(SYS_close, descriptor) == 0 ? static_cast<int>(result) : -1;
}

int dup(int from) {
  return share(from, syscall(SYS_dup, from));
}

int dup2(int from, int to) {
  if (from == to) return to;
  forget(to);
  return share(from, syscall(SYS_dup3, from, to, 0));
}

int fcntl(int descriptor, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  const long result = syscall(SYS_fcntl, descriptor, command, argument);
  const bool isCopy = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
  return isCopy ? share(descriptor, result) : static_cast<int>(result);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  const auto call = [=](Device& device) {
    return device.isTape() ? device.read(buffer, size) : device.collect(descriptor, buffer, size);
  };
  return answer(descriptor, call, SYS_read, buffer, size);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  const auto call = [=](Device& device) {
    return device.isTape() ? device.write(buffer, size) : device.submit(descriptor, buffer, size);
  };
  return answer(descriptor, call, SYS_write, buffer, size);
}

// That of the event succeeds: dd would take its skip= or seek= as done.
off_t lseek(int descriptor, off_t offset, int whence) {
  const auto call = [](Device& /*device*/) { return long{-ESPIPE}; };
  return answer(descriptor, call, SYS_lseek, offset, whence);
}

// NOLINTNEXTLINE(bugprone-exception-escape): a lock that cannot be had ends the program
int ioctl(int descriptor, unsigned long request, ...) {
  va_list rest;
  va_start(rest, request);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  const auto call = [=](Device& device) { return device.control(request, argument); };
  return static_cast<int>(answer(descriptor, call, SYS_ioctl, request, argument));
}

int faccessat(int folder, const char* path, int mode, int flags) {
  if (isOurs(path)) return 0;
  const long number = flags == 0 ? SYS_faccessat : SYS_faccessat2;  // older kernels lack the second
  return static_cast<int>(syscall(number, folder, path, mode, flags));
}

int access(const char* path, int mode) {
  return faccessat(AT_FDCWD, path, mode, 0);
}

int stat(const char* path, struct stat* status) {
  if (isOurs(path)) return describe(status);
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, status, 0));
}

int fstat(int descriptor, struct stat* status) {
  const auto call = [=](Device& /*device*/) { return describe(status); };
  return static_cast<int>(answer(descriptor, call, SYS_fstat, status));
}
}
#pragma GCC visibility pop

__asm__(
    ".globl open64, __open_2, __open64_2, openat64, __openat_2, fcntl64, lseek64, stat64, fstat64\n"
    ".set open64, open\n"
    ".set __open_2, open\n"
    ".set __open64_2, open\n"
    ".set openat64, openat\n"
    ".set __openat_2, openat\n"
    ".set fcntl64, fcntl\n"
    ".set lseek64, lseek\n"
    ".set stat64, stat\n"
    ".set fstat64, fstat\n");

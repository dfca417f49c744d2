// Preloaded into a program, shows it the logical units of a target: /dev/sgN is unit N with SG_IO;
// /dev/nstN is the drive of unit N + 1 behind a tape driver as st(4) describes it. The descriptor
// that the program gets is one of /dev/null. The environment variable TQ_SCSI_SOCKET has the
// server's socket.
#include <fcntl.h>
#include <scsi/scsi.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/mtio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "Message.h"

namespace {

constexpr unsigned kGeneric = 21;
constexpr unsigned kTape = 9;

struct Name {
  unsigned major = 0;  ///< the kernel's number of its driver; 0: not our device
  unsigned unit = 0;
};

/// Its operations return what the system call does, or -errno.
class Device {
public:
  explicit Device(const Name& theName) : name(theName), m_socket(socket(AF_UNIX, SOCK_STREAM, 0)) {
    const sockaddr_un address = clients::addressOf(std::getenv("TQ_SCSI_SOCKET"));
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("no server");
    }
  }
  Device(const Device&) = delete;
  virtual ~Device() { syscall(SYS_close, m_socket); }

  virtual long open(int flags) = 0;
  virtual long read(void* /*buffer*/, std::size_t /*size*/) { return -EINVAL; }
  virtual long write(const void* /*buffer*/, std::size_t /*size*/) { return -EINVAL; }
  virtual long control(unsigned long request, void* argument) = 0;
  virtual long release() { return 0; }

  const Name name;
  std::mutex lock;

protected:
  clients::Message execute(std::vector<unsigned char> cdb, std::vector<unsigned char> data = {}) {
    clients::sendMessage(m_socket, {name.unit, std::move(cdb), std::move(data)});
    return clients::receiveMessage(m_socket);
  }

private:
  int m_socket;
};

class GenericDevice : public Device {
public:
  using Device::Device;

  long open(int /*flags*/) override {
    return execute({0x12, 0, 0, 0, 36}).data.at(0) == 0x7F ? -ENXIO : 0;
  }

  long control(unsigned long request, void* argument) override {
    if (request == SG_GET_VERSION_NUM) {
      *static_cast<int*>(argument) = 30536;
      return 0;
    }
    if (request == SCSI_IOCTL_GET_IDLUN) {
      unsigned* const place = static_cast<unsigned*>(argument);
      place[0] = name.unit << 8;  // of target 0
      place[1] = 0;
      return 0;
    }
    if (request == SG_SET_TIMEOUT) return 0;
    if (request != SG_IO) return -ENOTTY;
    auto& io = *static_cast<sg_io_hdr_t*>(argument);
    auto* const buffer = static_cast<unsigned char*>(io.dxferp);
    const bool isToDevice = io.dxfer_direction == SG_DXFER_TO_DEV;
    const clients::Message result = execute({io.cmdp, io.cmdp + io.cmd_len},
                                            {buffer, isToDevice ? buffer + io.dxfer_len : buffer});
    const auto count = std::min<std::size_t>(result.data.size(), io.dxfer_len);
    std::copy_n(result.data.begin(), count, buffer);
    io.resid = isToDevice ? 0 : static_cast<int>(io.dxfer_len - count);
    io.sb_len_wr =
        std::min<unsigned char>(io.mx_sb_len, static_cast<unsigned char>(result.block.size()));
    std::copy_n(result.block.begin(), io.sb_len_wr, io.sbp);
    io.status = static_cast<unsigned char>(result.number);
    io.masked_status = io.status >> 1;
    io.host_status = 0;
    io.driver_status = result.block.empty() ? 0 : 0x08;  // there is sense
    io.info = result.number == 0 ? 0 : SG_INFO_CHECK;
    return 0;
  }
};

class TapeDevice : public Device {
public:
  using Device::Device;

  long open(int flags) override {
    Answer answer = run({0x00});
    for (int i = 0; i < 10 && answer.key == 6; ++i) answer = run({0x00});  // unit attentions
    if (answer.asc == 0x25) return -ENXIO;
    if (answer.isFailure && (flags & O_NONBLOCK) == 0) return answer.key == 2 ? -ENOMEDIUM : -EIO;
    m_blockLength = number(execute({0x1A, 0, 0, 0, 12}).data, 9, 3);
    return 0;
  }

  long read(void* buffer, std::size_t size) override {
    const bool isFixed = m_blockLength != 0;
    if (isFixed && size % m_blockLength != 0) return -EINVAL;
    if (m_place == Place::AtPassedMark) {
      m_place = Place::BehindMark;
      return 0;
    }
    if (m_place == Place::AtEnd) return -EIO;
    m_isWriting = false;
    std::vector<unsigned char> cdb{0x08, isFixed};
    append(cdb, isFixed ? size / m_blockLength : size, 3);
    const Answer answer = run(cdb);
    std::copy(answer.data.begin(), answer.data.end(), static_cast<unsigned char*>(buffer));
    const auto count = static_cast<long>(answer.data.size());
    const Place before = std::exchange(m_place, Place::AtBlock);
    if (!answer.isFailure) return count;
    if (answer.isFilemark) {
      m_place = count > 0 ? Place::AtPassedMark : Place::BehindMark;
      return count;
    }
    if (answer.isIncorrectLength && !isFixed) return answer.residue < 0 ? -ENOMEM : count;
    if (answer.isIncorrectLength) space(0, -1);
    if (answer.key == 8 && before == Place::BehindMark) m_place = Place::AtEnd;
    return count > 0 || m_place == Place::AtEnd ? count : -EIO;
  }

  // After an early warning, each second call fails: a program writes its trailer in the others.
  long write(const void* buffer, std::size_t size) override {
    const bool isFixed = m_blockLength != 0;
    if (isFixed && size % m_blockLength != 0) return -EINVAL;
    if (std::exchange(m_isWarned, false)) return -ENOSPC;
    std::vector<unsigned char> cdb{0x0A, isFixed};
    append(cdb, isFixed ? size / m_blockLength : size, 3);
    const auto* const bytes = static_cast<const unsigned char*>(buffer);
    const Answer answer = run(cdb, {bytes, bytes + size});
    m_isWriting = true;
    m_place = Place::AtBlock;
    m_isWarned = answer.isEndOfMedium && answer.key == 0;
    if (!answer.isFailure || m_isWarned) return static_cast<long>(size);
    return answer.isEndOfMedium ? -ENOSPC : -EIO;
  }

  long control(unsigned long request, void* argument) override {
    if (request == MTIOCTOP) {
      const auto& operation = *static_cast<const mtop*>(argument);
      return operate(operation.mt_op, operation.mt_count);
    }
    if (request == MTIOCPOS) {
      const Answer answer = run({0x34});
      static_cast<mtpos*>(argument)->mt_blkno = static_cast<long>(number(answer.data, 4, 4));
      return answer.isFailure ? -EIO : 0;
    }
    if (request != MTIOCGET) return -ENOTTY;
    *static_cast<mtget*>(argument) = status();
    return 0;
  }

  long release() override {
    if (m_isWriting) return operate(MTWEOF, 1);
    return m_place == Place::AtPassedMark ? failed(space(1, -1)) : 0;
  }

private:
  enum class Place { AtBlock, AtPassedMark, BehindMark, AtEnd };

  struct Answer {
    bool isFailure = false;
    int key = 0;
    int asc = 0;
    bool isFilemark = false;
    bool isEndOfMedium = false;
    bool isIncorrectLength = false;
    int residue = 0;
    std::vector<unsigned char> data;
  };

  static unsigned long number(const std::vector<unsigned char>& bytes, std::size_t at,
                              std::size_t size) {
    unsigned long value = 0;
    for (std::size_t i = at; i < at + size && i < bytes.size(); ++i) value = value << 8 | bytes[i];
    return value;
  }

  static void append(std::vector<unsigned char>& bytes, unsigned long value, unsigned size) {
    while (size-- > 0) bytes.push_back(static_cast<unsigned char>(value >> 8 * size));
  }

  Answer run(const std::vector<unsigned char>& cdb, const std::vector<unsigned char>& data = {}) {
    clients::Message result = execute(cdb, data);
    Answer answer;
    answer.isFailure = result.number != 0;
    answer.data = std::move(result.data);
    const std::vector<unsigned char>& sense = result.block;
    if (sense.size() < 14) return answer;
    answer.key = sense[2] & 0x0F;
    answer.asc = sense[12];
    answer.isFilemark = (sense[2] & 0x80) != 0;
    answer.isEndOfMedium = (sense[2] & 0x40) != 0;
    answer.isIncorrectLength = (sense[2] & 0x20) != 0;
    answer.residue = static_cast<int>(number(sense, 3, 4));
    return answer;
  }

  static long failed(const Answer& answer) { return answer.isFailure ? -EIO : 0; }

  Answer space(unsigned char code, long count) {
    std::vector<unsigned char> cdb{0x11, code};
    append(cdb, static_cast<unsigned long>(count), 3);
    return run(cdb);
  }

  Answer locate(unsigned long object) {
    std::vector<unsigned char> cdb{0x2B, 0, 0};
    append(cdb, object, 4);
    return run(cdb);
  }

  long setBlockLength(unsigned long length) {
    std::vector<unsigned char> data{0, 0, 0x10, 8, 0, 0, 0, 0, 0};
    append(data, length, 3);
    const Answer answer = run({0x15, 0x10, 0, 0, 12}, data);
    if (!answer.isFailure) m_blockLength = length;
    return failed(answer);
  }

  // A filemark that a read has passed, but not yet reported, counts.
  long operate(int operation, long count) {
    const bool isBack = operation == MTBSF || operation == MTBSFM;
    const bool isMoved = isBack || operation == MTREW || operation == MTOFFL || operation == MTSEEK;
    if (m_place == Place::AtPassedMark && isBack) ++count;
    if (m_place == Place::AtPassedMark && (operation == MTFSF || operation == MTFSFM)) --count;
    if (m_isWriting && isMoved) {
      if (operate(MTWEOF, 1) != 0) return -EIO;
      if (isBack) ++count;
    }
    if (operation != MTNOP) {
      m_isWriting = false;
      m_isWarned = false;
      m_place = Place::AtBlock;
    }
    switch (operation) {
      case MTFSF:
        m_place = Place::BehindMark;
        return failed(space(1, count));
      case MTBSF:
        return failed(space(1, -count));
      case MTFSFM:
        return operate(MTFSF, count) != 0 ? -EIO : operate(MTBSF, 1);
      case MTBSFM:
        return operate(MTBSF, count) != 0 ? -EIO : operate(MTFSF, 1);
      case MTFSR:
        return failed(space(0, count));
      case MTBSR:
        return failed(space(0, -count));
      case MTEOM:
        m_place = Place::AtEnd;
        return failed(space(3, 0));
      case MTWEOF: {
        std::vector<unsigned char> cdb{0x10, 0};
        append(cdb, static_cast<unsigned long>(count), 3);
        const Answer answer = run(cdb);
        return answer.isEndOfMedium && answer.key == 0 ? 0 : failed(answer);
      }
      case MTREW:
        return failed(run({0x01}));
      case MTERASE:
        return failed(run({0x19, 1}));
      case MTOFFL:
      case MTUNLOAD:
        return failed(run({0x1B}));
      case MTLOAD:
        return failed(run({0x1B, 0, 0, 0, 1}));
      case MTLOCK:
        return failed(run({0x1E, 0, 0, 0, 1}));
      case MTUNLOCK:
        return failed(run({0x1E}));
      case MTSEEK:
        return failed(locate(static_cast<unsigned long>(count)));
      case MTSETBLK:
        return setBlockLength(static_cast<unsigned long>(count));
      case MTNOP:
        return 0;
      default:
        return -EINVAL;
    }
  }

  unsigned long position() { return number(run({0x34}).data, 4, 4); }

  // A drive counts only blocks and filemarks together. So go back over all filemarks, and forth to
  // the start of the file.
  mtget status() {
    mtget status{};
    status.mt_type = MT_ISSCSI2;
    status.mt_dsreg = static_cast<long>(m_blockLength);
    status.mt_gstat = 0x10000;  // writes may be buffered
    if (run({0x00}).isFailure) {
      status.mt_gstat |= 0x40000;  // no medium
      return status;
    }
    const unsigned long object = position();
    constexpr int kAll = 0x7FFFFF;
    status.mt_fileno = kAll - space(1, -kAll).residue;
    space(1, status.mt_fileno);
    status.mt_blkno = static_cast<int>(object - position());
    locate(object);
    status.mt_gstat |= 0x01000000;  // online
    if (status.mt_blkno == 0) status.mt_gstat |= status.mt_fileno == 0 ? 0x40000000 : 0x80000000L;
    if (m_place == Place::AtEnd) status.mt_gstat |= 0x08000000;
    return status;
  }

  unsigned long m_blockLength = 0;
  Place m_place = Place::AtBlock;
  bool m_isWriting = false;
  bool m_isWarned = false;
};

/// Not destroyed: at its end, a program still closes descriptors.
struct Devices {
  std::mutex lock;
  std::map<int, std::shared_ptr<Device>> byDescriptor;
};

Devices& devices() {
  static auto& all = *new Devices;
  return all;
}

std::shared_ptr<Device> deviceOf(int descriptor) {
  const std::lock_guard guard(devices().lock);
  const auto found = devices().byDescriptor.find(descriptor);
  return found == devices().byDescriptor.end() ? nullptr : found->second;
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

/// A device was closed with its last descriptor.
long forget(int descriptor) {
  const std::shared_ptr<Device> device = deviceOf(descriptor);
  const std::lock_guard guard(devices().lock);
  devices().byDescriptor.erase(descriptor);
  return device.use_count() == 1 ? guarded([&] { return device->release(); }) : 0;
}

Name nameOf(const char* path) {
  unsigned number = 0;
  if (std::getenv("TQ_SCSI_SOCKET") == nullptr) return {};
  if (std::sscanf(path, "/dev/tq/sg%u", &number) == 1) return {kGeneric, number};
  if (std::sscanf(path, "/dev/tq/nst%u", &number) == 1) return {kTape, number + 1};
  return {};
}

long describe(const Name& name, struct stat* status) {
  *status = {};
  status->st_mode = S_IFCHR | 0600;
  status->st_rdev = makedev(name.major, name.unit);
  return 0;
}

long openDevice(const Name& name, int flags) {
  std::shared_ptr<Device> device;
  if (name.major == kTape) {
    device = std::make_shared<TapeDevice>(name);
  } else {
    device = std::make_shared<GenericDevice>(name);
  }
  const long result = device->open(flags);
  if (result < 0) return result;
  const auto descriptor =
      static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", flags & (O_ACCMODE | O_CLOEXEC)));
  const std::lock_guard guard(devices().lock);
  devices().byDescriptor[descriptor] = device;
  return descriptor;
}

}  // namespace

// The functions of the C library that programs call. The kernel is called directly.

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  const Name name = nameOf(path);
  if (name.major != 0) return static_cast<int>(guarded([&] { return openDevice(name, flags); }));
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int creat(const char* path, mode_t mode) {
  return open(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}
int __open_2(const char* path, int flags) {
  return open(path, flags);
}
int __open64_2(const char* path, int flags) {
  return open(path, flags);
}

int close(int descriptor) {
  const long result = forget(descriptor);
  return syscall(SYS_close, descriptor) == 0 ? static_cast<int>(result) : -1;
}

int dup2(int from, int to) {
  if (from == to) return to;
  close(to);
  const auto result = static_cast<int>(syscall(SYS_dup3, from, to, 0));
  const std::shared_ptr<Device> device = deviceOf(from);
  const std::lock_guard guard(devices().lock);
  if (device != nullptr && result >= 0) devices().byDescriptor[to] = device;
  return result;
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  const auto call = [=](Device& device) { return device.read(buffer, size); };
  return answer(descriptor, call, SYS_read, buffer, size);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  const auto call = [=](Device& device) { return device.write(buffer, size); };
  return answer(descriptor, call, SYS_write, buffer, size);
}

int ioctl(int descriptor, unsigned long request, ...) {
  va_list rest;
  va_start(rest, request);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  const auto call = [=](Device& device) { return device.control(request, argument); };
  return static_cast<int>(answer(descriptor, call, SYS_ioctl, request, argument));
}

int stat(const char* path, struct stat* status) {
  const Name name = nameOf(path);
  if (name.major != 0) return static_cast<int>(describe(name, status));
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, status, 0));
}

int fstat(int descriptor, struct stat* status) {
  const auto call = [=](Device& device) { return describe(device.name, status); };
  return static_cast<int>(answer(descriptor, call, SYS_fstat, status));
}
int stat64(const char* path, struct stat64* status) {
  return stat(path, reinterpret_cast<struct stat*>(status));
}
int fstat64(int descriptor, struct stat64* status) {
  return fstat(descriptor, reinterpret_cast<struct stat*>(status));
}
}
#pragma GCC visibility pop

namespace {

/// At the end of a program that does not close its device.
__attribute__((destructor)) void releaseAll() {
  while (!devices().byDescriptor.empty()) forget(devices().byDescriptor.begin()->first);
}

}  // namespace

// Puts the files into the catalogue directory, runs each operation with a new object, and compares
// the files before and after it.

#include "Catalogue.h"

#include <fcntl.h>
#include <unistd.h>

#include "Scratch.h"
#include "WellFormed.h"

namespace fuzz {

namespace fs = std::filesystem;

namespace {

constexpr int kCannotParse = 50005;

// The largest growth of a file by a save: it adds indentation, and maybe a namespace to each
// element. With more growth, a small file could fill the disk.
constexpr std::size_t kMostGrowth = 64;
constexpr std::size_t kMostAdded = 16384;

/// The catalogue directory of the process.
class Catalogue {
public:
  Catalogue() {
    fs::create_directory(m_directory);
    const fs::path ini = m_scratch.path() / "tqlib.ini";
    writeFile(ini, "[MediaManager]\nsVirtualLibXMLDirectory=" + m_scratch.path().string() + "\n");
    configure(ini);
  }

  const fs::path& directory() const { return m_directory; }

  Files files() const {
    Files all;
    for (const auto& entry : fs::directory_iterator(m_directory)) {
      all[entry.path().filename().string()] = readFile(entry.path());
    }
    return all;
  }

  void restore(const Files& wanted) {
    const Files present = files();
    for (const auto& [name, bytes] : present) {
      if (!wanted.contains(name)) {
        fs::remove(m_directory / name);
      }
    }
    for (const auto& [name, bytes] : wanted) {
      if (const auto old = present.find(name); old == present.end() || old->second != bytes) {
        writeFile(m_directory / name, bytes);
      }
    }
  }

private:
  ScratchFolder m_scratch;
  fs::path m_directory = m_scratch.path() / "LibEmulator";
};

/// Changes the working directory, because some files are looked for there. The destructor restores
/// it: the fuzzer's own paths may be relative.
class WorkingDirectory {
public:
  explicit WorkingDirectory(const fs::path& path)
      : m_before(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (m_before < 0 || ::chdir(path.c_str()) != 0) {
      fail("cannot work in " + path.string());
    }
  }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  ~WorkingDirectory() {
    if (::fchdir(m_before) != 0) {
      fail("cannot return to the working directory");
    }
    ::close(m_before);
  }

private:
  int m_before;
};

bool isStray(const std::string& name) {
  return name != "LibraryList.xml" && name != "Library1.xml" && !name.starts_with("Lib_");
}

}  // namespace

void runAll(const Files& files, const std::string& hostile, std::span<const Operation> operations) {
  static Catalogue catalogue;
  const WorkingDirectory working(catalogue.directory());
  catalogue.restore(files);
  Files before = files;
  for (const Operation& operation : operations) {
    const std::string name = operation.name;
    if (operation.start == Operation::Start::Restored && before != files) {
      catalogue.restore(files);
      before = files;
    }
    TqLibEmulator emulator;
    const bool isDone = operation.run(emulator);
    if (emulator.getErrorCode() == kCannotParse && before.at(hostile) != files.at(hostile)) {
      fail(name + ": the file that was saved cannot be parsed");
    }
    Files after = catalogue.files();
    if (after == before) {
      continue;
    }
    if (!isDone || operation.kind == Operation::Kind::Reads) {
      fail(name + (isDone ? " only reads" : " failed") + ", but changed a file");
    }
    if (before.at(hostile) == files.at(hostile) && after.at(hostile) != files.at(hostile) &&
        !isWellFormed(files.at(hostile))) {
      fail(name + " changed a file that is not well-formed");
    }
    for (const auto& [file, bytes] : after) {
      if (isStray(file)) {
        fail(name + " left " + file);
      }
      if (bytes.size() > kMostAdded + kMostGrowth * files.at(hostile).size()) {
        fail(name + " expanded " + file + " to " + std::to_string(bytes.size()) + " bytes");
      }
    }
    before.swap(after);
  }
}

SCSIUnitNoMap libraryRecord(const std::string& serial) {
  SCSIUnit library;
  library.MAName = "a", library.Manufacturer = "ACME", library.Model = "VL";
  library.FirmwareRevision = "1.0", library.SerialNumber = serial, library.ScsiDeviceType = 8;
  library.AccessPath = "/dev/sg3", library.ScsiPort = "2";
  library.Bus = 0, library.Target = 1, library.Lun = 0;
  library.DriveCount = 1, library.DriveBaseAddress = 500;
  library.SlotCount = 2, library.SlotBaseAddress = 1000;
  library.IEPortCount = 1, library.IEPortBaseAddress = 10;
  library.DriveIdentifierMap[1] = "D1";
  return library;
}

SCSIUnitNoMap driveRecord() {
  SCSIUnitNoMap drive = libraryRecord("D1");
  drive.ScsiDeviceType = 1;
  return drive;
}

std::string validLibrary(const std::string& serial, const std::string& drive) {
  const auto seenBy = [](const std::string& unit) {
    return "<" + unit + " MAName=\"a\"/><" + unit + " MAName=\"b\"/>";
  };
  return "<Devices><Library Name=\"Lib_" + serial +
         "\"><DriveBaseAddress>500</DriveBaseAddress><LibraryScsiDevice><SerialNumber>" + serial +
         "</SerialNumber></LibraryScsiDevice>" + seenBy("LibraryScsiUnit") +
         "<Drive Name=\"Drive_" + drive +
         "\"><BarCode>T1</BarCode><BaseAddress>500</BaseAddress><DriveScsiDevice>" +
         "<SerialNumber>" + drive + "</SerialNumber></DriveScsiDevice>" + seenBy("DriveScsiUnit") +
         "</Drive></Library></Devices>";
}

}  // namespace fuzz

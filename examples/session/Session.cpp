// From words to commands, and from results to words.
#include "Session.h"

#include <cctype>
#include <iomanip>
#include <map>
#include <sstream>
#include <stdexcept>

#include "../scsi/Bytes.h"
#include "TqLibEmlFile.h"
#include "TqLibEmulator.h"

namespace {

/// A field of a CDB that takes a number.
struct Field {
  std::size_t at;
  std::size_t size;
};

struct Word {
  std::vector<unsigned char> cdb;
  std::vector<Field> fields;
  bool hasData = false;  ///< a text follows, the data to write; padded to the number before
};

const std::map<std::string, Word>& words() {
  static const Field kLength{2, 3};
  static const std::map<std::string, Word> words = {
      {"ready", {{0x00}, {}}},
      {"inquiry", {{0x12, 0, 0, 0, 96}, {}}},
      {"page", {{0x12, 1, 0, 0, 96}, {{2, 1}}}},
      {"sense", {{0x03, 0, 0, 0, 18}, {}}},
      {"luns", {{0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 96}, {}}},
      {"mode", {{0x1A, 0, 0, 0, 96}, {{2, 1}}}},
      {"lock", {{0x1E, 0, 0, 0, 1}, {}}},
      {"unlock", {{0x1E}, {}}},
      // Changer
      {"elements", {{0xB8, 0x10, 0, 0, 0, 0, 1, 0, 4, 0}, {{2, 2}, {4, 2}}}},
      {"move", {{0xA5}, {{4, 2}, {6, 2}}}},
      {"exchange", {{0xA6}, {{4, 2}, {6, 2}, {8, 2}}}},
      {"inventory", {{0x07}, {}}},
      {"inventory-from", {{0x37, 1}, {{2, 2}, {6, 2}}}},
      // Drive
      {"limits", {{0x05}, {}}},
      {"rewind", {{0x01}, {}}},
      {"read", {{0x08}, {kLength}}},
      {"read-fixed", {{0x08, 1}, {kLength}}},
      {"write", {{0x0A}, {kLength}, true}},
      {"write-fixed", {{0x0A, 1}, {kLength}, true}},
      {"mark", {{0x10}, {kLength}}},
      {"blocks", {{0x11, 0}, {kLength}}},
      {"marks", {{0x11, 1}, {kLength}}},
      {"end", {{0x11, 3}, {}}},
      {"locate", {{0x2B}, {{3, 4}}}},
      {"position", {{0x34}, {}}},
      {"erase", {{0x19}, {}}},
      {"load", {{0x1B, 0, 0, 0, 1}, {}}},
      {"unload", {{0x1B}, {}}},
      {"block-length", {{0x15, 0x10, 0, 0, 12}, {}}},
  };
  return words;
}

/// Text as it is; other bytes as hexadecimal digits, and more than one zero as their number.
std::string shown(const std::vector<unsigned char>& bytes) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (std::size_t i = 0; i < bytes.size();) {
    std::size_t equal = 1;
    while (i + equal < bytes.size() && bytes[i + equal] == bytes[i]) ++equal;
    if (equal < 4) equal = 1;
    if (std::isgraph(bytes[i]) != 0) {
      text << bytes[i];
    } else {
      text << '<' << std::setw(2) << int(bytes[i]) << '>';
    }
    if (equal > 1) text << '*' << std::dec << equal << std::hex << ' ';
    i += equal;
  }
  return text.str();
}

std::string shown(const scsi::Result& result) {
  std::ostringstream text;
  const auto& sense = result.sense;
  if (result.status == 0) {
    text << "ok";
  } else if (sense.empty()) {
    text << "status " << result.status;
  } else {
    text << std::hex << std::setfill('0') << (sense[2] & 0x0F) << '/' << std::setw(2)
         << int(sense[12]) << '/' << std::setw(2) << int(sense[13]) << std::dec;
    if ((sense[2] & 0x80) != 0) text << " filemark";
    if ((sense[2] & 0x40) != 0) text << " end-of-medium";
    if ((sense[2] & 0x20) != 0) text << " incorrect-length";
    if ((sense[0] & 0x80) != 0) text << " residue " << static_cast<int>(scsi::get(sense, 3, 4));
  }
  if (!result.data.empty()) text << " [" << shown(result.data) << "]";
  return text.str();
}

}  // namespace

// A call may return true although nothing was saved, so look at the elements at the end.
bool Session::makeLibrary() {
  std::string folder;
  if (TqLibEmlFile::GetTQLibEMLXMLDir(folder) != 1) return false;
  if (TqLibEmlFile::IsFilePresent(folder + "Lib_LIB1.xml")) return true;
  SCSIUnit library;
  library.MAName = "host-a";
  library.Manufacturer = "ACME";
  library.Model = "VL-4";
  library.FirmwareRevision = "1.0";
  library.ScsiDeviceType = 8;
  library.SerialNumber = "LIB1";
  library.SlotBaseAddress = 1000;
  library.SlotCount = 3;
  library.IEPortBaseAddress = 10;
  library.IEPortCount = 1;
  library.DriveBaseAddress = 500;
  library.DriveCount = 2;
  library.DriveIdentifierMap = {{1, "DRIVE1"}, {2, "DRIVE2"}};
  SCSIUnit drive;
  drive.MAName = "host-a";
  drive.Manufacturer = "ACME";
  drive.Model = "VT-1";
  drive.FirmwareRevision = "1.0";
  drive.ScsiDeviceType = 1;
  drive.SerialNumber = "DRIVE1";
  SCSIUnit second = drive;
  second.SerialNumber = "DRIVE2";
  const std::vector<SCSIUnitNoMap> devices{library, drive, second};
  const std::vector<LibElement> media{{LIB_ELEM_DRIVE, 500, true, true, "A00001"},
                                      {LIB_ELEM_SLOT, 1001, true, true, "A00002"}};
  std::vector<LibElement> elements;
  TqLibEmulator catalogue;
  return catalogue.UpdateVirtualDevice(devices, "LIB1") &&
         catalogue.SetVirtualLibraryElement("LIB1", media, false) &&
         catalogue.GetVirtualLibraryElements("LIB1", elements) && elements.size() == 6;
}

std::string Session::operate(const std::string& line) const {
  std::istringstream in(line);
  std::string word;
  std::string barCode;
  int a = 0;
  int b = 0;
  int c = 0;
  int d = 0;
  bool isDone = false;
  TqLibEmulator catalogue;
  in >> word >> word >> a >> b;
  if (word == "set") {
    in >> barCode;
    isDone = catalogue.SetVirtualLibraryElement(
        m_library, LibElement{a, b, true, !barCode.empty(), barCode}, false);
  } else if (word == "move" && in >> c >> d) {
    isDone = catalogue.MoveVirtualLibraryElement(m_library, a, b, c, d);
  } else if (word == "status" && in >> c) {
    isDone = catalogue.SetVirtualDeviceStatus(m_library, a, b, c, 60, 1);
  }
  return isDone ? "ok" : "not done";
}

std::string Session::answer(const std::string& line) {
  std::istringstream in(line);
  scsi::Command command;
  std::string word;
  in >> command.initiator;
  if (command.initiator == "operator") return operate(line);
  if (command.initiator[0] != '@') in.seekg(0);
  if (!(in >> command.lun >> word)) return "not understood";
  if (word == "cdb") {
    for (std::string digits; in >> std::setw(2) >> digits;) {
      command.cdb.push_back(static_cast<unsigned char>(std::stoi(digits, nullptr, 16)));
    }
    return shown(m_target.execute(command));
  }
  const auto found = words().find(word);
  if (found == words().end()) return "not understood";
  command.cdb = found->second.cdb;
  command.cdb.resize(16);
  long long number = 0;
  for (const Field& field : found->second.fields) {
    if (in >> number) scsi::put(command.cdb, field.at, field.size, number);
  }
  std::string text;
  if (found->second.hasData && in >> text) {
    const auto length = static_cast<std::size_t>(number);
    command.data = scsi::padded(text, std::max(length, text.size()));
  }
  if (word == "block-length" && in >> number) {
    command.data = {0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0};
    scsi::put(command.data, 9, 3, number);
  }
  return shown(m_target.execute(command));
}

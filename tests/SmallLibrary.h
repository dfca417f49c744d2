// Library files and lists as short as they may be, in the form that compact() gives.
#pragma once

#include "LoadedDocument.h"

namespace tests {

inline std::string unitXml(const std::string& kind, const std::string& host) {
  return "<" + kind + "ScsiUnit MAName=\"" + host + "\"><Bus>1</Bus></" + kind + "ScsiUnit>";
}

inline std::string driveXml(const std::string& serial, int address, const std::string& more) {
  return "<Drive><BaseAddress>" + std::to_string(address) +
         "</BaseAddress><DriveScsiDevice><SerialNumber>" + serial +
         "</SerialNumber></DriveScsiDevice>" + more + "</Drive>";
}

inline std::string libraryXml(const std::string& serial, const std::string& more) {
  return "<Library><DriveBaseAddress>500</DriveBaseAddress><LibraryScsiDevice><SerialNumber>" +
         serial + "</SerialNumber></LibraryScsiDevice>" + more + "</Library>";
}

inline std::string fileXml(const std::string& content) {
  return "<Devices>" + content + "</Devices>";
}

inline std::string listXml(const std::vector<std::string>& keys) {
  std::string text = "<LibraryList>";
  for (const std::string& key : keys)
    text += "<Library Id=\"" + key + "\">Lib_" + key + ".xml</Library>";
  return text + "</LibraryList>";
}

}  // namespace tests

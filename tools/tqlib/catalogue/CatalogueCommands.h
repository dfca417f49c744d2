// The commands on libraries, drives, elements and their status, and what other commands share with
// them.
#pragma once

#include <span>
#include <variant>

#include "base/Command.h"
#include "catalogue/Catalogue.h"
#include "catalogue/Configuration.h"

void addInitCommand(CLI::App& app, Session& session);
void addElementCommands(CLI::App& app, Session& session);

/// Adds find, load, unload and move, the latter to the group "element" as well.
void addMediaCommands(CLI::App& app, CLI::App& elementGroup, Session& session);
void addDriveCommands(CLI::App& app, Session& session);
void addDeviceCommands(CLI::App& app, Session& session);
void addStatusCommands(CLI::App& app, Session& session);

/// Commands of the group "library": list, show and remove.
void addLibraryCommands(CLI::App& group, Session& session);

/// A value of a device: its key in JSON and the name of its option, its element in the catalogue
/// file, its field in the record, and what it is.
struct DeviceField {
  const char* key;
  const XMLCh* element;
  std::variant<std::string SCSIUnitFields::*, int SCSIUnitFields::*> field;
  const char* help = "";  ///< of its option

  /// Calls `use` with the field of `record`.
  template <typename Record, typename Use>
  void visit(Record& record, Use use) const {
    std::visit([&](auto member) { use(record.*member); }, field);
  }
};

inline constexpr DeviceField kIdentity[] = {
    {"vendor", names::manufacturer, &SCSIUnitFields::Manufacturer, "manufacturer"},
    {"model", names::model, &SCSIUnitFields::Model, "model"},
    {"firmware", names::firmwareRevision, &SCSIUnitFields::FirmwareRevision, "firmware revision"}};

/// How a host sees a device, without the host's name.
inline constexpr DeviceField kAddressing[] = {
    {"path", names::accessPath, &SCSIUnitFields::AccessPath, "device path on the host"},
    {"port", names::scsiPort, &SCSIUnitFields::ScsiPort, "SCSI port"},
    {"bus", names::bus, &SCSIUnitFields::Bus, "SCSI bus"},
    {"target", names::target, &SCSIUnitFields::Target, "SCSI target"},
    {"lun", names::lun, &SCSIUnitFields::Lun, "logical unit"}};

/// Adds these fields of a record to an object.
void addFields(Json& values, const SCSIUnitFields& record, std::span<const DeviceField> fields);

/// A device as one host sees it.
Json deviceJson(const SCSIUnitFields& device);

/// The SCSI status that a library reports in place of its own.
struct Status {
  int status = 0;
  int asc = 0;
  int ascq = 0;

  bool operator==(const Status&) const = default;
};

/// The status of a library that is whole, all zero when it has none; counted as a report unless
/// `peek`. Throws Failure when it cannot be read.
Status readStatus(const std::string& library, bool peek);

Json statusJson(const Status& status);
std::string statusText(const Status& status);

/// Options for the identity and the addressing of a device, such as --vendor and --lun; `whose`
/// begins their help texts.
void addDeviceOptions(CLI::App& command, SCSIUnitFields& device, const std::string& whose);

/// Why a drive of the library cannot have that serial number; empty when it can.
std::string driveSerialProblem(const std::string& serial, const std::string& library);

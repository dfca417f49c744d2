// A description as JSON: every key, also where a reader would know the value by itself.
#include "TqLibEmulator.h"
#include "catalogue/ElementName.h"
#include "description/LibraryDescription.h"

namespace {

void addTexts(Json& values, const SCSIUnitFields& record, std::span<const DescribedText> texts) {
  for (const DescribedText& text : texts) values[text.key] = record.*text.field;
}

Json hostList(const std::vector<SCSIUnitFields>& hosts) {
  Json list = Json::array();
  for (const SCSIUnitFields& host : hosts) {
    Json values{{"name", host.MAName}};
    addTexts(values, host, kHostTexts);
    for (const DescribedNumber& number : kHostNumbers) values[number.key] = host.*number.field;
    list.push_back(std::move(values));
  }
  return list;
}

Json rangeJson(const LibraryDescription& description, const DescribedRange& range) {
  return {{"count", description.library.*range.count}, {"base", description.library.*range.base}};
}

Json slotRangeJson(const LibraryDescription& description, const DescribedRange& range,
                   const SlotPlan& plan) {
  Json values = rangeJson(description, range);
  for (const LibElement& gap : plan.gaps) {
    if (gap.elementType == range.type) values["without"].push_back(gap.elementAddress);
  }
  return values;
}

Json driveJson(const LibraryDescription& description, const DescribedDrive& drive) {
  const int address = drive.device.DriveBaseAddress;
  const bool isPlaced = address != kUnplaced;
  Json values{{"serial", drive.device.SerialNumber},
              {"number", isPlaced ? Json(numberOf(description, drive)) : Json()},
              {"address", isPlaced ? Json(address) : Json()}};
  addTexts(values, drive.device, kIdentity);
  values["deviceType"] = drive.device.ScsiDeviceType;
  values["hosts"] = hostList(drive.hosts);
  return values;
}

Json driveList(const LibraryDescription& description) {
  Json list = Json::array();
  for (const DescribedDrive& drive : description.drives) {
    list.push_back(driveJson(description, drive));
  }
  return list;
}

Json elementJson(const LibElement& element) {
  Json values{{"element", elementName(element)}};
  if (!element.isOccupied) return values;
  // A medium whose barcode nobody knows is a medium still.
  if (element.barCode.empty()) {
    values["occupied"] = true;
  } else {
    values["barcode"] = element.barCode;
  }
  return values;
}

// Drives and slots of the ranges are there by themselves, and only what they hold is told.
Json elementList(const LibraryDescription& description, const SlotPlan& plan) {
  const std::size_t usual = description.drives.size() + plan.inPlace;
  Json list = Json::array();
  for (std::size_t i = 0; i < description.elements.size(); ++i) {
    const LibElement& element = description.elements[i];
    if (i >= usual || element.isOccupied) list.push_back(elementJson(element));
  }
  return list;
}

}  // namespace

Json descriptionJson(const LibraryDescription& description) {
  const SlotPlan plan = planOf(description);
  const auto& [mail, slots] = kSlotRanges;
  Json values{{"format", kDescriptionFormat}, {"serial", description.library.SerialNumber}};
  addTexts(values, description.library, kIdentity);
  values["hosts"] = hostList(description.hosts);
  values[kDriveRange.key] = rangeJson(description, kDriveRange);
  values[slots.key] = slotRangeJson(description, slots, plan);
  values[mail.key] = slotRangeJson(description, mail, plan);
  values["drives"] = driveList(description);
  values["elements"] = elementList(description, plan);
  return values;
}

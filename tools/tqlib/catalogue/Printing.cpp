#include "catalogue/Printing.h"

#include "catalogue/Catalogue.h"
#include "catalogue/ElementName.h"

namespace {

Json elementJson(const LibElement& element) {
  return {{"element", elementName(element)},
          {"type", elementTypeWord(element.elementType)},
          {"address", element.elementAddress},
          {"occupied", element.isOccupied},
          {"barcode", element.barCode}};
}

std::string elementTable(const std::vector<LibElement>& elements) {
  std::vector<Row> rows{{"ELEMENT", "STATE", "BARCODE"}};
  for (const LibElement& element : elements) {
    rows.push_back({elementName(element), element.isOccupied ? "full" : "empty",
                    element.isOccupied ? element.barCode : ""});
  }
  return tableText(rows);
}

}  // namespace

void printElements(bool json, const std::string& library, const std::vector<LibElement>& elements) {
  Json list = Json::array();
  for (const LibElement& element : elements) list.push_back(elementJson(element));
  printResult(json, {{"library", library}, {"elements", std::move(list)}}, elementTable(elements));
}

Json deviceJson(const SCSIUnitNoMap& device) {
  return {{"type", isLibrary(device) ? "library" : "drive"},
          {"serial", device.SerialNumber},
          {"host", device.MAName},
          {"vendor", device.Manufacturer},
          {"model", device.Model},
          {"firmware", device.FirmwareRevision},
          {"path", device.AccessPath},
          {"port", device.ScsiPort},
          {"bus", device.Bus},
          {"target", device.Target},
          {"lun", device.Lun}};
}

// Arguments and files from a hostile hand: a call does what was asked, or leaves all as it was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <ctime>

#include "ChangingOperations.h"
#include "SmallLibrary.h"
#include "TqLibEmlFile.h"

namespace tests {
namespace {

using namespace std::string_literals;
using Batch = std::vector<SCSIUnitNoMap>;
using Fields = SCSIUnitFields;

std::string Fields::*const kFields[] = {
    &Fields::SerialNumber, &Fields::Model,    &Fields::Manufacturer, &Fields::FirmwareRevision,
    &Fields::MAName,       &Fields::ScsiPort, &Fields::AccessPath};
const int kEnds[] = {INT_MIN, -1, 0, INT_MAX};

/// Each text stands behind a mark: XML can carry an x, a file can have an f as its name, a b is
/// both.
void forEachText(const std::function<void(const std::string&, bool isStored, bool isName)>& check) {
  std::istringstream texts(
      "b\xF0\x9F\x93\xBC~b <>&\"' ]]>&amp;~btrue~b%n%s{}\\\x7F~b\ta\nb\rc\r\n~b ~x~x.~x..~x../x~"
      "x/etc/x~xa/b~xa/../Lib_A~x/~-\0~-x\0y~fA\x1F~f\x1B[2J~f\xFF~fA\xC3~f\xC0\xAF~f\xE0\x80\x80~"
      "f\xED\xA0\x80~f\xF0~f\xF4\x90\x80\x80~f\xEF\xBF\xBE~fA\xEF\xBF\xBF~x"s +
      std::string(1 << 20, 'x'));
  for (std::string text; std::getline(texts, text, '~');) {
    SCOPED_TRACE(testing::PrintToString(text.substr(0, 20)));
    check(text.substr(1), text[0] == 'b' || text[0] == 'x', text[0] == 'b' || text[0] == 'f');
  }
}

/// A batch lets through what is thrown for a text that cannot be stored.
bool isBatchDone(const Batch& batch, const std::string& key) try {
  return TqLibEmulator().UpdateVirtualDevice(batch, key);
} catch (const std::exception&) {
  return false;
}

/// How many of 11 operations on one library succeed; the last of them removes it.
int succeeding(const std::string& key) {
  TqLibEmulator a;
  std::vector<LibElement> slots = described("2@1000:T");
  Batch devices = LibraryBuilder(key).drives(500, 1).batch();
  int status = 0;
  int n = isBatchDone(devices, key);
  n += a.UpdateVirtualDevice(devices[1], key);
  n += a.SetVirtualLibraryElement(key, slots[0], false);
  n += a.MoveVirtualLibraryElement(key, 2, 1000, 4, 500);
  n += a.SetVirtualLibraryElement(key, slots, true);
  n += a.GetVirtualLibraryElements(key, slots);
  n += a.SetVirtualDeviceStatus(key, 2, 4, 1, 60, 1);
  n += a.GetVirtualDeviceStatus(key, status, status, status, false);
  n += a.GetVirtualDeviceInfo("", devices, key);
  n += a.RemoveVirtualDevice("hosta", "DRV0001", key);
  n += a.RemoveVirtualDevice("", key, key);
  return n;
}

class Hostile : private InMemory, public testing::Test {
protected:
  Hostile() {
    fs::create_directory(catalogue.catalogue() + "Lib_a");
    writeFile(catalogue.catalogue() + "Lib_a/b.xml", fileXml(""));
    builder.build();
    before = tree();
  }

  /// Whatever lies in, below and beside the catalogue.
  std::map<std::string, std::string> tree() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(catalogue.path()))
      all[entry.path().string()] = entry.is_regular_file() ? readFile(entry.path()) : "";
    all[list] = compact(all[list]);
    return all;
  }
  /// Whether nothing changed, but for the library's own file when it may; that one is put back.
  bool isWhole(bool mayDiffer = false) {
    auto now = tree();
    if (mayDiffer) writeFile(file, now[file] = before[file]);
    return now == before;
  }
  /// Whether a query tells this text.
  bool isTold(const std::string& text) {
    std::vector<LibElement> places;
    Batch devices;
    emulator.GetVirtualLibraryElements("A", places);
    emulator.GetVirtualDeviceInfo("", devices);
    bool isTold = false;
    for (const LibElement& e : places) isTold |= e.isOccupied && e.barCode == text;
    for (const SCSIUnitNoMap& device : devices)
      for (const auto field : kFields) isTold |= device.*field == text;
    return isTold;
  }

  TempCatalogue catalogue;
  TqLibEmulator emulator;
  const LibraryBuilder builder = LibraryBuilder("A").slots(1000, 2).mailSlots(10, 1).drives(500, 1);
  const std::string file = catalogue.libraryFile("A");
  const std::string list = catalogue.listFile();
  std::string barCode;
  std::map<std::string, std::string> before;
};

TEST_F(Hostile, TextIsGivenBackAsItCameOrRefusedBeforeAnythingIsWritten) {
  std::size_t turn = 0;
  forEachText([&](const std::string& text, bool isStored, bool) {
    const auto check = [&](bool isDone) {
      EXPECT_EQ(isDone, isStored);
      EXPECT_EQ(isTold(text), isStored);
      EXPECT_TRUE(isWhole(isStored));
    };
    const bool isShort = text.size() < 1000;  // a long one takes its time
    for (LibElement e : described(isShort ? "2@1000:T 3@10:T 4@500:T 5@1:T 2@7:T" : "2@7:T")) {
      e.barCode = text;
      check(emulator.SetVirtualLibraryElement("A", {element(2, 1, "T"), e}, false));
      const bool isDone = emulator.SetVirtualLibraryElement("A", e, false);
      emulator.MoveVirtualLibraryElement("A", e.elementType, e.elementAddress, 4, 500);
      EXPECT_EQ(emulator.GetCurrentVolume("DRV0001", barCode) && barCode == text, isStored);
      check(isDone);
    }
    // A text in one field of each record; by turns each field gets some of every kind.
    for (SCSIUnit record : {builder.drive(1), builder.drive(2), builder.library()}) {
      const auto field = kFields[turn++ % std::size(kFields)];
      if (isStored && record.*field == "A") continue;  // another library
      record.*field = text;
      check(emulator.UpdateVirtualDevice(record, "A"));
      check(isBatchDone({record}, "A"));
      EXPECT_TRUE(isStored || record.ScsiDeviceType != 8 || !isBatchDone({record}, "N"));
    }
    EXPECT_TRUE(!isStored || MyTranscode(GetConstXMLCh(MyTranscode(text.c_str()).c_str())) ==
                                 text.substr(0, 1023));
    Batch devices{builder.library()};
    devices[0].DriveIdentifierMap = "Map|2147483647|1|" + text;
    EXPECT_TRUE(emulator.UpdateVirtualDevice(devices[0], "") && isWhole(true));
    EXPECT_EQ(emulator.GetVirtualDeviceInfo(text, devices), isStored);
    EXPECT_FALSE(emulator.RemoveVirtualDevice("hosta", text));
    EXPECT_FALSE(emulator.GetCurrentVolume(text, barCode));
    EXPECT_TRUE(isWhole());
    EXPECT_EQ(emulator.RemoveVirtualDevice(text, "DRV0001", "A"), isStored);
    EXPECT_TRUE(isWhole(isStored));
  });
  EXPECT_TRUE(catalogue.logged("Text is not UTF-8") && catalogue.logged("Text holds U+001F"));
}

TEST_F(Hostile, ALibrarysNameGivesAFileOfItsOwnOrIsRefusedByAll) {
  forEachText([this](const std::string& name, bool isStored, bool isName) {
    if (name.empty()) return;  // stands for other files
    const bool isGood = isStored && isName;
    EXPECT_EQ(emulator.UpdateVirtualDevice(LibraryBuilder(name).library(), ""), isGood);
    EXPECT_EQ(isTold(name), isGood);
    EXPECT_EQ(succeeding(name), isGood ? 11 : 0);
    EXPECT_TRUE((!isGood || fs::remove(catalogue.libraryFile(name))) && isWhole());
  });
  EXPECT_EQ(succeeding(std::string(247, 'k')), 11);  // with the longest name of a file
  EXPECT_EQ(succeeding(std::string(248, 'k')), 0);
}

TEST_F(Hostile, NumbersAtTheirEndsAreGivenBackOrRefused) {
  for (const int n : kEnds) {
    SCOPED_TRACE(n);
    for (const auto& [type, address] : {std::pair{n, 1000}, {2, n}, {3, n}, {5, n}, {4, n}}) {
      const LibElement e = element(type, address, "T");
      const bool isKnown = type != n, isMade = isKnown && type != 4;
      EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", 2, 1000, type, address));
      EXPECT_FALSE(emulator.MoveVirtualLibraryElement("A", type, address, 2, 1001));
      for (const bool remove : {false, true}) {
        EXPECT_EQ(emulator.SetVirtualLibraryElement("A", e, remove), isMade);
        EXPECT_EQ(emulator.SetVirtualLibraryElement("A", std::vector{e}, remove), isKnown);
        EXPECT_EQ(testing::Value(elements("A"), testing::Contains(describe(e))), isMade && !remove);
      }
    }
    int status[3] = {};
    EXPECT_TRUE(emulator.SetVirtualDeviceStatus("A", n, n, n, n, n));
    EXPECT_TRUE(emulator.GetVirtualDeviceStatus("A", status[0], status[1], status[2], true));
    EXPECT_THAT(status, testing::Each(n));

    SCSIUnit library = LibraryBuilder("A").slots(n, n).mailSlots(n, n).drives(n, 0).library();
    library.Bus = library.Target = library.Lun = library.DriveCount = n;
    library.DriveIdentifierMap = {{n, "DRV0001"}};
    Batch all;
    EXPECT_TRUE(isBatchDone({builder.drive(1), library}, "A"));
    EXPECT_TRUE(emulator.GetVirtualDeviceInfo("", all) && isWhole(true));
    const SCSIUnit got = all.back();
    EXPECT_TRUE(got.Bus == n && got.Lun == n && got.SlotCount == n && got.DriveBaseAddress == n);
    EXPECT_TRUE(n <= 0 || got.DriveIdentifierMap == library.DriveIdentifierMap);

    LibraryBuilder("N").slots(n, 2).mailSlots(n, std::min(n, 0)).build();
    const LibElement first = element(2, n), next = element(2, n == INT_MAX ? INT_MIN : n + 1);
    EXPECT_EQ(elements("N"), (std::vector{describe(first), describe(next)}));
    EXPECT_TRUE(emulator.RemoveVirtualDevice("", "N") && fs::remove(catalogue.libraryFile("N")));
  }
  for (const LibraryBuilder& n :
       {LibraryBuilder("N").slots(0, INT_MAX), LibraryBuilder("N").mailSlots(0, INT_MAX)})
    EXPECT_FALSE(emulator.UpdateVirtualDevice(n.library(), "") || isBatchDone({n.library()}, "N") ||
                 !isWhole());
  const std::string refusal = "A library of 2147483647 slots of one kind is refused";
  EXPECT_TRUE(catalogue.logged(refusal) && lastError(emulator).starts_with(refusal));
}

TEST_F(Hostile, AVolumesNameGivesAFolderOfItsOwnOrIsRefused) {
  forEachText([this](const std::string& name, bool, bool isName) {
    unsigned char data[] = {'d'};
    unsigned long count = 0;
    std::string path;
    TqLibEmlFile volume(name);
    EXPECT_EQ(volume.WriteDataForDrive(0, 0, data, 1, count), isName);
    EXPECT_EQ(volume.GetVolumeFilename(0, path) && readFile(path) == "d", isName);
    EXPECT_EQ(volume.ReadDataForDrive(1, 0, data, 1, count), isName);
    EXPECT_EQ(tree().size(), before.size() + (isName ? 4 : 0));
    EXPECT_TRUE(volume.EraseVolume() == isName && volume.getErrorCode() == (isName ? 0 : 993));
    fs::remove_all(catalogue.catalogue() + "Data");
    EXPECT_TRUE(TqLibEmlFile::GetTQLibEMLXMLDir(path = name) == 1 && isWhole());
  });
  EXPECT_FALSE(TqLibEmlFile::IsFilePresent(file + "\0x"s));
  catalogue.config("MediaManager", "sVirtualLibXMLDirectory", "");
  std::string dir = file + "\0x"s;
  EXPECT_EQ(TqLibEmlFile::GetTQLibEMLXMLDir(dir), 0);
}

TEST_F(Hostile, ATransferTellsTheTruthWhateverItsNumbers) {
  constexpr unsigned long long k31 = 1ULL << 31, k63 = 1ULL << 63;
  static unsigned char data[] = {'d'};
  for (const int mark : kEnds)
    for (const auto offset : {0ULL, k31 - 1, k31, 2 * k31, k63 - 1, k63, 2 * k63 - 1})
      for (const unsigned long length : {0UL, 1UL, 1UL << 63, ~0UL}) {
        SCOPED_TRACE(testing::Message() << mark << " " << offset << " " << length);
        unsigned long count = 99, read = 99;
        int code = 0;
        char text = '#';
        const bool isWritten = length == 1 && offset <= 2 * k31;
        int done =
            DirectWriteDataForDrive("V", mark, offset, data, length, &count, &code, &text, mark);
        EXPECT_EQ(code, isWritten && offset == 2 * k31 ? 785 : 0);
        EXPECT_TRUE(done == (code == 0) && (isWritten ? count == 1 : count == 0 || count == 99));
        done = DirectReadDataForDrive("V", mark, offset, data, length, &read, &code, &text, mark);
        EXPECT_TRUE(done == 1 ? read == isWritten : code == 979 || code == 22);
        EXPECT_EQ(text, mark == INT_MAX && code != 0 ? '\0' : '#');
        EXPECT_TRUE(TqLibEmlFile("V").EraseVolume());
      }
  EXPECT_TRUE(fs::remove_all(catalogue.catalogue() + "Data") == 2 && isWhole());
}

TEST_F(Hostile, AFileThatIsCutOffOrDeclaresEntitiesIsRefusedAtOnce) {
  std::vector<std::string> files;
  for (std::size_t length = 0; length + 1 < before[file].size(); length += 19)
    files.push_back(before[file].substr(0, length));
  std::string bomb = "<!ENTITY e0 'lololololo'>", last = "&e0;";
  for (int i = 1; i <= 30; last = "&e" + std::to_string(i++) + ";")
    bomb += "<!ENTITY e" + std::to_string(i) + " '" + last + last + "'>";
  for (const std::string& subset :
       {bomb + "<!ATTLIST Devices x CDATA '&e30;'>", "<!ENTITY e30 SYSTEM 'file:///etc/hostname'>"s,
        "<!ENTITY % p SYSTEM 'file:///etc/hostname'> %p;"s, ""s})
    files.push_back("<!DOCTYPE Devices [" + subset + "]>" + fileXml("<Library>&e30;</Library>"));
  std::string deep, wide;
  for (int i = 0; i < 100; ++i) deep = "<a>" + deep + "</a>";
  for (int i = 0; i < 1001; ++i) wide += "<a" + std::to_string(i) + "/>";
  files.push_back(fileXml(deep));
  files.push_back(fileXml(wide));
  for (const std::string& text : files) {
    const std::clock_t start = std::clock();
    for (const std::string& path : {file, list}) writeFile(path, text);
    TqLibEmulator fresh;
    EXPECT_FALSE(fresh.SetVirtualLibraryElement("A", element(2, 1000, "T1"), false));
    EXPECT_EQ(fresh.getErrorCode(), 50005) << text;
    EXPECT_FALSE(fresh.UpdateVirtualDevice(LibraryBuilder("B").library(), "") ||
                 fresh.GetCurrentVolume("D", barCode));
    EXPECT_TRUE(fresh.UpdateVirtualDevice(LibraryBuilder("B").batch(), "B"));  // fails quietly
    EXPECT_EQ(readFile(file) + readFile(list), text + text);
    EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, 2.0);
  }
  EXPECT_EQ(succeeding("A"), 0);
  EXPECT_EQ(catalogue.files().size(), 3U);
  for (const std::string& text :
       {"parsing document " + file, "GetCurrentVolume] " + list + ": ", "to load " + list})
    EXPECT_TRUE(catalogue.logged(text)) << text;

  // An external document type is not read: without its attribute the slot is an occupied mail slot.
  writeFile(catalogue.catalogue() + "x.dtd", "<!ATTLIST Slots IsOccupied CDATA 'false'>");
  writeFile(file, R"(<!DOCTYPE Devices SYSTEM "x.dtd"><Devices><Library Name="Lib_A"><Slots>)"
                  "<BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots></Library></Devices>");
  EXPECT_EQ(elements("A"), std::vector<std::string>{"3@1:T1"});
}

}  // namespace
}  // namespace tests

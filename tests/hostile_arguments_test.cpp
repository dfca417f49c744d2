// Hostile arguments and files: a call does what was asked, or changes nothing.
#include <gmock/gmock.h>

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
const int kExtremes[] = {INT_MIN, -1, 0, INT_MAX};

/// Checks texts that XML can store or not, and that can name a file or not.
void forEachText(
    const std::function<void(const std::string&, bool isStorable, bool isName)>& check) {
  const struct {
    std::vector<std::string> texts;
    bool isStorable;
    bool isName;
  } groups[] = {{.texts = {"\xF0\x9F\x93\xBC", " <>&\"' ]]>&amp;", "%n%s{}\\\x7F", "\ta\nb\rc\r\n"},
                 .isStorable = true,
                 .isName = true},
                {.texts = {"", ".", "..", "../x", "/etc/x", "a/b", std::string(1 << 16, 'x')},
                 .isStorable = true,
                 .isName = false},
                {.texts = {"A\x1F", "\xFF", "A\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                           "\xEF\xBF\xBE"},
                 .isStorable = false,
                 .isName = true},
                {.texts = {"\0"s, "x\0y"s}, .isStorable = false, .isName = false}};
  for (const auto& group : groups)
    for (const std::string& text : group.texts) {
      SCOPED_TRACE(testing::PrintToString(text.substr(0, 20)));
      check(text, group.isStorable, group.isName);
    }
}

/// A batch throws when a text cannot be stored.
bool isBatchDone(const Batch& batch, const std::string& key) try {
  return TqLibEmulator().UpdateVirtualDevice(batch, key);
} catch (const std::exception&) {
  return false;
}

/// How many of 11 operations on one library succeed. The last one removes it.
int succeeding(const std::string& key) {
  TqLibEmulator emulator;
  std::vector<LibElement> slots = described("2@1000:T");
  Batch devices = LibraryBuilder(key).drives(500, 1).batch();
  int status = 0;
  int succeeded = isBatchDone(devices, key);
  succeeded += emulator.UpdateVirtualDevice(devices[1], key);
  succeeded += emulator.SetVirtualLibraryElement(key, slots[0], false);
  succeeded += emulator.MoveVirtualLibraryElement(key, 2, 1000, 4, 500);
  succeeded += emulator.SetVirtualLibraryElement(key, slots, true);
  succeeded += emulator.GetVirtualLibraryElements(key, slots);
  succeeded += emulator.SetVirtualDeviceStatus(key, 2, 4, 1, 60, 1);
  succeeded += emulator.GetVirtualDeviceStatus(key, status, status, status, false);
  succeeded += emulator.GetVirtualDeviceInfo("", devices, key);
  succeeded += emulator.RemoveVirtualDevice("hosta", "DRV0001", key);
  succeeded += emulator.RemoveVirtualDevice("", key, key);
  return succeeded;
}

class Hostile : private InMemory, public testing::Test {
protected:
  Hostile() {
    fs::create_directory(m_catalogue.catalogue() + "Lib_a");
    writeFile(m_catalogue.catalogue() + "Lib_a/b.xml", fileXml(""));
    m_builder.build();
    m_before = tree();
  }

  /// Files and folders in and beside the catalogue, with their content.
  State tree() const {
    State all = treeOf(m_catalogue.path());
    all[m_list] = compact(all[m_list]);
    return all;
  }
  /// Whether nothing changed. The library's own file may differ on request, and is restored.
  bool isUnchanged(bool mayDiffer = false) {
    auto now = tree();
    if (mayDiffer) {
      now[m_file] = m_before[m_file];
      writeFile(m_file, m_before[m_file]);
    }
    return now == m_before;
  }
  /// Whether a query returns this text.
  bool isReturned(const std::string& text) {
    std::vector<LibElement> places;
    Batch devices;
    m_emulator.GetVirtualLibraryElements("A", places);
    m_emulator.GetVirtualDeviceInfo("", devices);
    bool isReturned = false;
    for (const LibElement& e : places) isReturned |= e.isOccupied && e.barCode == text;
    for (const SCSIUnitNoMap& device : devices)
      for (const auto field : kFields) isReturned |= device.*field == text;
    return isReturned;
  }

  TempCatalogue m_catalogue;
  TqLibEmulator m_emulator;
  const LibraryBuilder m_builder =
      LibraryBuilder("A").slots(1000, 2).mailSlots(10, 1).drives(500, 1);
  const std::string m_file = m_catalogue.libraryFile("A");
  const std::string m_list = m_catalogue.listFile();
  std::string m_barCode;
  State m_before;
};

TEST_F(Hostile, TextIsReturnedUnchangedOrRefusedBeforeAnythingIsWritten) {
  std::size_t turn = 0;
  forEachText([&](const std::string& text, bool isStorable, bool) {
    const auto check = [&](bool isDone) {
      EXPECT_EQ(isDone, isStorable);
      EXPECT_EQ(isReturned(text), isStorable);
      EXPECT_TRUE(isUnchanged(isStorable));
    };
    for (LibElement e : described("2@1000:T 4@500:T 5@1:T 2@7:T")) {
      e.barCode = text;
      check(m_emulator.SetVirtualLibraryElement("A", {element(2, 1, "T"), e}, false));
      const bool isDone = m_emulator.SetVirtualLibraryElement("A", e, false);
      m_emulator.MoveVirtualLibraryElement("A", e.elementType, e.elementAddress, 4, 500);
      EXPECT_EQ(m_emulator.GetCurrentVolume("DRV0001", m_barCode) && m_barCode == text, isStorable);
      check(isDone);
    }
    // The text in one field of each record. Every field has its turn with texts of every kind.
    for (SCSIUnit record : {m_builder.drive(1), m_builder.drive(2), m_builder.library()}) {
      const auto field = kFields[turn++ % std::size(kFields)];
      if (isStorable && record.*field == "A") continue;  // another library
      record.*field = text;
      check(m_emulator.UpdateVirtualDevice(record, "A"));
      check(isBatchDone({record}, "A"));
      EXPECT_TRUE(isStorable || record.ScsiDeviceType != 8 || !isBatchDone({record}, "N"));
    }
    Batch devices;
    EXPECT_EQ(m_emulator.GetVirtualDeviceInfo(text, devices), isStorable);
    EXPECT_FALSE(m_emulator.RemoveVirtualDevice("hosta", text));
    EXPECT_FALSE(m_emulator.GetCurrentVolume(text, m_barCode));
    EXPECT_TRUE(isUnchanged());
    EXPECT_EQ(m_emulator.RemoveVirtualDevice(text, "DRV0001", "A"), isStorable);
    EXPECT_TRUE(isUnchanged(isStorable));
  });
  EXPECT_TRUE(m_catalogue.logged("Text is not UTF-8"));
  EXPECT_TRUE(m_catalogue.logged("Text holds U+001F"));
}

TEST_F(Hostile, ALibraryNameGivesItsOwnFileOrIsRefusedByEveryOperation) {
  forEachText([this](const std::string& name, bool isStorable, bool isName) {
    if (name.empty()) return;  // means another file
    const bool isGood = isStorable && isName;
    EXPECT_EQ(m_emulator.UpdateVirtualDevice(LibraryBuilder(name).library(), ""), isGood);
    EXPECT_EQ(isReturned(name), isGood);
    EXPECT_EQ(succeeding(name), isGood ? 11 : 0);
    if (isGood) fs::remove(m_catalogue.libraryFile(name));
    EXPECT_TRUE(isUnchanged());
  });
  EXPECT_EQ(succeeding(std::string(247, 'k')), 11);  // the longest file name
}

TEST_F(Hostile, ExtremeNumbersAreReturnedOrRefused) {
  for (const int n : kExtremes) {
    SCOPED_TRACE(n);
    for (const auto& [type, address] : {std::pair{n, 1000}, {2, n}, {3, n}, {5, n}, {4, n}}) {
      const LibElement e = element(type, address, "T");
      const bool isKnown = type != n;
      const bool isMade = isKnown && type != 4;
      EXPECT_FALSE(m_emulator.MoveVirtualLibraryElement("A", 2, 1000, type, address));
      EXPECT_FALSE(m_emulator.MoveVirtualLibraryElement("A", type, address, 2, 1001));
      for (const bool remove : {false, true}) {
        EXPECT_EQ(m_emulator.SetVirtualLibraryElement("A", e, remove), isMade);
        EXPECT_EQ(m_emulator.SetVirtualLibraryElement("A", std::vector{e}, remove), isKnown);
        EXPECT_EQ(testing::Value(elements("A"), testing::Contains(describe(e))), isMade && !remove);
      }
    }
    int status[3] = {};
    EXPECT_TRUE(m_emulator.SetVirtualDeviceStatus("A", n, n, n, n, n));
    EXPECT_TRUE(m_emulator.GetVirtualDeviceStatus("A", status[0], status[1], status[2], true));
    EXPECT_THAT(status, testing::Each(n));

    SCSIUnit library = LibraryBuilder("A").slots(n, n).drives(n, 0).library();
    library.Bus = n;
    library.Lun = n;
    Batch all;
    EXPECT_TRUE(isBatchDone({m_builder.drive(1), library}, "A"));
    EXPECT_TRUE(m_emulator.GetVirtualDeviceInfo("", all));
    EXPECT_TRUE(isUnchanged(true));
    const SCSIUnit got = all.back();
    EXPECT_THAT((std::vector{got.Bus, got.Lun, got.SlotCount, got.DriveBaseAddress}),
                testing::Each(n));

    LibraryBuilder("N").slots(n, 2).mailSlots(n, std::min(n, 0)).build();
    const int next = n == INT_MAX ? INT_MIN : n + 1;
    EXPECT_EQ(elements("N"), (std::vector{describe(element(2, n)), describe(element(2, next))}));
    EXPECT_TRUE(m_emulator.RemoveVirtualDevice("", "N"));
    fs::remove(m_catalogue.libraryFile("N"));
  }
  const SCSIUnit huge = LibraryBuilder("N").slots(0, INT_MAX).library();
  EXPECT_FALSE(isBatchDone({huge}, "N"));
  EXPECT_FALSE(m_emulator.UpdateVirtualDevice(huge, ""));
  EXPECT_TRUE(isUnchanged());
  const std::string refusal = "A new library has 2147483647 slots of one kind";
  EXPECT_TRUE(m_catalogue.logged(refusal));
  EXPECT_TRUE(lastError(m_emulator).starts_with(refusal));
}

TEST_F(Hostile, AVolumeNameGivesItsOwnFolderOrIsRefused) {
  forEachText([this](const std::string& name, bool, bool isName) {
    unsigned char data[] = {'d'};
    unsigned long count = 0;
    std::string path;
    TqLibEmlFile volume(name);
    EXPECT_EQ(volume.WriteDataForDrive(0, 0, data, 1, count), isName);
    EXPECT_EQ(volume.GetVolumeFilename(0, path) && readFile(path) == "d", isName);
    EXPECT_EQ(volume.ReadDataForDrive(1, 0, data, 1, count), isName);
    EXPECT_EQ(tree().size(), m_before.size() + (isName ? 4 : 0));
    EXPECT_EQ(volume.EraseVolume(), isName);
    EXPECT_EQ(volume.getErrorCode(), isName ? 0 : 993);
    fs::remove_all(m_catalogue.catalogue() + "Data");
    EXPECT_TRUE(isUnchanged());
  });
  EXPECT_FALSE(TqLibEmlFile::IsFilePresent(m_file + "\0x"s));
}

TEST_F(Hostile, ATransferReportsWhatItDidWithAnyNumbers) {
  constexpr unsigned long long k31 = 1ULL << 31;
  constexpr unsigned long long k63 = 1ULL << 63;
  static unsigned char data[] = {'d'};
  for (const int mark : kExtremes)
    for (const auto offset : {0ULL, k31 - 1, k31, 2 * k31, k63 - 1, k63, 2 * k63 - 1})
      for (const unsigned long length : {0UL, 1UL, 1UL << 63, ~0UL}) {
        SCOPED_TRACE(testing::Message() << mark << " " << offset << " " << length);
        unsigned long count = 99;
        unsigned long read = 99;
        int code = 0;
        char text = '#';
        const bool isWritten = length == 1 && offset <= 2 * k31;
        int done =
            DirectWriteDataForDrive("V", mark, offset, data, length, &count, &code, &text, mark);
        EXPECT_EQ(code, isWritten && offset == 2 * k31 ? 785 : 0);
        EXPECT_EQ(done, code == 0);
        EXPECT_TRUE(isWritten ? count == 1 : count == 0 || count == 99) << count;
        done = DirectReadDataForDrive("V", mark, offset, data, length, &read, &code, &text, mark);
        EXPECT_TRUE(done == 1 ? read == isWritten : code == 979 || code == 22) << code;
        EXPECT_EQ(text, mark == INT_MAX && code != 0 ? '\0' : '#');
        EXPECT_TRUE(TqLibEmlFile("V").EraseVolume());
      }
  EXPECT_EQ(fs::remove_all(m_catalogue.catalogue() + "Data"), 2U);
  EXPECT_TRUE(isUnchanged());
}

TEST_F(Hostile, AFileThatIsCutOffOrDeclaresEntitiesIsRefusedAtOnce) {
  std::vector<std::string> files;
  for (std::size_t length = 0; length + 1 < m_before[m_file].size(); length += 19)
    files.push_back(m_before[m_file].substr(0, length));
  std::string bomb = "<!ENTITY e0 'lololololo'>";
  for (int i = 1; i <= 30; ++i) {
    const std::string last = "&e" + std::to_string(i - 1) + ";";
    bomb += "<!ENTITY e" + std::to_string(i) + " '" + last + last + "'>";
  }
  for (const std::string& subset :
       {bomb + "<!ATTLIST Devices x CDATA '&e30;'>", "<!ENTITY e30 SYSTEM 'file:///etc/hostname'>"s,
        "<!ENTITY % p SYSTEM 'file:///etc/hostname'> %p;"s})
    files.push_back("<!DOCTYPE Devices [" + subset + "]>" + fileXml("<Library>&e30;</Library>"));
  std::string deep;
  for (int i = 0; i < 100; ++i) deep = "<a>" + deep + "</a>";
  files.push_back(fileXml(deep));
  for (const std::string& text : files) {
    const std::clock_t start = std::clock();
    for (const std::string& path : {m_file, m_list}) writeFile(path, text);
    TqLibEmulator fresh;
    EXPECT_FALSE(fresh.SetVirtualLibraryElement("A", element(2, 1000, "T1"), false));
    EXPECT_EQ(fresh.getErrorCode(), 50005) << text;
    EXPECT_FALSE(fresh.UpdateVirtualDevice(LibraryBuilder("B").library(), ""));
    EXPECT_TRUE(fresh.UpdateVirtualDevice(LibraryBuilder("B").batch(), "B"));  // saves nothing
    EXPECT_EQ(readFile(m_file), text);
    EXPECT_EQ(readFile(m_list), text);
    EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, 2.0);
  }
  EXPECT_EQ(succeeding("A"), 0);
  EXPECT_EQ(m_catalogue.files().size(), 3U);
  EXPECT_TRUE(m_catalogue.logged("parsing document CATALOGUE/Lib_A.xml"));
  EXPECT_TRUE(m_catalogue.logged("to load CATALOGUE/LibraryList.xml"));

  // An external document type is not read: without its attribute the slot is an occupied mail slot.
  writeFile(m_catalogue.catalogue() + "x.dtd", "<!ATTLIST Slots IsOccupied CDATA 'false'>");
  writeFile(m_file,
            R"(<!DOCTYPE Devices SYSTEM "x.dtd"><Devices><Library Name="Lib_A"><Slots>)"
            "<BaseAddress>1</BaseAddress><BarCode>T1</BarCode></Slots></Library></Devices>");
  EXPECT_EQ(elements("A"), std::vector<std::string>{"3@1:T1"});
}

}  // namespace
}  // namespace tests

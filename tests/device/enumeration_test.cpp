// What the board list shows of the simulated driver: boards in the driver's
// order with their interface names, the phantom boards that the registry
// asks for, boards that failed to initialise with the driver's text of their
// status, and how the interface file of each board is tested and repaired
// on the way.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device_fixture.h"

namespace keld::device {
namespace {

// The phantom boards, in the order the list shows them.
const char* const kPhantomRows[] = {
    "'interfaceType:7101' 0xFFFFFFFF 'Phantom KELD PCI-7101' '' 0x04720000",
    "'interfaceType:7102' 0xFFFFFFFE 'Phantom KELD PCI-7102' '' 0x04720000",
    "'interfaceType:7103' 0xFFFFFFFD 'Phantom KELD PCI-7103' '' 0x04720000",
    "'interfaceType:7104' 0xFFFFFFFC 'Phantom KELD PCI-7104' '' 0x04720000",
    "'interfaceType:7105' 0xFFFFFFFB 'Phantom KELD PCI-7105' '' 0x04720000",
    "'interfaceType:7106' 0xFFFFFFFA 'Phantom KELD PCI-7106' '' 0x04720000",
    "'interfaceType:7107' 0xFFFFFFF9 'Phantom KELD PCI-7107' '' 0x04720000",
    "'interfaceType:7108' 0xFFFFFFF8 'Phantom KELD PCI-7108' '' 0x04720000",
    "'interfaceType:7109' 0xFFFFFFF7 'Phantom KELD PCIe-7109' '' 0x04720000",
    "'interfaceType:7110' 0xFFFFFFF6 'Phantom KELD PCI-7110' '' 0x04720000",
    "'interfaceType:7111' 0xFFFFFFF5 'Phantom KELD PCIe-7111' '' 0x04720000",
    "'interfaceType:7112' 0xFFFFFFF4 'Phantom KELD PCIe-7112' '' 0x04720000",
    "'interfaceType:7113' 0xFFFFFFF3 'Phantom KELD PCIe-7113' '' 0x04720000",
    "'interfaceType:7114' 0xFFFFFFF2 'Phantom KELD PXBe-7114' '' 0x04720000",
    "'interfaceType:7115' 0xFFFFFFF1 'Phantom KELD PXBe-7115' '' 0x04720000",
    "'interfaceType:7116' 0xFFFFFFF0 'Phantom KELD PCIe-7116' '' 0x04720000",
};

const char* const kImg0 = "'img0' 0x00A10001 'OD PCIe-7109' '' 0x04720000";
const char* const kImg1 = "'img1' 0x00A10002 'OD PCI-7105' '' 0x04720000";
const char* const kImg2 = "'img2' 0x00A10003 'OD PXB-7107' '' 0x04720000";

std::int32_t Refresh(Device& device, const char* what) {
  const std::int32_t status = cfgRefreshBoards(device.Host());
  device.Note(what, status);
  return status;
}

std::uint8_t RefreshChanged(Device& device, const char* what) {
  std::uint8_t changed = 0xEE;
  const std::int32_t status = cfgRefreshBoards2(device.Host(), &changed);
  EXPECT_EQ(status, 0) << what;
  device.Note(std::string(what) + " changed " + std::to_string(changed), status);
  return changed;
}

// One board and one that failed, so that the order of the three kinds shows.
constexpr const char* kBoardAndFailedBoard = R"({
  "boards": [ { "serial": "0x00A10002", "model": "OD PCI-7105", "units": 1, "ports": 2, "interface_types": "0x3" } ],
  "failed_boards": [ { "serial": "0x00A1DEAD", "status": "0xBFF60017" } ] })";

DEVICE_SCENARIO_WITH(PhantomBoardsComeBetweenTheBoardsAndTheFailedBoards, kBoardAndFailedBoard) {
  const std::string failedRow = "'' 0x00A1DEAD 'Error 0xBFF60017 : The board failed to initialise.' '' 0x04720000";
  // Without the value the switch stays as a new session has it: off.
  EXPECT_EQ(Refresh(device, "refresh without the value"), 0);
  const std::string boardRow = "'img0' 0x00A10002 'OD PCI-7105' '' 0x04720000";
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{boardRow, failedRow}));
  device.NoteBoards("no value");

  device.SetRegistryValue("ShowAllPhantomBoards", 1);
  EXPECT_EQ(RefreshChanged(device, "refresh with phantom boards"), 1);
  std::vector<std::string> expected = {boardRow};
  expected.insert(expected.end(), std::begin(kPhantomRows), std::end(kPhantomRows));
  expected.push_back(failedRow);
  EXPECT_EQ(device.Boards(), expected);
  device.NoteBoards("phantom boards shown");

  // Only the first 32 bits count, and any of them switches it on.
  device.SetRegistryValue("ShowAllPhantomBoards", 0x80000000u);
  EXPECT_EQ(RefreshChanged(device, "refresh with the high bit"), 0);

  // A phantom board opens for configuration without hardware behind it.
  std::uint32_t id = device.Open("interfaceType:7105");
  if (id != 0) {
    std::uint32_t type = 0;
    const std::int32_t status = cfgGetAttributeU32(id, 0x3FF60001, &type, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(type, 0x7105u);
    device.Note("phantom board type " + Hex(type), status);
    EXPECT_EQ(cfgClose(id), 0);
  }

  device.SetRegistryValue("ShowAllPhantomBoards", 0);
  EXPECT_EQ(RefreshChanged(device, "refresh with the value 0"), 1);
  EXPECT_EQ(device.Boards().size(), 2u);
  device.NoteBoards("value 0");
}

// Boards that failed to initialise come last, with an empty name and the
// driver's text of their status, or a fixed sentence where it has none.
DEVICE_SCENARIO(FailedBoardsShowTheDriversTextOfTheirStatus) {
  EXPECT_EQ(keldsimAddFailedBoard(0x00A1DEAD, 0xBFF60017), 0u);
  EXPECT_EQ(keldsimAddFailedBoard(0x00A1BEEF, 0xBFF60FF0), 0u);  // a status the driver has no text for
  EXPECT_EQ(keldsimAddFailedBoard(0x00A1CAFE, 0xBFFF800B), 0u);  // outside the driver's range
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  const std::vector<std::string> rows = device.Boards();
  EXPECT_EQ(rows, (std::vector<std::string>{
                      kImg0, kImg1, kImg2,
                      "'' 0x00A1DEAD 'Error 0xBFF60017 : The board failed to initialise.' '' 0x04720000",
                      "'' 0x00A1BEEF 'Error 0xBFF60FF0 : No error text available' '' 0x04720000",
                      "'' 0x00A1CAFE 'Error 0xBFFF800B : No error text available' '' 0x04720000"}));
  device.NoteBoards("with failed boards");
  // The same text as the error text of the status, which the driver gives.
  const std::string text = Device::ErrorText(0xBFF60017);
  EXPECT_EQ(text, "The board failed to initialise.");
  device.Note("text of 0xBFF60017: " + text);
}

// A board of two acquisition units is one device, named without a unit;
// the interface file is tried on each unit.
DEVICE_SCENARIO(ABoardWithTwoAcquisitionUnitsIsOneDeviceTestedOnBothUnits) {
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2}));
  device.NoteBoards("boards");
  // img0 twice (units 0 and 1), img1 and img2 once.
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 4u);
  EXPECT_EQ(Device::CallCount("kldSessionOpen"), 4u);
  EXPECT_EQ(Device::CallCount("kldClose"), 8u);
  EXPECT_EQ(Device::CallCount("odkelduGetNumAcqUnits"), 3u);
  device.Note("interface opens " + std::to_string(Device::CallCount("kldInterfaceOpen")) + ", session opens " +
              std::to_string(Device::CallCount("kldSessionOpen")) + ", closes " +
              std::to_string(Device::CallCount("kldClose")));
  // Nothing stays open: each unit opens again.
  for (const char* name : {"img0::0", "img0::1", "img0"}) {
    std::uint32_t id = device.Open(name);
    std::uint32_t unit = 0xFFFFFFFF;
    if (id == 0) continue;
    EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF60004, &unit, 0), 0);
    device.Note(std::string(name) + " is unit " + std::to_string(unit));
    EXPECT_EQ(cfgClose(id), 0);
  }
}

constexpr const char* kThreeUnits = R"({
  "boards": [ { "serial": "0x00B00001", "model": "OD PCIe-7113", "units": 3, "ports": 3, "interface_types": "0x4" } ] })";

DEVICE_SCENARIO_WITH(EveryUnitOfABoardIsTried, kThreeUnits) {
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'img0' 0x00B00001 'OD PCIe-7113' '' 0x04720000"}));
  EXPECT_EQ(Device::CallCount("kldSessionOpen"), 3u);
  device.Note("session opens " + std::to_string(Device::CallCount("kldSessionOpen")));
}

// No boards: the list holds what the driver reports as failed, if anything.
constexpr const char* kNoBoardsOneFailed = R"({
  "boards": [], "failed_boards": [ { "serial": "0x00A1DEAD", "status": "0xBFF6001B" } ] })";

DEVICE_SCENARIO_WITH(ACountOfZeroStillAsksForFailedBoards, kNoBoardsOneFailed) {
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{
                                 "'' 0x00A1DEAD 'Error 0xBFF6001B : The board is no longer present.' '' 0x04720000"}));
  device.NoteBoards("boards");
  EXPECT_EQ(Device::CallCount("odkelduGetSerialNumber"), 1u);  // the count only
  EXPECT_EQ(Device::CallCount("odkelduGetFailedDeviceInfo"), 2u);
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 0u);
}

constexpr const char* kNothingAtAll = R"({ "boards": [] })";

DEVICE_SCENARIO_WITH(NoBoardsAtAllIsAnEmptyList, kNothingAtAll) {
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  std::uint32_t count = 99;
  EXPECT_EQ(cfgGetBoardCount(device.Host(), &count), 0);
  EXPECT_EQ(count, 0u);
  device.Note("count " + std::to_string(count));
  char name[64] = "x";
  const std::int32_t beyond = cfgQueryBoard(device.Host(), 0, name, sizeof name, nullptr, nullptr, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(beyond), 0xBFFF800Cu);
  device.Note("query 0", beyond);
}

// A unit that another session holds answers 0xBFF600BD: the file is good,
// and nothing is written.
DEVICE_SCENARIO(AUnitInUseCountsAsAGoodInterfaceFile) {
  const std::string before = ReadFile(device.folder() / "img1.iid");
  ASSERT_FALSE(before.empty());
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh with img1 open"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2}));
  device.NoteBoards("boards");
  // No second try by the serial number and no default file.
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 4u);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 0u);
  EXPECT_EQ(Device::CallCount("odkelduSetActiveInterfaceFile"), 3u);
  EXPECT_EQ(ReadFile(device.folder() / "img1.iid"), before);
  device.Note("stores " + std::to_string(Device::CallCount("odkelduStoreInterfaceConfig")));
  // The open session was not disturbed.
  std::uint32_t serial = 0;
  EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF600C0, &serial, 0), 0);
  EXPECT_EQ(serial, 0x00A10002u);
  device.Note("serial of the open session " + Hex(serial));
}

// Every port of a file names this camera file.
std::string WithPortsNaming(const std::string& file, const std::string& camera) {
  std::string out;
  std::size_t start = 0;
  while (start < file.size()) {
    std::size_t end = file.find('\n', start);
    if (end == std::string::npos) end = file.size();
    std::string line = file.substr(start, end - start);
    if (line.rfind("Port", 0) == 0 && line.size() > 4 && line[4] >= '0' && line[4] <= '9') {
      line = line.substr(0, line.find('=') + 1) + " " + camera;
    }
    out += line + "\n";
    start = end + 1;
  }
  return out;
}

// An interface file that does not open on its board: the board is opened
// by its serial number, and the file gets the first camera file that suits
// the board on every port.
DEVICE_SCENARIO(AnInterfaceFileThatWillNotOpenIsRepairedWithTheDefaultCameraFile) {
  const std::string good = ReadFile(device.folder() / "img1.iid");
  ASSERT_NE(good.find("Port1"), std::string::npos) << good;
  const std::string broken = WithPortsNaming(good, "missing.icd");
  WriteFile(device.folder() / "img1.iid", broken);
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2}));
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 1u);
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 5u);  // one more, by the serial number
  const std::string repaired = ReadFile(device.folder() / "img1.iid");
  EXPECT_EQ(repaired.find("missing.icd"), std::string::npos) << repaired;
  device.Note("stores " + std::to_string(Device::CallCount("odkelduStoreInterfaceConfig")));

  // Both ports name the same camera file, one that the board takes.
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  char first[256] = {};
  char second[256] = {};
  EXPECT_EQ(cfgGetAttributeString(id, 0x3FF604C3, first, 0), 0);
  EXPECT_EQ(cfgGetAttributeString(id, 0x3FF604C4, second, 0), 0);
  EXPECT_STREQ(first, second);
  EXPECT_NE(std::string(first), "missing.icd");
  EXPECT_TRUE(std::filesystem::exists(device.folder() / first)) << first;
  EXPECT_EQ(repaired, WithPortsNaming(good, first));
  device.Note(std::string("ports name ") + first + " and " + second);

  // Repaired once: the next enumeration stores nothing.
  EXPECT_EQ(cfgClose(id), 0);
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh again"), 0);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 0u);
}

// A board whose model name the driver cannot give is left out; the others
// are listed and the enumeration succeeds.
DEVICE_SCENARIO(ABoardWithoutAModelNameIsLeftOut) {
  EXPECT_EQ(keldsimInjectStatus("odkelduGetBoardName", 0xBFF60009, 1), 0u);
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg1, kImg2}));
  device.NoteBoards("boards");
}

// A board whose interface file can be neither found nor made is still
// listed, without a name.
DEVICE_SCENARIO(ABoardWithoutAnInterfaceFileIsListedWithoutAName) {
  EXPECT_EQ(keldsimInjectStatus("odkelduGetActiveInterfaceFile", 0xBFF60014, 1), 0u);
  EXPECT_EQ(keldsimInjectStatus("odkelduClaimNewInterfaceFile", 0xBFF6000C, 1), 0u);
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'' 0x00A10001 'OD PCIe-7109' '' 0x04720000", kImg1, kImg2}));
  device.NoteBoards("boards");
  EXPECT_EQ(Refresh(device, "refresh again"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2}));
}

// A failing step of the driver is the status of the enumeration; nothing is
// kept, and the next query enumerates again.
DEVICE_SCENARIO(AFailingDriverStepIsTheStatusAndNothingIsCached) {
  EXPECT_EQ(keldsimAddFailedBoard(0x00A1DEAD, 0xBFF60017), 0u);
  for (const char* function : {"odkelduDeployInterfaceFiles", "odkelduGetSerialNumber", "odkelduGetFailedDeviceInfo"}) {
    EXPECT_EQ(keldsimInjectStatus(function, 0xBFF60040, 1), 0u);
    std::uint8_t changed = 0xEE;
    const std::int32_t status = cfgRefreshBoards2(device.Host(), &changed);
    EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF60040u) << function;
    device.Note(std::string("refresh with ") + function + " failing, changed " + std::to_string(changed), status);
    Device::ClearCalls();
    device.NoteBoards("then");
    EXPECT_EQ(device.Boards().size(), 4u) << function;
    EXPECT_NE(Device::CallCount("odkelduGetSerialNumber"), 0u) << function;  // enumerated again
  }
}

// The list is kept until a refresh; a refresh tells whether it changed, and
// a board that only changed its model name is no change.
DEVICE_SCENARIO(TheListIsKeptUntilRefreshed) {
  Device::ClearCalls();
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetBoardCount(device.Host(), &count), 0);
  EXPECT_EQ(cfgGetBoardCount(device.Host(), &count), 0);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(Device::CallCount("odkelduGetSerialNumber"), 0u);
  device.Note("count " + std::to_string(count) + " without enumerating");
  EXPECT_EQ(RefreshChanged(device, "refresh, nothing new"), 0);

  EXPECT_EQ(keldsimAddBoard(R"({ "serial": "0x00A10004", "model": "OD PCI-7102", "units": 1, "ports": 1,
                                 "interface_types": "0x1" })"),
            0u);
  EXPECT_EQ(cfgGetBoardCount(device.Host(), &count), 0);
  EXPECT_EQ(count, 3u);
  device.Note("count " + std::to_string(count) + " before the refresh");
  EXPECT_EQ(RefreshChanged(device, "refresh with a board added"), 1);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2,
                                                       "'img3' 0x00A10004 'OD PCI-7102' '' 0x04720000"}));
  device.NoteBoards("boards");

  // The same board with another model name.
  EXPECT_EQ(keldsimRemoveBoard(0x00A10004), 0u);
  EXPECT_EQ(keldsimAddBoard(R"({ "serial": "0x00A10004", "model": "OD PXB-7102", "units": 1, "ports": 1,
                                 "interface_types": "0x1" })"),
            0u);
  EXPECT_EQ(RefreshChanged(device, "refresh with a new model name"), 0);
  EXPECT_EQ(device.Boards().back(), "'img3' 0x00A10004 'OD PXB-7102' '' 0x04720000");
  device.NoteBoards("boards");

  EXPECT_EQ(keldsimRemoveBoard(0x00A10004), 0u);
  EXPECT_EQ(RefreshChanged(device, "refresh with the board gone"), 1);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{kImg0, kImg1, kImg2}));
}

// A driver before 0x03500000 knows no acquisition units: no name carries a
// unit, and both units of img0 are tried under the plain name.
DEVICE_SCENARIO(ADriverBeforeUnitNamesNamesNoUnits) {
  EXPECT_EQ(keldsimSetDriverVersion(0x03400000), 0u);
  Device::ClearCalls();
  EXPECT_EQ(Refresh(device, "refresh"), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'img0' 0x00A10001 'OD PCIe-7109' '' 0x03400000",
                                                       "'img1' 0x00A10002 'OD PCI-7105' '' 0x03400000",
                                                       "'img2' 0x00A10003 'OD PXB-7107' '' 0x03400000"}));
  device.NoteBoards("boards");
  // The driver refuses unit names; no open failed and nothing was repaired.
  EXPECT_EQ(Device::CallCount("kldInterfaceOpen"), 4u);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 0u);
  std::uint32_t id = 0;
  const std::int32_t status = cfgOpenBoard(device.Host(), "img0::1", 0, &id);
  EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFF6001Cu);
  device.Note("open img0::1", status);
  // By the serial number: the name the session takes has no unit either.
  id = device.Open(nullptr, 0x00A10001);
  std::uint32_t serial = 0;
  EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF600C0, &serial, 0), 0);
  EXPECT_EQ(serial, 0x00A10001u);
  device.Note("serial " + Hex(serial));
}

}  // namespace
}  // namespace keld::device

// The frame-grabber session class on the simulated driver, where what is
// checked cannot be seen through the public functions: the name a session
// takes after an open by serial number, the switch for phantom boards in
// the session that enumerated, the list an enumeration leaves, the driver's
// error text provider, the PCI table, the default camera file, and the
// marks and states behind a refused write.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "attributes/attribute.h"
#include "device_fixture.h"
#include "inventory/device_list.h"
#include "keld/keld_driver_api.h"
#include "local/keld/local_keld_config_session.h"

namespace keld::device {
namespace {

class KeldSessionClass : public ::testing::Test {
 protected:
  Device device_{Side::kLocal};
};

// Opens `name` on a session of its own and gives the name the session went by afterwards.
std::string NameAfterOpen(const char* name) {
  Status status = kSuccess;
  LocalKELDConfigSession session(name, &status);
  EXPECT_EQ(session.Open(), kSuccess) << name;
  const std::string after = session.interfaceName.c_str();
  EXPECT_EQ(session.Close(), kSuccess);
  return after;
}

TEST_F(KeldSessionClass, ASerialNameBecomesTheInterfaceNameWithItsUnit) {
  EXPECT_EQ(NameAfterOpen("serial:00a10002"), "img1::0");  // no unit given: unit 0
  EXPECT_EQ(NameAfterOpen("serial:00a10001::1"), "img0::1");
  EXPECT_EQ(NameAfterOpen("img2"), "img2");  // a plain name stays as it is
  // A driver before unit names: the plain interface name.
  ASSERT_EQ(keldsimSetDriverVersion(0x03400000), 0u);
  EXPECT_EQ(NameAfterOpen("serial:00a10002"), "img1");
}

TEST_F(KeldSessionClass, AnOpenBySerialOfAnUnknownBoardFailsInTheClaim) {
  Status status = kSuccess;
  LocalKELDConfigSession session("serial:12345678", &status);
  EXPECT_EQ(session.Open(), 0xBFF60009u);
  EXPECT_EQ(std::string(session.interfaceName.c_str()), "serial:12345678");
  EXPECT_EQ(session.interfaceId, 0u);
  EXPECT_EQ(session.Close(), kSuccess);
}

TEST_F(KeldSessionClass, CloseOfASessionNeverOpenedCallsNothing) {
  Status status = kSuccess;
  LocalKELDConfigSession session("img1", &status);
  Device::ClearCalls();
  EXPECT_EQ(session.Close(), kSuccess);
  EXPECT_EQ(Device::CallCount("kldClose"), 0u);
  ASSERT_EQ(session.Open(), kSuccess);
  EXPECT_NE(session.interfaceId, 0u);
  EXPECT_NE(session.SessionId(), 0u);
  EXPECT_EQ(session.Close(), kSuccess);
  EXPECT_EQ(Device::CallCount("kldClose"), 2u);  // the session, then the interface
  EXPECT_EQ(session.interfaceId, 0u);
  EXPECT_EQ(session.SessionId(), 0u);
}

// The session that enumerated with phantom boards shown keeps the switch,
// and then loads camera files without the interface file.
TEST_F(KeldSessionClass, WithPhantomBoardsShownNoInterfaceFileIsLoaded) {
  Status status = kSuccess;
  LocalKELDConfigSession plain("img1", &status);
  ASSERT_EQ(plain.Open(), kSuccess);
  Device::ClearCalls();
  EXPECT_EQ(plain.ReadAttributes("mono16.icd"), kSuccess);
  EXPECT_EQ(Device::CallCount("odkelduLoadInterfaceConfig"), 1u);
  EXPECT_EQ(Device::CallCount("odkelduLoadCameraConfig"), 1u);
  EXPECT_EQ(plain.Close(), kSuccess);

  device_.SetRegistryValue("ShowAllPhantomBoards", 1);
  LocalKELDConfigSession session("img1", &status);
  DeviceList list;
  ASSERT_EQ(session.EnumerateDevices(&list), kSuccess);
  EXPECT_EQ(list.size(), 19u);
  EXPECT_EQ(session.showAllPhantomBoards, 1u);
  // The enumeration left nothing open.
  EXPECT_EQ(session.interfaceId, 0u);
  EXPECT_EQ(session.SessionId(), 0u);
  ASSERT_EQ(session.Open(), kSuccess);
  Device::ClearCalls();
  EXPECT_EQ(session.ReadAttributes("mono16.icd"), kSuccess);
  EXPECT_EQ(Device::CallCount("odkelduLoadInterfaceConfig"), 0u);
  EXPECT_EQ(Device::CallCount("odkelduLoadCameraConfig"), 1u);
  EXPECT_EQ(session.Close(), kSuccess);

  // The value taken away later leaves the switch as it was.
  device_.RemoveRegistryValue("ShowAllPhantomBoards");
  list.clear();
  ASSERT_EQ(session.EnumerateDevices(&list), kSuccess);
  EXPECT_EQ(session.showAllPhantomBoards, 1u);
  EXPECT_EQ(list.size(), 19u);
  device_.SetRegistryValue("ShowAllPhantomBoards", 0);
  list.clear();
  ASSERT_EQ(session.EnumerateDevices(&list), kSuccess);
  EXPECT_EQ(session.showAllPhantomBoards, 0u);
  EXPECT_EQ(list.size(), 3u);
}

::keld::Device Listed(const char* name) {
  ::keld::Device listed;
  listed.name = name;
  listed.uniqueId = 42;
  return listed;
}

}  // namespace

// With boards the list is cleared first; without any it is left as it came.
TEST(KeldEnumerationList, IsClearedOnlyWhereTheDriverHasBoards) {
  keld::device::Device device(Side::kLocal, R"({ "boards": [],
      "failed_boards": [ { "serial": "0x00A1DEAD", "status": "0xBFF60017" } ] })");
  Status status = kSuccess;
  LocalKELDConfigSession session("enumeration", &status);
  DeviceList list;
  list.push_back(Listed("kept"));
  ASSERT_EQ(session.EnumerateDevices(&list), kSuccess);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(std::string(list[0].name.c_str()), "kept");
  EXPECT_EQ(std::string(list[1].description.c_str()), "Error 0xBFF60017 : The board failed to initialise.");
  EXPECT_EQ(list[1].busType, 0x31333934u);
  EXPECT_EQ(list[1].driverVersion, 0x04720000u);

  ASSERT_EQ(keldsimAddBoard(R"({ "serial": "0x00A10009", "model": "OD PCI-7103", "ports": 1, "interface_types": "0x1" })"),
            0u);
  ASSERT_EQ(session.EnumerateDevices(&list), kSuccess);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(std::string(list[0].name.c_str()), "img0");
  EXPECT_EQ(list[0].uniqueId, 0x00A10009u);
  EXPECT_EQ(std::string(list[0].driverName.c_str()), "");
}

// Without the board list from the driver: its status, the list untouched,
// the phantom boards all the same, and no failed boards.
TEST(KeldEnumerationList, AFailingSerialNumberQueryHidesTheFailedBoardsButNotThePhantoms) {
  keld::device::Device device(Side::kLocal);
  device.SetRegistryValue("ShowAllPhantomBoards", 1);
  ASSERT_EQ(keldsimAddFailedBoard(0x00A1DEAD, 0xBFF60017), 0u);
  ASSERT_EQ(keldsimInjectStatus("odkelduGetSerialNumber", 0xBFF60040, 1), 0u);
  Status status = kSuccess;
  LocalKELDConfigSession session("enumeration", &status);
  DeviceList list;
  list.push_back(Listed("kept"));
  Device::ClearCalls();
  EXPECT_EQ(session.EnumerateDevices(&list), 0xBFF60040u);
  ASSERT_EQ(list.size(), 17u);
  EXPECT_EQ(std::string(list[0].name.c_str()), "kept");
  EXPECT_EQ(std::string(list[1].name.c_str()), "interfaceType:7101");
  EXPECT_EQ(list[1].uniqueId, 0xFFFFFFFFu);
  EXPECT_EQ(std::string(list[16].name.c_str()), "interfaceType:7116");
  EXPECT_EQ(list[16].uniqueId, 0xFFFFFFF0u);
  EXPECT_EQ(list[16].busType, 0x31333934u);
  EXPECT_EQ(Device::CallCount("odkelduGetFailedDeviceInfo"), 0u);
}

TEST(KeldEnumerationList, TheDriversErrorTextProviderKeepsToItsRange) {
  keld::device::Device device(Side::kLocal);
  CFGString text("kept");
  bool found = true;
  KeldDriverErrorText(0xBFFF800B, &text, &found);  // not the driver's: nothing touched
  EXPECT_TRUE(found);
  EXPECT_EQ(std::string(text.c_str()), "kept");
  found = false;
  KeldDriverErrorText(0xBFF60017, &text, &found);
  EXPECT_TRUE(found);
  EXPECT_EQ(std::string(text.c_str()), "The board failed to initialise.");
  found = true;
  text = "kept";
  KeldDriverErrorText(0xBFF60FF0, &text, &found);  // the driver has no text
  EXPECT_FALSE(found);
  EXPECT_EQ(std::string(text.c_str()), "kept");
}

TEST(KeldEnumerationList, ModelNamesFromThePciTable) {
  keld::device::Device device(Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("enumeration", &status);
  char name[520] = {};
  EXPECT_EQ(session.GetBoardNameFromPCIID(0x00A10002, name), kSuccess);
  EXPECT_STREQ(name, "OD PCI-7105");
  EXPECT_EQ(session.GetBoardNameFromPCIID(0x00A10003, name), kSuccess);
  EXPECT_STREQ(name, "OD PXB-7107");
  // A board whose identity the table does not know.
  EXPECT_EQ(session.GetBoardNameFromPCIID(0x00A10001, name), 0xBFFF800Bu);
  // The driver's own failure.
  EXPECT_EQ(session.GetBoardNameFromPCIID(0x12345678, name), 0xBFF60009u);
}

TEST(KeldDefaultCameraFile, IsTheFirstThatSuitsTheBoard) {
  keld::device::Device device(Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img0", &status);
  ASSERT_EQ(session.Open(), kSuccess);
  char name[520] = {};
  EXPECT_EQ(session.FindDefaultCameraFile(name), kSuccess);
  EXPECT_STREQ(name, "bayer1280.icd");  // for interface type 0x4; mono640.icd is not
  // None left that suits it.
  for (const char* file : {"bayer1280.icd", "mono16.icd", "rgb640.icd"}) {
    std::filesystem::remove(device.folder() / file);
  }
  name[0] = 0;
  EXPECT_EQ(session.FindDefaultCameraFile(name), 0xBFFF8013u);
  EXPECT_STREQ(name, "");
  Device::ClearCalls();
  EXPECT_EQ(session.StoreDefaultInterfaceFile("img0.iid"), 0xBFFF8013u);
  EXPECT_EQ(Device::CallCount("odkelduStoreInterfaceConfig"), 0u);
  EXPECT_EQ(session.Close(), kSuccess);
}

// Refused in both states: the attribute keeps its mark and the driver
// stays in the configuration state.
TEST(KeldWriteAttribute, RefusedTwiceKeepsTheMarkAndTheConfigurationState) {
  keld::device::Device device(Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img1", &status);
  ASSERT_EQ(session.Open(), kSuccess);
  ASSERT_EQ(session.RefreshAttributes(), kSuccess);
  Attribute* attribute = nullptr;
  ASSERT_EQ(session.FindAttributeByKey(0x3FF60070, &attribute), kSuccess);
  auto* timeout = dynamic_cast<TypedAttribute<AttrU32>*>(attribute);
  ASSERT_NE(timeout, nullptr);
  timeout->SetValue(AttrU32{4321});
  ASSERT_NE(attribute->IsDirty(), 0u);
  ASSERT_EQ(keldsimInjectStatus("kldSetAttributeFromVoidPtr", 0xBFF60044, 2), 0u);
  EXPECT_EQ(session.WriteAttribute(attribute), 0xBFF60044u);
  EXPECT_NE(attribute->IsDirty(), 0u);
  std::uint32_t state = 0;
  EXPECT_EQ(odkelduGetExecutionState(session.SessionId(), &state), 0u);
  EXPECT_EQ(state, 16u);
  // Once more: written at once in that state, the mark cleared.
  EXPECT_EQ(session.WriteAttribute(attribute), kSuccess);
  EXPECT_EQ(attribute->IsDirty(), 0u);
  // Refused once: back in the ready state.
  ASSERT_EQ(session.FindAttributeByKey(0x3FF601C8, &attribute), kSuccess);
  dynamic_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{1});
  ASSERT_EQ(odkelduChangeExecutionState(session.SessionId(), 256), 0u);
  EXPECT_EQ(session.WriteAttribute(attribute), kSuccess);
  EXPECT_EQ(attribute->IsDirty(), 0u);
  EXPECT_EQ(odkelduGetExecutionState(session.SessionId(), &state), 0u);
  EXPECT_EQ(state, 256u);
  EXPECT_EQ(session.Close(), kSuccess);
}

TEST(KeldRefreshAttributes, KeepsAReadThatFailsForNow) {
  keld::device::Device device(Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img1", &status);
  ASSERT_EQ(session.Open(), kSuccess);
  ASSERT_EQ(keldsimInjectStatus("kldGetAttribute", 0xBFF60053, 1), 0u);
  ASSERT_EQ(session.RefreshAttributes(), kSuccess);
  EXPECT_NE(session.attributes.FindByKey(0x3FF60001), nullptr);  // the first read, failed for now
  EXPECT_NE(session.attributes.FindByKey(0x3FF60120), nullptr);  // no image yet
  ASSERT_EQ(keldsimInjectStatus("kldGetAttribute", 0xBFF60004, 1), 0u);
  ASSERT_EQ(session.RefreshAttributes(), kSuccess);
  EXPECT_EQ(session.attributes.FindByKey(0x3FF60001), nullptr);
  EXPECT_NE(session.attributes.FindByKey(0x3FF600C0), nullptr);
  // The key list itself failing is the result.
  ASSERT_EQ(keldsimInjectStatus("odkelduGetAttributeKeys", 0xBFF60040, 1), 0u);
  EXPECT_EQ(session.RefreshAttributes(), 0xBFF60040u);
  EXPECT_EQ(session.attributes.FindByKey(0x3FF600C0), nullptr);  // emptied first
  EXPECT_EQ(session.Close(), kSuccess);
}

// A session left open when the process ends is closed by the library as it
// unloads, while the driver is still there to take the close.
TEST(KeldUnload, ASessionLeftOpenIsClosedAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        keld::device::Device device(Side::kLocal);
        std::uint32_t id = 0;
        if (cfgOpenBoard(nullptr, "img1", 0, &id) != 0) std::_Exit(3);
        // The device is not destroyed here; its files go now.
        std::error_code ignored;
        std::filesystem::remove_all(device.folder(), ignored);
        std::filesystem::remove(device.folder().string() + ".reg", ignored);
        std::exit(0);  // the static objects go: the registry closes the session through the driver
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace keld::device

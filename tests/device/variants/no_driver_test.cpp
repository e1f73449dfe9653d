// No frame-grabber driver at all: the library is pointed at a driver file
// that does not exist before anything asks for it. Every driver call then
// answers 0xBFFF800B, nothing crashes, the phantom boards are still listed
// by the session, and a driver that turns up later is taken at the next
// call.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>
#include <vector>

#include "attributes/attribute.h"
#include "inventory/device_list.h"
#include "local/keld/local_keld_config_session.h"
#include "platform/driver_libraries.h"
#include "variant_support.h"

namespace keld::device {
namespace {

constexpr Status kNoDriver = 0xBFFF800B;

// Points the library at a driver that is not there, once, before any test.
class WithoutDriver : public ::testing::Environment {
 public:
  void SetUp() override { FrameGrabberDriver().ReplaceForTesting("keld_not_installed.dll"); }
};
[[maybe_unused]] ::testing::Environment* const kWithoutDriver =
    ::testing::AddGlobalTestEnvironment(new WithoutDriver);

class NoDriver : public ::testing::TestWithParam<Side> {};
INSTANTIATE_TEST_SUITE_P(, NoDriver, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

TEST_P(NoDriver, TheBoardFunctionsAnswerThatTheSessionCannotBeConfigured) {
  VariantDevice device(nullptr, GetParam());
  EXPECT_EQ(static_cast<std::uint32_t>(cfgRefreshBoards(device.Host())), kNoDriver);
  std::uint8_t changed = 0xEE;
  EXPECT_EQ(static_cast<std::uint32_t>(cfgRefreshBoards2(device.Host(), &changed)), kNoDriver);
  EXPECT_EQ(changed, 0u);
  std::uint32_t count = 7;
  EXPECT_EQ(static_cast<std::uint32_t>(cfgGetBoardCount(device.Host(), &count)), kNoDriver);
  EXPECT_EQ(count, 7u);
  char name[64] = {};
  EXPECT_EQ(static_cast<std::uint32_t>(cfgQueryBoard(device.Host(), 0, name, sizeof name, nullptr, nullptr, 0)),
            kNoDriver);
  std::uint32_t id = 0;
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenBoard(device.Host(), "img0", 0, &id)), kNoDriver);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenBoard(device.Host(), nullptr, 0x00A10001, &id)), kNoDriver);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenLegacyBoard(device.Host(), "img0", &id)), kNoDriver);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgOpenBoard(device.Host(), "interfaceType:7105", 0, &id)), kNoDriver);
  EXPECT_EQ(id, 0u);
  // With the phantom boards asked for, the enumeration still fails: the
  // list that carries them is not kept.
  device.registry().Set("ShowAllPhantomBoards", 1);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgRefreshBoards(device.Host())), kNoDriver);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgGetBoardCount(device.Host(), &count)), kNoDriver);
}

TEST_P(NoDriver, ErrorTextsFallThroughToTheTable) {
  VariantDevice device(nullptr, GetParam());
  char text[256] = {};
  EXPECT_EQ(cfgGetErrorText(kNoDriver, text), 0);
  EXPECT_STREQ(text, "The session for your device could not be configured.");
  EXPECT_EQ(cfgGetErrorText(0, text), 0);
  EXPECT_STREQ(text, "Spiffy!");
  EXPECT_EQ(cfgGetErrorText(0xBFF60044, text), 0);
  EXPECT_EQ(std::string(text).rfind("An undetermined error code has been encountered.", 0), 0u) << text;
}

::keld::Device Listed(const char* name) {
  ::keld::Device listed;
  listed.name = name;
  return listed;
}

// The session itself: the list is not cleared, the phantom boards are
// appended all the same, and the status is the missing driver's.
TEST(NoDriverSession, EnumerationStillListsThePhantomBoards) {
  VariantDevice device(nullptr, Side::kLocal);
  device.registry().Set("ShowAllPhantomBoards", 1);
  Status status = kSuccess;
  LocalKELDConfigSession session("enumeration", &status);
  DeviceList list;
  list.push_back(Listed("kept"));
  EXPECT_EQ(session.EnumerateDevices(&list), kNoDriver);
  ASSERT_EQ(list.size(), 17u);
  EXPECT_EQ(std::string(list[0].name.c_str()), "kept");
  EXPECT_EQ(std::string(list[1].name.c_str()), "interfaceType:7101");
  EXPECT_EQ(std::string(list[1].description.c_str()), "Phantom KELD PCI-7101");
  EXPECT_EQ(list[1].uniqueId, 0xFFFFFFFFu);
  EXPECT_EQ(list[1].driverVersion, 0x03000000u);  // the version word could not be had
  EXPECT_EQ(std::string(list[16].name.c_str()), "interfaceType:7116");
  EXPECT_EQ(list[16].uniqueId, 0xFFFFFFF0u);
  EXPECT_EQ(KeldDriverVersion(), 0x03000000u);

  device.registry().Set("ShowAllPhantomBoards", 0);
  list.clear();
  EXPECT_EQ(session.EnumerateDevices(&list), kNoDriver);
  EXPECT_TRUE(list.empty());
}

// Every operation of these Parts that calls the driver answers 0xBFFF800B.
TEST(NoDriverSession, EveryDriverCallAnswersTheSameStatus) {
  VariantDevice device(nullptr, Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img0", &status);
  EXPECT_EQ(session.Open(), kNoDriver);
  EXPECT_EQ(session.interfaceId, 0u);
  // Nothing was opened, so nothing is closed.
  EXPECT_EQ(session.Close(), kSuccess);
  LocalKELDConfigSession bySerial("serial:00a10001", &status);
  EXPECT_EQ(bySerial.Open(), kNoDriver);
  EXPECT_EQ(std::string(bySerial.interfaceName.c_str()), "serial:00a10001");

  Attribute* attribute = nullptr;
  ASSERT_EQ(CreateAttribute(AttrU32::kTag, false, &attribute), kSuccess);
  std::unique_ptr<Attribute> owned(attribute);
  attribute->SetKey(0x3FF60070);
  static_cast<TypedAttribute<AttrU32>*>(attribute)->SetValue(AttrU32{5});
  EXPECT_EQ(session.ReadAttribute(attribute), kNoDriver);
  EXPECT_EQ(session.WriteAttribute(attribute), kNoDriver);
  EXPECT_NE(attribute->IsDirty(), 0u);
  EXPECT_EQ(session.RefreshAttributes(), kNoDriver);
  EXPECT_EQ(session.ValidateAttributes(), kNoDriver);
  EXPECT_EQ(session.ReadAttributes("mono640.icd"), kNoDriver);
  EXPECT_EQ(session.ReadAttributes(""), kSuccess);  // nothing to do, nothing asked
  EXPECT_EQ(session.WriteAttributes("mono640.icd"), kNoDriver);
  EXPECT_EQ(session.ReadAttributesFromString("[Camera]\n"), kNoDriver);
  CFGString text("kept");
  EXPECT_EQ(session.WriteAttributesToString(&text), kNoDriver);
  std::uint32_t values[2] = {1, 2};
  EXPECT_EQ(session.ReadU32(0, 0x20, 2, values), kNoDriver);
  EXPECT_EQ(session.ReadU32(0, 0x20, 0, values), kNoDriver);  // the serial number read alone
  EXPECT_EQ(session.WriteU32(0, 0x40, 2, values), kNoDriver);
  char path[520] = {};
  EXPECT_EQ(session.ClaimInterfaceFile(0x00A10001, path), kNoDriver);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(session.GetBoardNameFromPCIID(0x00A10002, path), kNoDriver);
  EXPECT_EQ(session.FindDefaultCameraFile(path), kNoDriver);
  EXPECT_EQ(session.StoreDefaultInterfaceFile("img0.iid"), kNoDriver);
  CFGString driverText("kept");
  bool found = true;
  KeldDriverErrorText(0xBFF60044, &driverText, &found);
  EXPECT_FALSE(found);
  // The base's own operations need no driver.
  std::uint32_t type = 0;
  std::uint32_t quality = 0;
  EXPECT_EQ(session.GetImageCompression(&type, &quality), kSuccess);
  EXPECT_EQ(session.SetAcquisitionFlags(1), kSuccess);
  EXPECT_EQ(session.CommitAttributes(), kSuccess);
}

// A driver that turns up after failed attempts is taken at the next call:
// a failed load is not remembered. The missing driver is back at the end.
TEST(NoDriverThenDriver, ADriverThatTurnsUpIsTakenAtTheNextCall) {
  VariantDevice device(nullptr, Side::kLocal);
  EXPECT_EQ(static_cast<std::uint32_t>(cfgRefreshBoards(nullptr)), kNoDriver);
  // The driver's data folder, before its first call reads it.
  const std::filesystem::path folder = device.folder() / "driver-data";
  ASSERT_EQ(setenv("KELDSIM_DATA", folder.c_str(), 1), 0);
  // By its path: the loader of a sanitized process searches no RUNPATH.
  FrameGrabberDriver().ReplaceForTesting((std::string(KELDSIM_LIB_DIR) + "/keld.dll").c_str());
  EXPECT_EQ(cfgRefreshBoards(nullptr), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'img0' 0x00A10001 'OD PCIe-7109' 0x04720000",
                                                       "'img1' 0x00A10002 'OD PCI-7105' 0x04720000",
                                                       "'img2' 0x00A10003 'OD PXB-7107' 0x04720000"}));
  EXPECT_TRUE(std::filesystem::exists(folder / "img0.iid"));
  std::uint32_t id = 0;
  EXPECT_EQ(cfgOpenBoard(nullptr, "img1", 0, &id), 0);
  EXPECT_EQ(cfgClose(id), 0);
  unsetenv("KELDSIM_DATA");
  FrameGrabberDriver().ReplaceForTesting("keld_not_installed.dll");
  EXPECT_EQ(static_cast<std::uint32_t>(cfgRefreshBoards(nullptr)), kNoDriver);
}

}  // namespace
}  // namespace keld::device

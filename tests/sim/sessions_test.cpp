// Interfaces and sessions of the simulated driver: the forms of interface
// names, units, a unit in use, closing, execution states and the refusal of
// configuration outside state 16, and boards that go away.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

namespace fs = std::filesystem;

class SessionsTest : public SimTest {};

uint32_t OpenStatus(const std::string& name) {
  uint32_t iid = 0;
  return kldInterfaceOpen(name.c_str(), &iid);
}

uint32_t State(uint32_t sid) {
  uint32_t state = 0;
  EXPECT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  return state;
}

TEST_F(SessionsTest, InterfaceNamesSerialNamesAndUnits) {
  const std::string name = ClaimInterface(kBoard7109);
  ASSERT_EQ(name, "img0");
  for (const std::string& form : {name, name + ".iid", (folder_ / name).string(), std::string("serial:00a10001"),
                                  std::string("serial:00A10001::1"), name + "::0", name + "::1"}) {
    uint32_t iid = 0, sid = 0;
    ASSERT_EQ(kldInterfaceOpen(form.c_str(), &iid), kOk) << form;
    EXPECT_NE(iid, 0u);
    ASSERT_EQ(kldSessionOpen(iid, &sid), kOk) << form;
    EXPECT_NE(sid, 0u);
    EXPECT_NE(sid, iid);
    EXPECT_EQ(U32(sid, 0x3FF600C0), kBoard7109) << form;
    const uint32_t unit = form.size() > 3 && form.compare(form.size() - 3, 3, "::1") == 0 ? 1u : 0u;
    EXPECT_EQ(U32(sid, 0x3FF60004), unit) << form;
    EXPECT_EQ(kldClose(sid, 1), kOk);
    EXPECT_EQ(kldClose(iid, 1), kOk);
  }
  EXPECT_EQ(OpenStatus(name + "::2"), kUnitNotFound);
  EXPECT_EQ(OpenStatus("serial:00A10002::1"), kUnitNotFound);
  EXPECT_EQ(OpenStatus("serial:00000042"), kBoardNotFound);
  EXPECT_EQ(OpenStatus("serial:xyz"), kInvalidName);
  EXPECT_EQ(OpenStatus(name + "::"), kInvalidName);
  EXPECT_EQ(OpenStatus(name + "::a"), kInvalidName);
  EXPECT_EQ(OpenStatus("img7"), kInterfaceNotFound);
  EXPECT_EQ(OpenStatus(""), kInvalidName);
  uint32_t iid = 0;
  EXPECT_EQ(kldInterfaceOpen(nullptr, &iid), kInvalidArgument);
  EXPECT_EQ(kldInterfaceOpen(name.c_str(), nullptr), kInvalidArgument);
}

TEST_F(SessionsTest, UnitNamesOnlyFromDriver0x03500000) {
  const std::string name = ClaimInterface(kBoard7109);
  ASSERT_EQ(keldsimSetDriverVersion(0x034F0000), kOk);
  EXPECT_EQ(OpenStatus(name + "::0"), kInvalidName);
  EXPECT_EQ(OpenStatus("serial:00A10001::0"), kInvalidName);
  EXPECT_EQ(OpenStatus(name), kOk);
  ASSERT_EQ(keldsimSetDriverVersion(0x03500000), kOk);
  EXPECT_EQ(OpenStatus(name + "::0"), kOk);
}

TEST_F(SessionsTest, InterfaceFileMustFitABoardThatIsThere) {
  WriteText(folder_ / "stray.iid", "[Interface]\nSerial = 0x42\nInterfaceTypes = 0x4\nPorts = 1\n");
  EXPECT_EQ(OpenStatus("stray"), kBoardNotFound);
  WriteText(folder_ / "analog.iid",
            "[Interface]\nSerial = 0x00A10001\nInterfaceTypes = 0x1\nPorts = 2\nPort0 = mono640.icd\n");
  EXPECT_EQ(OpenStatus("analog"), kWrongInterfaceType);
  WriteText(folder_ / "garbage.iid", "no sections here\n");
  EXPECT_EQ(OpenStatus("garbage"), kFileFormat);
}

TEST_F(SessionsTest, SessionOpensOnlyWithAUsableCameraFile) {
  WriteText(folder_ / "nocamera.iid", "[Interface]\nSerial = 0x00A10003\nInterfaceTypes = 0x2\nPorts = 1\n");
  uint32_t iid = 0, sid = 0;
  ASSERT_EQ(kldInterfaceOpen("nocamera", &iid), kOk);
  EXPECT_EQ(kldSessionOpen(iid, &sid), kCameraFileNotFound);
  WriteText(folder_ / "wrongcamera.iid",
            "[Interface]\nSerial = 0x00A10003\nInterfaceTypes = 0x2\nPorts = 1\nPort0 = bayer1280.icd\n");
  ASSERT_EQ(kldInterfaceOpen("wrongcamera", &iid), kOk);
  EXPECT_EQ(kldSessionOpen(iid, &sid), kCameraNotSuited);
  // By serial number the board opens all the same, with the first camera
  // file that suits it on every port.
  ASSERT_EQ(kldInterfaceOpen("serial:00A10003", &iid), kOk);
  ASSERT_EQ(kldSessionOpen(iid, &sid), kOk);
  EXPECT_EQ(Text(sid, 0x3FF604C3), "mono16.icd");
  EXPECT_EQ(Text(sid, 0x3FF604BE), "");  // no interface file behind it
  EXPECT_EQ(kldSessionOpen(0x1234, &sid), kInvalidId);
}

TEST_F(SessionsTest, SerialNameTakesTheActiveFile) {
  const std::string name = ClaimInterface(kBoard7105);
  const uint32_t sid = Open("serial:00a10002");
  EXPECT_EQ(Text(sid, 0x3FF604BE), name);
}

TEST_F(SessionsTest, AUnitServesOneSessionAtATime) {
  const std::string name = ClaimInterface(kBoard7109);
  uint32_t iid = 0;
  const uint32_t first = Open(name + "::0", &iid);
  uint32_t again = 0, sid = 0;
  ASSERT_EQ(kldInterfaceOpen(name.c_str(), &again), kOk);
  EXPECT_EQ(kldSessionOpen(again, &sid), kUnitInUse);
  const uint32_t other = Open(name + "::1");  // the other unit is free
  EXPECT_NE(other, first);
  ASSERT_EQ(kldClose(first, 1), kOk);
  ASSERT_EQ(kldSessionOpen(again, &sid), kOk);
  EXPECT_EQ(kldClose(first, 1), kInvalidId);
}

TEST_F(SessionsTest, ClosingAnInterfaceClosesItsSessions) {
  uint32_t iid = 0;
  const uint32_t sid = Open(ClaimInterface(kBoard7107), &iid);
  ASSERT_EQ(kldClose(iid, 1), kOk);
  uint32_t state = 0;
  EXPECT_EQ(odkelduGetExecutionState(sid, &state), kInvalidId);
  EXPECT_EQ(kldClose(iid, 1), kInvalidId);
  EXPECT_EQ(kldClose(0, 1), kInvalidId);
  // The unit is free again.
  Open("serial:00a10003");
}

TEST_F(SessionsTest, ConfigurationIsWrittenInState16Only) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  EXPECT_EQ(State(sid), 256u);
  const uint32_t top = 8;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60068, &top), kNotInThisState);
  // What the library does on that answer: to 16, write again, to 256.
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  EXPECT_EQ(State(sid), 16u);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60068, &top), kOk);
  const uint32_t height = 760;  // so that the window stays on the sensor
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601A7, &height), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60068), 8u);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 1), kOk);
  EXPECT_EQ(State(sid), 1u);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60068, &top), kNotInThisState);
  // Settings that may change at any time do so in every state.
  const double gain = 2.5;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &gain), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 17), kInvalidState);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 0), kInvalidState);
  EXPECT_EQ(State(sid), 256u);
}

TEST_F(SessionsTest, AWindowOutsideTheSensorIsNotAccepted) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));  // mono16: 1024 x 768
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  const uint32_t left = 600;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60069, &left), kOk);
  EXPECT_EQ(odkelduValidate(sid), kConfigurationInvalid);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 256), kConfigurationInvalid);
  EXPECT_EQ(State(sid), 16u);
  const uint32_t width = 424;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601A6, &width), kOk);
  EXPECT_EQ(odkelduValidate(sid), kOk);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  uint32_t bytes = 0;
  ASSERT_EQ(kldSessionGetBufferSize(sid, &bytes), kOk);
  EXPECT_EQ(bytes, 424u * 768u * 2u);
}

TEST_F(SessionsTest, SessionOfAnUnpluggedBoardAnswersThatItIsGone) {
  const uint32_t sid = Open(ClaimInterface(kBoard7107));
  ASSERT_EQ(keldsimRemoveBoard(kBoard7107), kOk);
  uint32_t state = 0, value = 0;
  EXPECT_EQ(odkelduGetExecutionState(sid, &state), kBoardRemoved);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF600C0, &value), kBoardRemoved);
  void* pixels = nullptr;
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 1, 1, 1), kBoardRemoved);
  EXPECT_EQ(kldClose(sid, 1), kOk);
  EXPECT_EQ(OpenStatus("serial:00A10003"), kBoardNotFound);
}

TEST_F(SessionsTest, PhysicalMemoryLimitIsLiftedOnAnInterface) {
  uint32_t iid = 0;
  const uint32_t sid = Open(ClaimInterface(kBoard7105), &iid);
  EXPECT_EQ(odkelduDisable32bitPhysMemLimitEnforcement(iid), kOk);
  EXPECT_EQ(odkelduDisable32bitPhysMemLimitEnforcement(sid), kInvalidId);
}

// The library's test of an interface file: each unit opened by the file's
// name; a file that will not open is replaced through the serial form.
TEST_F(SessionsTest, EnumerationStepsOfTheLibrary) {
  ASSERT_EQ(odkelduDeployInterfaceFiles(0), kOk);
  char path[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetActiveInterfaceFile(kBoard7109, path), kNoActiveFile);
  ASSERT_EQ(odkelduClaimNewInterfaceFile(kBoard7109, path), kOk);
  const std::string name = std::string(path).substr(0, std::strlen(path) - 4);
  for (uint32_t unit = 0; unit < 2; ++unit) {
    uint32_t iid = 0, sid = 0;
    const std::string unitName = name + "::" + std::to_string(unit);
    ASSERT_EQ(kldInterfaceOpen(unitName.c_str(), &iid), kOk);
    ASSERT_EQ(kldSessionOpen(iid, &sid), kOk);
    EXPECT_EQ(kldClose(sid, 1), kOk);
    EXPECT_EQ(kldClose(iid, 1), kOk);
  }
  ASSERT_EQ(odkelduSetActiveInterfaceFile(kBoard7109, path), kOk);

  // Spoil the file's camera; the serial form still opens, and storing the
  // default camera file into each port mends it.
  WriteText(folder_ / path, "[Interface]\nSerial = 0x00A10001\nInterfaceTypes = 0x4\nPorts = 2\n");
  uint32_t iid = 0, sid = 0;
  ASSERT_EQ(kldInterfaceOpen(name.c_str(), &iid), kOk);
  EXPECT_EQ(kldSessionOpen(iid, &sid), kCameraFileNotFound);
  ASSERT_EQ(kldClose(iid, 1), kOk);
  sid = Open("serial:00a10001::0");
  uint32_t ports = 0, state = 0;
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF6046B, &ports), kOk);
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  char camera[512] = "rgb640.icd";
  for (uint32_t port = 0; port < ports; ++port) {
    ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF604C3 + port, camera), kOk);
  }
  ASSERT_EQ(odkelduChangeExecutionState(sid, state), kOk);
  ASSERT_EQ(odkelduStoreInterfaceConfig(sid, (folder_ / path).c_str()), kOk);
  ASSERT_EQ(kldClose(sid, 1), kOk);
  sid = Open(name + "::1");
  EXPECT_EQ(Text(sid, 0x3FF60401), "rgb640.icd");
}

}  // namespace
}  // namespace keldsim_test

namespace keldsim_test {
namespace {

// A board type that is not installed can be opened to prepare its
// configuration; it has no camera behind it.
TEST_F(SessionsTest, PhantomBoardsOpenByTheirType) {
  const uint32_t sid = Open("interfaceType:7105");
  EXPECT_EQ(U32(sid, 0x3FF60001), 0x7105u);
  EXPECT_EQ(U32(sid, 0x3FF600C0), 0xFFFFFFFBu);
  EXPECT_EQ(U32(sid, 0x3FF601AD), 1u);
  EXPECT_EQ(Text(sid, 0x3FF604C3), "bayer1280.icd");  // every camera suits it
  EXPECT_EQ(Text(sid, 0x3FF604BE), "");
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(odkelduLoadCameraConfig(sid, "mono640.icd"), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  ASSERT_EQ(odkelduStoreCameraConfig(sid, "prepared.icd"), kOk);
  EXPECT_TRUE(fs::exists(folder_ / "prepared.icd"));
  std::vector<uint8_t> image(640 * 480);
  void* pixels = image.data();
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kNotSupported);
  EXPECT_EQ(kldGrabSetup(sid, 1), kNotSupported);
  uint32_t value = 0;
  EXPECT_EQ(kldRead(0xFFFFFFFB, 0, 0, 4, &value), kBoardNotFound);  // no hardware to reach
  Open("INTERFACETYPE:7116::0");
  EXPECT_EQ(OpenStatus("interfaceType:7100"), kInvalidName);
  EXPECT_EQ(OpenStatus("interfaceType:71"), kInvalidName);
}

}  // namespace
}  // namespace keldsim_test

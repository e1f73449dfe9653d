// Configuration files and texts of a session: storing and loading camera
// and interface configuration, the states they need, a new camera on a
// port, and configuration texts lent by the driver.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

namespace fs = std::filesystem;

class ConfigTest : public SimTest {};

TEST_F(ConfigTest, CameraConfigurationIsStoredAndLoadedAgain) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const double red = 1.5;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &red), kOk);
  const uint32_t rect[6] = {0, 1280, 3, 1000, 1280, 1003};
  ASSERT_EQ(Configure(sid, 0x3FF601A8, rect), kOk);
  ASSERT_EQ(kldSetCameraAttributeNumeric(sid, "Exposure Time", 1000.0), kOk);
  ASSERT_EQ(odkelduStoreCameraConfig(sid, "mine.icd"), kOk);
  const std::string text = ReadText(folder_ / "mine.icd");
  EXPECT_NE(text.find("0x3FF601CC = 1.5"), std::string::npos) << text;
  EXPECT_NE(text.find("0x3FF60068 = 3"), std::string::npos) << text;
  // The port now names the stored file, which the interface has to keep.
  EXPECT_EQ(Text(sid, 0x3FF604C3), "mine.icd");
  EXPECT_EQ(Text(sid, 0x3FF60401), "mine.icd");
  EXPECT_EQ(U32(sid, 0x3FF604C0), 1u);

  const double other = 3.0;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &other), kOk);
  ASSERT_EQ(kldSetCameraAttributeNumeric(sid, "Exposure Time", 50.0), kOk);
  EXPECT_EQ(odkelduLoadCameraConfig(sid, "mine.icd"), kNotInThisState);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 1), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(odkelduLoadCameraConfig(sid, (folder_ / "mine.icd").c_str()), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF601CC), 1.5);
  EXPECT_EQ(U32(sid, 0x3FF60068), 3u);
  double exposure = 0;
  ASSERT_EQ(kldGetCameraAttributeNumeric(sid, "Exposure Time", &exposure), kOk);
  EXPECT_DOUBLE_EQ(exposure, 1000.0);
}

TEST_F(ConfigTest, LoadingAFileThatIsNotThereOrDoesNotSuit) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  EXPECT_EQ(odkelduLoadCameraConfig(sid, "none.icd"), kCameraFileNotFound);
  EXPECT_EQ(odkelduLoadCameraConfig(sid, "mono640.icd"), kCameraNotSuited);
  EXPECT_EQ(odkelduLoadCameraConfig(sid, nullptr), kInvalidArgument);
  EXPECT_EQ(odkelduLoadInterfaceConfig(sid, "none.iid"), kInterfaceNotFound);
  EXPECT_EQ(Text(sid, 0x3FF60401), "bayer1280.icd");
}

TEST_F(ConfigTest, ANewCameraOnThePortTakesEffectWhenReady) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  EXPECT_EQ(U32(sid, 0x3FF600DA), 1280u);
  char camera[512] = "rgb640.icd";
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF604C3, camera), kOk);
  EXPECT_EQ(U32(sid, 0x3FF600DA), 1280u);  // not before
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_EQ(U32(sid, 0x3FF600DA), 640u);
  EXPECT_EQ(U32(sid, 0x3FF600D8), 4u);
  EXPECT_EQ(U32(sid, 0x3FF601A6), 640u);  // the window of the new camera

  char missing[512] = "gone.icd";
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF604C3, missing), kOk);
  EXPECT_EQ(odkelduValidate(sid), kCameraFileNotFound);
  EXPECT_EQ(odkelduChangeExecutionState(sid, 256), kCameraFileNotFound);
  uint32_t state = 0;
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 16u);
}

TEST_F(ConfigTest, InterfaceConfigurationIsStoredAndLoaded) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  const uint32_t power = 0;
  ASSERT_EQ(Configure(sid, 0x3FF60511, power), kOk);
  char camera[512] = "mono640.icd";
  ASSERT_EQ(Configure(sid, 0x3FF604C4, camera), kOk);
  ASSERT_EQ(odkelduStoreInterfaceConfig(sid, "second"), kOk);  // ".iid" is added
  EXPECT_EQ(Text(sid, 0x3FF604BE), "second");
  const std::string text = ReadText(folder_ / "second.iid");
  EXPECT_NE(text.find("Serial = 0x00A10002"), std::string::npos);
  EXPECT_NE(text.find("Port1 = mono640.icd"), std::string::npos);
  EXPECT_NE(text.find("0x3FF60511 = 0"), std::string::npos);

  // The library's loading of a camera file: state 1, then 16, the interface
  // file named by 0x3FF604BE, then the camera file, then 256.
  const uint32_t on = 1;
  ASSERT_EQ(Configure(sid, 0x3FF60511, on), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 1), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(odkelduLoadInterfaceConfig(sid, (Text(sid, 0x3FF604BE) + ".iid").c_str()), kOk);
  ASSERT_EQ(odkelduLoadCameraConfig(sid, "mono640.icd"), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60511), 0u);
  EXPECT_EQ(Text(sid, 0x3FF604C3), "mono640.icd");
  EXPECT_EQ(U32(sid, 0x3FF600DA), 640u);
}

TEST_F(ConfigTest, LoadingTheConfigurationOfAnotherFile) {
  const uint32_t sid = Open(ClaimInterface(kBoard7107));
  WriteText(folder_ / "other.iid",
            "[Interface]\nSerial = 0x00A10003\nInterfaceTypes = 0x2\nPorts = 1\nPort0 = mono640.icd\n");
  EXPECT_EQ(odkelduLoadConfiguration(sid, "other.iid"), kNotInThisState);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  ASSERT_EQ(odkelduLoadConfiguration(sid, "other.iid"), kOk);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 256), kOk);
  EXPECT_EQ(Text(sid, 0x3FF604BE), "other");
  EXPECT_EQ(Text(sid, 0x3FF60401), "mono640.icd");
  WriteText(folder_ / "foreign.iid",
            "[Interface]\nSerial = 0x00A10002\nInterfaceTypes = 0x2\nPorts = 1\nPort0 = mono640.icd\n");
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  EXPECT_EQ(odkelduLoadConfiguration(sid, "foreign.iid"), kOtherBoard);
}

TEST_F(ConfigTest, ConfigurationTextsAreLentAndGivenBack) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const double blue = 2.0;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CE, &blue), kOk);
  char* text = nullptr;
  ASSERT_EQ(kldStoreCameraConfigToString(sid, &text), kOk);
  ASSERT_NE(text, nullptr);
  const std::string stored = text;
  EXPECT_NE(stored.find("Model = Colour 1280 raw"), std::string::npos);
  EXPECT_NE(stored.find("0x3FF601CE = 2"), std::string::npos);
  EXPECT_EQ(kldDisposeBuffer(text), kOk);
  EXPECT_EQ(kldDisposeBuffer(text), kInvalidBuffer);
  int own = 0;
  EXPECT_EQ(kldDisposeBuffer(&own), kInvalidBuffer);
  EXPECT_EQ(kldDisposeBuffer(nullptr), kInvalidArgument);

  const double back = 1.0;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CE, &back), kOk);
  // A text takes effect at once, whatever the state.
  ASSERT_EQ(kldLoadCameraConfigFromString(sid, stored.c_str()), kOk);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF601CE), 2.0);
  uint32_t state = 0;
  ASSERT_EQ(odkelduGetExecutionState(sid, &state), kOk);
  EXPECT_EQ(state, 256u);
  EXPECT_EQ(kldLoadCameraConfigFromString(sid, "[Camera]\nModel = broken\n"), kFileFormat);
  const std::string analog = ReadText(folder_ / "mono640.icd");
  EXPECT_EQ(kldLoadCameraConfigFromString(sid, analog.c_str()), kCameraNotSuited);
  EXPECT_EQ(kldStoreCameraConfigToString(sid, nullptr), kInvalidArgument);
}

}  // namespace
}  // namespace keldsim_test

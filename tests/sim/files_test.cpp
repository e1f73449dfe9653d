// The data folder and the interface and camera files of the simulated
// driver: seeding, the default folder, claiming and recording a board's
// interface file, the names of interfaces, and what the files say.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

namespace fs = std::filesystem;

class FilesTest : public SimTest {};

std::string DataFolder() {
  char path[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetInterfaceFilePathA(path), kOk);
  return path;
}

std::string Active(uint32_t serial, uint32_t expected = kOk) {
  char path[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetActiveInterfaceFile(serial, path), expected);
  return path;
}

std::vector<std::string> InterfaceNames() {
  std::vector<std::string> names;
  for (uint32_t index = 0;; ++index) {
    char name[KELD_DRIVER_PATH_SIZE] = {};
    const uint32_t status = kldInterfaceQueryNames(index, name);
    if (status != kOk) {
      EXPECT_EQ(status, kNoMoreInterfaces);
      break;
    }
    names.push_back(name);
  }
  return names;
}

TEST_F(FilesTest, NewDataFolderIsSeededWithCameraFiles) {
  EXPECT_EQ(DataFolder(), folder_.string());
  for (const char* name : {"mono640.icd", "bayer1280.icd", "mono16.icd", "rgb640.icd", "Reference/reference640.icd"}) {
    EXPECT_TRUE(fs::is_regular_file(folder_ / name)) << name;
  }
  EXPECT_NE(ReadText(folder_ / "mono640.icd").find("Width = 640"), std::string::npos);
}

TEST_F(FilesTest, FolderWithFilesIsNotSeededAgain) {
  fs::remove(folder_ / "rgb640.icd");
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  EXPECT_FALSE(fs::exists(folder_ / "rgb640.icd"));
}

TEST_F(FilesTest, MissingFolderIsCreated) {
  const fs::path nested = folder_ / "a" / "b";
  ASSERT_EQ(keldsimResetWith(nullptr, nested.c_str()), kOk);
  EXPECT_EQ(DataFolder(), nested.string());
  EXPECT_TRUE(fs::is_regular_file(nested / "mono16.icd"));
}

TEST_F(FilesTest, DefaultFolderFollowsTheEnvironment) {
  const char* savedXdg = std::getenv("XDG_DATA_HOME");
  const std::string xdg = savedXdg == nullptr ? "" : savedXdg;
  const char* savedHome = std::getenv("HOME");
  const std::string home = savedHome == nullptr ? "" : savedHome;

  ASSERT_EQ(setenv("XDG_DATA_HOME", (folder_ / "xdg").c_str(), 1), 0);
  EXPECT_EQ(keldsimReset(), kOk);
  EXPECT_EQ(DataFolder(), (folder_ / "xdg" / "keldsim").string());

  unsetenv("XDG_DATA_HOME");
  ASSERT_EQ(setenv("HOME", (folder_ / "home").c_str(), 1), 0);
  EXPECT_EQ(keldsimReset(), kOk);
  EXPECT_EQ(DataFolder(), (folder_ / "home" / ".local" / "share" / "keldsim").string());

  ASSERT_EQ(setenv("KELDSIM_DATA", (folder_ / "given").c_str(), 1), 0);
  EXPECT_EQ(keldsimReset(), kOk);
  EXPECT_EQ(DataFolder(), (folder_ / "given").string());
  unsetenv("KELDSIM_DATA");

  unsetenv("HOME");
  const fs::path last = "/tmp/keldsim-" + std::to_string(getuid());
  const bool existed = fs::exists(last);
  EXPECT_EQ(keldsimReset(), kOk);
  EXPECT_EQ(DataFolder(), last.string());
  if (!existed) fs::remove_all(last);

  if (!xdg.empty()) setenv("XDG_DATA_HOME", xdg.c_str(), 1);
  if (!home.empty()) setenv("HOME", home.c_str(), 1);
}

TEST_F(FilesTest, ClaimingAndRecordingTheInterfaceFileOfABoard) {
  Active(kBoard7109, kNoActiveFile);
  char path[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(odkelduClaimNewInterfaceFile(kBoard7109, path), kOk);
  EXPECT_STREQ(path, "img0.iid");
  const std::string text = ReadText(folder_ / "img0.iid");
  EXPECT_NE(text.find("Serial = 0x00A10001"), std::string::npos) << text;
  EXPECT_NE(text.find("Port0 = bayer1280.icd"), std::string::npos) << text;  // the first that suits Camera Link
  EXPECT_NE(text.find("Port1 = bayer1280.icd"), std::string::npos) << text;
  Active(kBoard7109, kNoActiveFile);  // claimed, not yet recorded
  ASSERT_EQ(odkelduSetActiveInterfaceFile(kBoard7109, path), kOk);
  EXPECT_EQ(Active(kBoard7109), "img0.iid");

  ASSERT_EQ(odkelduClaimNewInterfaceFile(kBoard7105, path), kOk);
  EXPECT_STREQ(path, "img1.iid");
  EXPECT_NE(ReadText(folder_ / "img1.iid").find("Port0 = mono16.icd"), std::string::npos);
  // A file of another board cannot be recorded.
  EXPECT_EQ(odkelduSetActiveInterfaceFile(kBoard7109, "img1.iid"), kOtherBoard);
  EXPECT_EQ(odkelduSetActiveInterfaceFile(kBoard7109, "nothing.iid"), kInterfaceNotFound);
  EXPECT_EQ(odkelduClaimNewInterfaceFile(0x1234, path), kBoardNotFound);
  EXPECT_EQ(InterfaceNames(), (std::vector<std::string>{"img0", "img1"}));
}

TEST_F(FilesTest, ActiveFileIsRememberedInTheDataFolder) {
  ClaimInterface(kBoard7107);
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  EXPECT_EQ(Active(kBoard7107), "img0.iid");
  // A file that went away is forgotten when the files are deployed.
  fs::remove(folder_ / "img0.iid");
  Active(kBoard7107, kNoActiveFile);
  ASSERT_EQ(odkelduDeployInterfaceFiles(0), kOk);
  Active(kBoard7107, kNoActiveFile);
  EXPECT_EQ(odkelduDeployInterfaceFiles(1), kInvalidArgument);
}

TEST_F(FilesTest, DeployingAdoptsAFileThatNamesTheBoard) {
  WriteText(folder_ / "camera-a.iid",
            "[Interface]\nSerial = 0x00A10003\nInterfaceTypes = 0x2\nPorts = 1\nPort0 = mono640.icd\n");
  Active(kBoard7107, kNoActiveFile);
  ASSERT_EQ(odkelduDeployInterfaceFiles(0), kOk);
  EXPECT_EQ(Active(kBoard7107), "camera-a.iid");
  Active(kBoard7109, kNoActiveFile);
}

TEST_F(FilesTest, WhatAnInterfaceFileSaysByAnyFormOfItsName) {
  ClaimInterface(kBoard7105);
  const std::string absolute = (folder_ / "img0.iid").string();
  std::string backslashes = absolute;
  std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
  for (const std::string& name : {std::string("img0.iid"), std::string("img0"), absolute, backslashes}) {
    uint32_t serial = 0, mask = 0;
    EXPECT_EQ(odkelduGetSerialNumberFromInterfaceFile(name.c_str(), &serial), kOk) << name;
    EXPECT_EQ(serial, kBoard7105) << name;
    EXPECT_EQ(odkelduGetInterfaceTypeExFromInterfaceFile(name.c_str(), &mask), kOk) << name;
    EXPECT_EQ(mask, 0x3u) << name;
  }
  char camera[KELD_DRIVER_PATH_SIZE] = {};
  uint32_t size = 0;
  ASSERT_EQ(odkelduGetCameraFileFromInterfaceFile("img0", 1, nullptr, &size), kOk);
  EXPECT_EQ(size, std::strlen("mono16.icd") + 1);
  size = 4;
  EXPECT_EQ(odkelduGetCameraFileFromInterfaceFile("img0", 1, camera, &size), kBufferTooSmall);
  size = sizeof camera;
  ASSERT_EQ(odkelduGetCameraFileFromInterfaceFile("img0", 1, camera, &size), kOk);
  EXPECT_STREQ(camera, "mono16.icd");
  EXPECT_EQ(odkelduGetCameraFileFromInterfaceFile("img0", 2, camera, &size), kPortNotFound);

  ASSERT_EQ(odkelduSetSerialNumberInInterfaceFile("img0", 0xCAFE), kOk);
  uint32_t serial = 0;
  ASSERT_EQ(odkelduGetSerialNumberFromInterfaceFile("img0.iid", &serial), kOk);
  EXPECT_EQ(serial, 0xCAFEu);
  // Its board no longer finds it as its active file.
  Active(kBoard7105, kNoActiveFile);

  EXPECT_EQ(odkelduGetSerialNumberFromInterfaceFile("nothing", &serial), kInterfaceNotFound);
  WriteText(folder_ / "broken.iid", "Serial = 1\n");
  EXPECT_EQ(odkelduGetSerialNumberFromInterfaceFile("broken", &serial), kFileFormat);
  EXPECT_EQ(odkelduGetSerialNumberFromInterfaceFile(nullptr, &serial), kInvalidArgument);
}

TEST_F(FilesTest, CameraFilesSuitOrNotAndTellTheirTexts) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));  // Camera Link
  uint32_t suits = 9;
  char mode[KELD_DRIVER_PATH_SIZE] = {}, detail[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(odkelduGetCameraHeaderInfo(sid, "bayer1280.icd", 1, &suits, mode, detail), kOk);
  EXPECT_EQ(suits, 1u);
  EXPECT_STREQ(mode, "1280 x 1024, 8-bit Bayer RG/GB");
  EXPECT_STREQ(detail, "Raw Bayer mosaic over Camera Link base, 30 frames per second");
  ASSERT_EQ(odkelduGetCameraHeaderInfo(sid, "mono640.icd", 1, &suits, mode, detail), kOk);
  EXPECT_EQ(suits, 0u);  // analog and digital only
  ASSERT_EQ(odkelduIsInterfaceSupported(sid, "rgb640.icd", &suits), kOk);
  EXPECT_EQ(suits, 1u);
  const std::string reference = (folder_ / "Reference" / "reference640.icd").string();
  ASSERT_EQ(odkelduIsInterfaceSupported(sid, reference.c_str(), &suits), kOk);
  EXPECT_EQ(suits, 1u);
  EXPECT_EQ(odkelduIsInterfaceSupported(sid, "none.icd", &suits), kCameraFileNotFound);
  WriteText(folder_ / "broken.icd", "[Camera]\nModel = X\n");
  EXPECT_EQ(odkelduIsInterfaceSupported(sid, "broken.icd", &suits), kFileFormat);
  EXPECT_EQ(odkelduGetCameraHeaderInfo(sid, "bayer1280.icd", 2, &suits, mode, detail), kInvalidArgument);
  // Without the flag the texts are left alone.
  std::strcpy(mode, "untouched");
  ASSERT_EQ(odkelduGetCameraHeaderInfo(sid, "bayer1280.icd", 0, &suits, mode, detail), kOk);
  EXPECT_STREQ(mode, "untouched");
  EXPECT_EQ(odkelduIsInterfaceSupported(0x1234, "bayer1280.icd", &suits), kInvalidId);
}

TEST_F(FilesTest, DiagnosticsFolderIsWhereTheDriverLies) {
  char path[KELD_DRIVER_PATH_SIZE] = {};
  ASSERT_EQ(odkelduGetDiagnosticsPathA(path), kOk);
  EXPECT_EQ(fs::path(path), fs::canonical(KELDSIM_LIB_DIR));
  EXPECT_TRUE(fs::exists(fs::path(path) / "libTest7105.so"));
}

}  // namespace
}  // namespace keldsim_test

// Camera files, reference files, interface files and the camera files of
// an interface's ports, as lists through the public functions; a board
// switched to another interface file and an interface file stored; the
// driver's data folder. The simulated driver keeps its files in the
// device's own folder; a scenario adds files there and asks the driver
// (which the test program links) what became of them.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "local/keld/keld_driver_api.h"

namespace keld::device {
namespace {

namespace fs = std::filesystem;

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

std::uint32_t Count(const char* function) {
  std::uint32_t count = 0;
  EXPECT_EQ(keldsimGetCallCount(function, &count), 0u);
  return count;
}

void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  EXPECT_TRUE(out.good()) << path;
}

// A camera file of the device suite with its two header texts.
std::string CameraFile(const char* modeName, const char* detail, const char* types) {
  return std::string("[Camera]\nModel = Listed\nModeName = ") + modeName + "\nDetail = " + detail +
         "\nInterfaceTypes = " + types + "\nWidth = 64\nHeight = 48\nImageType = 0\nBitDepth = 8\n";
}

// An interface file for a board.
std::string InterfaceFile(const char* serial, const char* types, const char* port0, const char* port1 = nullptr) {
  std::string text = std::string("[Interface]\nSerial = ") + serial + "\nInterfaceTypes = " + types +
                     "\nPorts = " + (port1 != nullptr ? "2" : "1") + "\nPort0 = " + port0 + "\n";
  if (port1 != nullptr) text += std::string("Port1 = ") + port1 + "\n";
  return text;
}

std::uint32_t SerialOfFile(const char* name) {
  std::uint32_t serial = 0;
  EXPECT_EQ(odkelduGetSerialNumberFromInterfaceFile(name, &serial), 0u) << name;
  return serial;
}

std::string ActiveFileOf(std::uint32_t serial) {
  char path[KELD_DRIVER_PATH_SIZE] = {};
  EXPECT_EQ(odkelduGetActiveInterfaceFile(serial, path), 0u);
  return path;
}

// The camera files that suit the board, in the folder's order, with their
// two texts; an empty first text shows as "Standard". Files for other
// boards and files the driver cannot read are left out.
DEVICE_SCENARIO(ListsTheCameraFilesThatSuitTheBoard) {
  WriteFile(device.folder() / "blank.icd", CameraFile("", "No mode name", "0x4"));
  WriteFile(device.folder() / "elsewhere.icd", CameraFile("Other", "For another board", "0x1"));
  WriteFile(device.folder() / "broken.icd", "[Camera]\nModel = Broken\n");
  WriteFile(device.folder() / "notes.txt", CameraFile("Text", "Not a camera file", "0x4"));
  const std::uint32_t id = device.Open("img0");  // interface type 0x4
  ASSERT_NE(id, 0u);
  std::uint32_t count = 0;
  std::uint32_t current = 0;
  Expect(device, "refresh", cfgRefreshCameraFileDataList(id, &count, &current), 0);
  const std::vector<std::vector<std::string>> expected = {
      {"bayer1280.icd", "1280 x 1024, 8-bit Bayer RG/GB", "Raw Bayer mosaic over Camera Link base, 30 frames per second"},
      {"blank.icd", "Standard", "No mode name"},
      {"mono16.icd", "1024 x 768, 12-bit monochrome", "12 bits a pixel in 16-bit words, 50 frames per second"},
      {"rgb640.icd", "640 x 480, 24-bit colour", "Colour camera with its own Bayer decoding, 30 frames per second"}};
  EXPECT_EQ(count, expected.size());
  for (std::uint32_t i = 0; i < count && i < expected.size(); ++i) {
    CameraFileData data{};
    EXPECT_EQ(cfgGetCameraFileData(id, i, &data), 0);
    EXPECT_EQ(data.Flag, 1u);
    EXPECT_EQ(std::string(data.FileName), expected[i][0]);
    EXPECT_EQ(std::string(data.ModeName), expected[i][1]);
    EXPECT_EQ(std::string(data.Detail), expected[i][2]);
    device.Note(std::string(data.FileName) + " | " + data.ModeName + " | " + data.Detail + " | " +
                std::to_string(data.Flag));
  }
  CameraFileData beyond{};
  Expect(device, "beyond", cfgGetCameraFileData(id, count, &beyond), 0xBFFF800C);
  Expect(device, "without a record", cfgGetCameraFileData(id, 0, nullptr), 0xBFFF8007);
  Expect(device, "refresh without a count", cfgRefreshCameraFileDataList(id, nullptr, &current), 0xBFFF8007);
  // A driver without a data folder to tell: the list is the driver's status.
  EXPECT_EQ(keldsimInjectStatus("odkelduGetInterfaceFilePathA", 0xBFF60031, 1), 0u);
  Expect(device, "refresh without a folder", cfgRefreshCameraFileDataList(id, &count, &current), 0xBFF60031);
}

// The reference files of the "Reference" folder that suit the interface;
// without the folder the list is empty and nothing fails.
DEVICE_SCENARIO(ListsTheReferenceCameraFiles) {
  WriteFile(device.folder() / "Reference" / "elsewhere.icd", CameraFile("Other", "For another board", "0x8"));
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  std::uint32_t count = 99;
  Expect(device, "refresh", cfgRefreshReferenceCameraFileList(id, &count), 0);
  ASSERT_EQ(count, 1u);
  char name[64] = {};
  Expect(device, "name", cfgGetReferenceCameraFileName(id, 0, name, sizeof name), 0);
  EXPECT_STREQ(name, "reference640.icd");
  device.Note(name);
  char cut[5] = {};
  EXPECT_EQ(cfgGetReferenceCameraFileName(id, 0, cut, sizeof cut), 0);
  EXPECT_STREQ(cut, "refe");
  Expect(device, "beyond", cfgGetReferenceCameraFileName(id, 1, name, sizeof name), 0xBFFF800C);
  // A driver that fails on a file: the list ends there, without a failure.
  EXPECT_EQ(keldsimInjectStatus("odkelduIsInterfaceSupported", 0xBFF60031, 1), 0u);
  Expect(device, "refresh with a failing driver", cfgRefreshReferenceCameraFileList(id, &count), 0);
  EXPECT_EQ(count, 0u);
  std::error_code ignored;
  fs::remove_all(device.folder() / "Reference", ignored);
  count = 99;
  Expect(device, "refresh without the folder", cfgRefreshReferenceCameraFileList(id, &count), 0);
  EXPECT_EQ(count, 0u);
  device.Note("count " + std::to_string(count));
}

// The driver's interfaces, each marked where its file belongs to the serial
// number asked for. A file whose serial cannot be read takes the serial of
// the file before it.
DEVICE_SCENARIO(ListsTheInterfaceFiles) {
  WriteFile(device.folder() / "img0x.iid", "[Interface]\nInterfaceTypes = 0x4\nPorts = 1\n");
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  for (const std::uint32_t serial : {kSerialImg0, kSerialImg2, 0x12345678u}) {
    std::uint32_t count = 0;
    Expect(device, "refresh for " + Hex(serial), cfgRefreshInterfaceFileDataList(id, serial, &count), 0);
    ASSERT_EQ(count, 4u);
    const char* names[4] = {"img0", "img0x", "img1", "img2"};
    const bool flags[4] = {serial == kSerialImg0, serial == kSerialImg0, false, serial == kSerialImg2};
    std::string line;
    for (std::uint32_t i = 0; i < count; ++i) {
      InterfaceFileData data{};
      EXPECT_EQ(cfgGetInterfaceFileData(id, i, &data), 0);
      EXPECT_STREQ(data.FileName, names[i]);
      EXPECT_EQ(data.Flag, flags[i] ? 1u : 0u) << names[i];
      line += std::string(data.FileName) + "=" + std::to_string(data.Flag) + " ";
    }
    device.Note(line);
  }
  InterfaceFileData data{};
  Expect(device, "beyond", cfgGetInterfaceFileData(id, 4, &data), 0xBFFF800C);
}

// The camera file of each port of an interface file; a phantom board's
// type name, in any case, gives the first port's camera file for every
// port; an interface file that cannot be read gives an entry a port, all
// empty, and its status.
DEVICE_SCENARIO(ListsTheCameraFilesOfAnInterfacesPorts) {
  WriteFile(device.folder() / "two.iid", InterfaceFile("0x00A10001", "0x4", "rgb640.icd", "bayer1280.icd"));
  const std::uint32_t id = device.Open("img0");  // two ports
  ASSERT_NE(id, 0u);
  for (const char* unit : {"two", "two.iid", "INTERFACETYPE:7101", "interfaceType:7109"}) {
    std::uint32_t count = 0;
    Expect(device, std::string("refresh ") + unit, cfgRefreshAcqUnitCameraFileList(id, unit, &count), 0);
    ASSERT_EQ(count, 2u);
    std::string line;
    for (std::uint32_t i = 0; i < count; ++i) {
      char name[KELD_DRIVER_PATH_SIZE] = {};
      EXPECT_EQ(cfgGetAcqUnitCameraFileName(id, i, name, sizeof name), 0);
      line += std::string(name) + " ";
    }
    const bool phantom = unit[0] == 'I' || unit[0] == 'i';
    // The session's first port has the board's default camera file.
    EXPECT_EQ(line, phantom ? "bayer1280.icd bayer1280.icd " : "rgb640.icd bayer1280.icd ") << unit;
    device.Note(line);
  }
  std::uint32_t count = 99;
  Expect(device, "refresh missing", cfgRefreshAcqUnitCameraFileList(id, "missing", &count), 0xBFF60008);
  EXPECT_EQ(count, 99u);
  char name[16] = "x";
  // A local list keeps an empty entry for each port; a remote reply with a
  // failure carries no list, and the one from before stays.
  EXPECT_EQ(cfgGetAcqUnitCameraFileName(id, 0, name, sizeof name), 0);
  EXPECT_STREQ(name, device.remote() ? "bayer1280.icd" : "");
  EXPECT_EQ(cfgGetAcqUnitCameraFileName(id, 1, name, sizeof name), 0);
  EXPECT_STREQ(name, device.remote() ? "bayer1280.icd" : "");
  Expect(device, "third of missing", cfgGetAcqUnitCameraFileName(id, 2, name, sizeof name), 0xBFFF800C);
  Expect(device, "refresh of no unit", cfgRefreshAcqUnitCameraFileList(id, "", &count), 0xBFFF8007);
  Expect(device, "refresh of a null unit", cfgRefreshAcqUnitCameraFileList(id, nullptr, &count), 0xBFFF8007);
}

// Changing to an interface file of the same board: nothing is claimed, the
// serial number is written back, the configuration loaded, and the file
// becomes the board's.
DEVICE_SCENARIO(ChangesToAnInterfaceFileOfTheSameBoard) {
  WriteFile(device.folder() / "mine.iid", InterfaceFile("0x00A10001", "0x4", "rgb640.icd", "bayer1280.icd"));
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "change to mine", cfgChangeInterfaceFile(id, "mine.iid"), 0);
  EXPECT_EQ(Count("odkelduClaimNewInterfaceFile"), 0u);
  EXPECT_EQ(Count("odkelduSetSerialNumberInInterfaceFile"), 1u);
  EXPECT_EQ(Count("odkelduLoadConfiguration"), 1u);
  EXPECT_EQ(ActiveFileOf(kSerialImg0), "mine.iid");
  device.Note("active " + ActiveFileOf(kSerialImg0));
  // The camera of port 0 is the file's: 32-bit colour.
  std::uint32_t type = 0;
  EXPECT_EQ(cfgGetAttributeU32(id, 0x3FF600D8, &type, 0), 0);
  EXPECT_EQ(type, 4u);
  device.Note("image type " + std::to_string(type));
  TestImage image;
  Expect(device, "snap", cfgSnapImage(id, kWithImage, image), 0);
  EXPECT_EQ(TypeOf(image), static_cast<std::uint32_t>(ODV_RGB32));
}

// A file of another type of board, or no file at all: 0xBFF60015.
DEVICE_SCENARIO(RefusesAnInterfaceFileOfAnotherTypeOfBoard) {
  WriteFile(device.folder() / "other.iid", InterfaceFile("0x00A10001", "0x1", "mono640.icd"));
  const std::uint32_t id = device.Open("img0");  // type 0x4
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "change to other", cfgChangeInterfaceFile(id, "other.iid"), 0xBFF60015);
  Expect(device, "change to missing", cfgChangeInterfaceFile(id, "missing.iid"), 0xBFF60015);
  EXPECT_EQ(Count("odkelduLoadConfiguration"), 0u);
  EXPECT_EQ(Count("odkelduSetSerialNumberInInterfaceFile"), 0u);
  Expect(device, "change to null", cfgChangeInterfaceFile(id, nullptr), 0xBFFF8007);
  // A failure on the way is the answer, and the board keeps its file.
  const std::string before = ActiveFileOf(kSerialImg0);
  WriteFile(device.folder() / "mine.iid", InterfaceFile("0x00A10001", "0x4", "rgb640.icd", "bayer1280.icd"));
  EXPECT_EQ(keldsimInjectStatus("odkelduLoadConfiguration", 0xBFF60031, 1), 0u);
  Expect(device, "change with a failing load", cfgChangeInterfaceFile(id, "mine.iid"), 0xBFF60031);
  EXPECT_EQ(ActiveFileOf(kSerialImg0), before);
}

// Taking a file that another board uses: that board gets a new file of its
// own first, then the file becomes this board's, with its serial number.
DEVICE_SCENARIO(ChangesToTheInterfaceFileOfAnotherBoard) {
  const std::string others = ActiveFileOf(kSerialImg1);
  ASSERT_EQ(others, "img1.iid");
  const std::uint32_t id = device.Open("img2");  // type 0x2; img1.iid is of type 0x3
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "change to img1.iid", cfgChangeInterfaceFile(id, "img1.iid"), 0);
  EXPECT_EQ(Count("odkelduClaimNewInterfaceFile"), 1u);
  EXPECT_EQ(SerialOfFile("img1.iid"), kSerialImg2);
  EXPECT_EQ(ActiveFileOf(kSerialImg2), "img1.iid");
  const std::string given = ActiveFileOf(kSerialImg1);
  EXPECT_NE(given, "img1.iid");
  EXPECT_EQ(SerialOfFile(given.c_str()), kSerialImg1);
  device.Note("img1 now has " + given + ", img2 has " + ActiveFileOf(kSerialImg2));
}

// Storing the interface configuration: on a path another board uses, that
// board gets a new file first, then the path is replaced by this board's
// configuration; reloading runs the session through the states 1 and 256.
DEVICE_SCENARIO(WritesAnInterfaceFile) {
  const std::uint32_t id = device.Open("img2");
  ASSERT_NE(id, 0u);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "write img1.iid", cfgWriteInterfaceFile(id, "img1.iid", 0), 0);
  EXPECT_EQ(Count("odkelduClaimNewInterfaceFile"), 1u);
  EXPECT_EQ(Count("odkelduChangeExecutionState"), 0u);
  EXPECT_EQ(SerialOfFile("img1.iid"), kSerialImg2);
  const std::string given = ActiveFileOf(kSerialImg1);
  EXPECT_NE(given, "img1.iid");
  EXPECT_EQ(SerialOfFile(given.c_str()), kSerialImg1);
  device.Note("img1 now has " + given);
  // A file of no board is replaced, never merged: what it had is gone.
  WriteFile(device.folder() / "fresh.iid", "[Interface]\nSerial = 0x00000001\nInterfaceTypes = 0x2\nPorts = 1\n"
                                           "Port0 = mono16.icd\n[Settings]\n0x3FF60511 = 0\n");
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  Expect(device, "write fresh.iid with a reload", cfgWriteInterfaceFile(id, "fresh.iid", 1), 0);
  EXPECT_EQ(Count("odkelduChangeExecutionState"), 2u);
  EXPECT_EQ(Count("odkelduClaimNewInterfaceFile"), 0u);
  EXPECT_EQ(SerialOfFile("fresh.iid"), kSerialImg2);
  // Its own file: stored over as it is.
  Expect(device, "write its own", cfgWriteInterfaceFile(id, "img2.iid", 0), 0);
  EXPECT_EQ(SerialOfFile("img2.iid"), kSerialImg2);
  Expect(device, "write to null", cfgWriteInterfaceFile(id, nullptr, 0), 0xBFFF8007);
  EXPECT_EQ(keldsimInjectStatus("odkelduChangeExecutionState", 0xBFF60031, 1), 0u);
  Expect(device, "write with a failing reload", cfgWriteInterfaceFile(id, "img2.iid", 1), 0xBFF60031);
}

// The driver's data folder, cut to the caller's room.
DEVICE_SCENARIO(GivesTheDataFolder) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  char path[KELD_DRIVER_PATH_SIZE] = {};
  Expect(device, "data folder", cfgGetDataFilePath(id, path, sizeof path), 0);
  EXPECT_EQ(fs::path(path), device.folder());
  device.Note(fs::path(path) == device.folder() ? "the device's folder" : path);
  char cut[6] = {};
  Expect(device, "data folder in 6 bytes", cfgGetDataFilePath(id, cut, sizeof cut), 0);
  EXPECT_EQ(std::string(cut), std::string(path).substr(0, 5));
  EXPECT_EQ(keldsimInjectStatus("odkelduGetInterfaceFilePathA", 0xBFF60031, 1), 0u);
  Expect(device, "data folder failing", cfgGetDataFilePath(id, path, sizeof path), 0xBFF60031);
}

}  // namespace
}  // namespace keld::device

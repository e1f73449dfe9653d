// Boards of the simulated driver through the inventory functions and
// sessions opened on them, by name and by serial.
#include <gtest/gtest.h>

#include <string>

#include "device_fixture.h"

namespace keld::device {
namespace {

INSTANTIATE_TEST_SUITE_P(, DeviceSessions, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

// The built-in boards in the driver's order: interface name, serial and
// model, no driver name, the driver's version word.
DEVICE_SCENARIO(ListsTheBoards) {
  const std::int32_t refreshed = cfgRefreshBoards(device.Host());
  EXPECT_EQ(refreshed, 0);
  device.Note("refresh", refreshed);
  std::uint32_t count = 0;
  EXPECT_EQ(cfgGetBoardCount(device.Host(), &count), 0);
  ASSERT_EQ(count, 3u);
  const struct {
    const char* name;
    std::uint32_t serial;
    const char* model;
  } expected[] = {{"img0", 0x00A10001, "OD PCIe-7109"}, {"img1", 0x00A10002, "OD PCI-7105"},
                  {"img2", 0x00A10003, "OD PXB-7107"}};
  for (std::uint32_t i = 0; i < count; ++i) {
    char name[256] = {};
    char description[256] = {};
    std::uint32_t serial = 0;
    EXPECT_EQ(cfgQueryBoard(device.Host(), i, name, sizeof name, &serial, description, sizeof description), 0);
    char driver[256] = "x";
    std::uint32_t version = 0;
    EXPECT_EQ(cfgQueryBoardDriver(device.Host(), i, driver, sizeof driver, &version), 0);
    EXPECT_STREQ(name, expected[i].name);
    EXPECT_EQ(serial, expected[i].serial);
    EXPECT_STREQ(description, expected[i].model);
    EXPECT_STREQ(driver, "");
    EXPECT_EQ(version, 0x04720000u);
    device.Note(std::string("board ") + name + " " + Hex(serial) + " " + description + " '" + driver + "' " + Hex(version));
  }
  char name[256] = {};
  const std::int32_t beyond = cfgQueryBoard(device.Host(), count, name, sizeof name, nullptr, nullptr, 0);
  EXPECT_EQ(static_cast<std::uint32_t>(beyond), 0xBFFF800Cu);
  device.Note("query beyond", beyond);
}

}  // namespace
}  // namespace keld::device

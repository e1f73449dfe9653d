// The device inventory: devices and lists, the per-host cache, Refresh with
// its change report, and the board and camera query functions.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "foundation/byte_stream.h"
#include "inventory/device_list_map.h"
#include "keldcfgc/keldcfgc.h"
#include "support/test_session.h"

namespace keld {
namespace {

using test::script;

Status AsStatus(std::int32_t result) { return static_cast<Status>(result); }

Device MakeDevice(const char* name, std::uint64_t id, const char* description) {
  Device device;
  device.name = name;
  device.uniqueId = id;
  device.description = description;
  device.driverName = "odkeldnv";
  device.driverVersion = 0x01020304;
  device.busType = 0x31333934;
  return device;
}

TEST(Device, EqualityIgnoresTheDescription) {
  Device a = MakeDevice("img0", 1, "first");
  Device b = MakeDevice("img0", 1, "second");
  EXPECT_EQ(a, b);
  b.driverVersion = 2;
  EXPECT_NE(a, b);
  b = a;
  b.busType = 7;
  EXPECT_NE(a, b);
  b = a;
  b.name = "img1";
  EXPECT_NE(a, b);
  b = a;
  b.driverName = "x";
  EXPECT_NE(a, b);
  b = a;
  b.uniqueId = 2;
  EXPECT_NE(a, b);
}

TEST(DeviceList, FlatFormRoundTrip) {
  DeviceList list;
  list.push_back(MakeDevice("img0", 0x1122334455667788ull, "board"));
  list.push_back(MakeDevice("cam0", 5, "Vendor Model"));
  ScopedByteStream stream;
  ASSERT_EQ(list.Flatten(stream.get()), kSuccess);
  // u32 count, then per device: string, u64, string, string, u32, u32.
  const std::uint32_t first = 4 + (4 + 4) + 8 + (4 + 5) + (4 + 8) + 4 + 4;
  const std::uint32_t second = (4 + 4) + 8 + (4 + 12) + (4 + 8) + 4 + 4;
  EXPECT_EQ(stream->size, 4 + first - 4 + second);
  stream->Rewind();
  DeviceList back;
  back.push_back(MakeDevice("stale", 9, ""));
  ASSERT_EQ(back.Unflatten(stream.get()), kSuccess);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back, list);
  EXPECT_STREQ(back[1].description.c_str(), "Vendor Model");
  EXPECT_EQ(back[0].uniqueId, 0x1122334455667788ull);
}

TEST(DeviceList, ShortStreamKeepsTheDevicesReadSoFar) {
  DeviceList list;
  list.push_back(MakeDevice("img0", 1, "a"));
  list.push_back(MakeDevice("img1", 2, "b"));
  ScopedByteStream stream;
  ASSERT_EQ(list.Flatten(stream.get()), kSuccess);
  stream->size -= 3;  // cut into the last device
  stream->Rewind();
  DeviceList back;
  EXPECT_NE(back.Unflatten(stream.get()), kSuccess);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0], list[0]);
}

TEST(DeviceList, EqualityIsPositional) {
  DeviceList a;
  a.push_back(MakeDevice("x", 1, ""));
  a.push_back(MakeDevice("y", 2, ""));
  DeviceList b;
  b.push_back(MakeDevice("y", 2, ""));
  b.push_back(MakeDevice("x", 1, ""));
  EXPECT_NE(a, b);
  b.pop_back();
  EXPECT_NE(a, b);
}

class Inventory : public ::testing::Test {
 protected:
  void SetUp() override {
    Clear();
    script().devices.push_back(MakeDevice("img0", 0x11, "board zero"));
    script().devices.push_back(MakeDevice("img1", 0x200000003ull, "board one"));
  }
  void TearDown() override { Clear(); }
  static void Clear() {
    for (std::uint32_t type = 0; type < 3; ++type) GetDeviceListMap(type).lists.clear();
  }
  test::ScopedTestFactory factory;
};

TEST_F(Inventory, SecondCountPerformsNoEnumeration) {
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetBoardCount(nullptr, &count), 0);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(script().enumerations, 1);
  ASSERT_EQ(cfgGetBoardCount(nullptr, &count), 0);
  EXPECT_EQ(script().enumerations, 1);
  // The enumeration ran on a throw-away session that was never opened.
  EXPECT_FALSE(script().Called("Open"));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Inventory, ChangedIsOneThenZero) {
  std::uint8_t changed = 9;
  ASSERT_EQ(cfgRefreshBoards2(nullptr, &changed), 0);
  EXPECT_EQ(changed, 1);
  ASSERT_EQ(cfgRefreshBoards2(nullptr, &changed), 0);
  EXPECT_EQ(changed, 0);
  EXPECT_EQ(script().enumerations, 2);
  EXPECT_EQ(cfgRefreshBoards2(nullptr, nullptr), 0);
}

TEST_F(Inventory, EmptyHostReportsNoChangeAtFirstRefresh) {
  script().devices.clear();
  std::uint8_t changed = 9;
  ASSERT_EQ(cfgRefreshBoards2(nullptr, &changed), 0);
  EXPECT_EQ(changed, 0);
}

TEST_F(Inventory, DescriptionOnlyChangeIsNoChange) {
  std::uint8_t changed = 0;
  ASSERT_EQ(cfgRefreshCameras3(nullptr, 2, &changed), 0);
  script().devices[0].description = "renamed";
  ASSERT_EQ(cfgRefreshCameras3(nullptr, 2, &changed), 0);
  EXPECT_EQ(changed, 0);
  script().devices[0].driverVersion = 99;
  ASSERT_EQ(cfgRefreshCameras3(nullptr, 2, &changed), 0);
  EXPECT_EQ(changed, 1);
}

TEST_F(Inventory, NullHostAndLoopbackShareAnEntryLocalhostDoesNot) {
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetBoardCount(nullptr, &count), 0);
  ASSERT_EQ(cfgGetBoardCount("127.0.0.1", &count), 0);
  EXPECT_EQ(script().enumerations, 1);
  ASSERT_EQ(cfgGetBoardCount("localhost", &count), 0);
  EXPECT_EQ(script().enumerations, 2);
  EXPECT_EQ(GetDeviceListMap(0).lists.size(), 2u);
}

TEST_F(Inventory, DriversHaveTheirOwnCaches) {
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetBoardCount(nullptr, &count), 0);
  ASSERT_EQ(cfgGetCameraCount(nullptr, &count), 0);
  ASSERT_EQ(cfgGetCameraCount2(nullptr, 2, &count), 0);
  EXPECT_EQ(script().enumerations, 3);
}

TEST_F(Inventory, FailingEnumerationIsNotCached) {
  script().failingHosts.insert("unreachable");
  std::uint32_t count = 0;
  EXPECT_EQ(AsStatus(cfgGetBoardCount("unreachable", &count)), 0xBFF60123u);
  EXPECT_EQ(AsStatus(cfgGetBoardCount("unreachable", &count)), 0xBFF60123u);
  EXPECT_EQ(script().enumerations, 2);
  EXPECT_TRUE(GetDeviceListMap(0).lists.empty());
}

TEST_F(Inventory, FailedRefreshLosesTheOldEntry) {
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetBoardCount("target", &count), 0);
  script().failingHosts.insert("target");
  std::uint8_t changed = 9;
  EXPECT_EQ(AsStatus(cfgRefreshBoards2("target", &changed)), 0xBFF60123u);
  EXPECT_TRUE(GetDeviceListMap(0).lists.empty());
  EXPECT_EQ(AsStatus(cfgGetBoardCount("target", &count)), 0xBFF60123u);
}

TEST_F(Inventory, CameraDriverMustBeOneOrTwo) {
  std::uint32_t count = 0;
  EXPECT_EQ(AsStatus(cfgGetCameraCount2(nullptr, 0, &count)), kUnknownSessionType);
  EXPECT_EQ(AsStatus(cfgGetCameraCount2(nullptr, 3, &count)), kUnknownSessionType);
  EXPECT_EQ(AsStatus(cfgRefreshCameras2(nullptr, 0)), kUnknownSessionType);
  EXPECT_EQ(AsStatus(cfgRefreshCameras3(nullptr, -1, nullptr)), kUnknownSessionType);
  EXPECT_EQ(AsStatus(cfgQueryCamera2(nullptr, 0, 0, nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr)),
            kUnknownSessionType);
  EXPECT_EQ(AsStatus(cfgQueryCameraDriver2(nullptr, 3, 0, nullptr, 0, nullptr)), kUnknownSessionType);
  EXPECT_EQ(script().enumerations, 0);
}

TEST_F(Inventory, NullCountGivesBadPointerWithoutEnumeration) {
  EXPECT_EQ(AsStatus(cfgGetBoardCount(nullptr, nullptr)), kBadPointer);
  EXPECT_EQ(AsStatus(cfgGetCameraCount(nullptr, nullptr)), kBadPointer);
  EXPECT_EQ(AsStatus(cfgGetCameraCount2(nullptr, 2, nullptr)), kBadPointer);
  EXPECT_EQ(script().enumerations, 0);
}

TEST_F(Inventory, QueryBoardFields) {
  char name[32];
  char description[32];
  std::uint32_t serial = 0;
  ASSERT_EQ(cfgQueryBoard(nullptr, 1, name, sizeof name, &serial, description, sizeof description), 0);
  EXPECT_STREQ(name, "img1");
  EXPECT_EQ(serial, 3u);  // the low 32 bits
  EXPECT_STREQ(description, "board one");
  char driver[32];
  std::uint32_t version = 0;
  ASSERT_EQ(cfgQueryBoardDriver(nullptr, 0, driver, sizeof driver, &version), 0);
  EXPECT_STREQ(driver, "odkeldnv");
  EXPECT_EQ(version, 0x01020304u);
  // Every numeric output may be null.
  EXPECT_EQ(cfgQueryBoard(nullptr, 0, nullptr, 0, nullptr, nullptr, 0), 0);
  EXPECT_EQ(cfgQueryBoardDriver(nullptr, 0, nullptr, 0, nullptr), 0);
}

TEST_F(Inventory, QueryIndexEqualToTheCountIsBeyondRange) {
  char name[32] = "untouched";
  EXPECT_EQ(AsStatus(cfgQueryBoard(nullptr, 2, name, sizeof name, nullptr, nullptr, 0)), kIndexBeyondRange);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(AsStatus(cfgQueryBoardDriver(nullptr, 2, nullptr, 0, nullptr)), kIndexBeyondRange);
  EXPECT_EQ(AsStatus(cfgQueryCamera(nullptr, 5, nullptr, 0, nullptr, nullptr, nullptr, 0)), kIndexBeyondRange);
}

TEST_F(Inventory, QueryCameraFields) {
  char name[32];
  char description[8];
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  std::uint32_t bus = 0;
  ASSERT_EQ(cfgQueryCamera2(nullptr, 2, 1, name, 0, &high, &low, description, sizeof description, &bus), 0);
  EXPECT_STREQ(name, "img1");
  EXPECT_EQ(high, 2u);
  EXPECT_EQ(low, 3u);
  EXPECT_STREQ(description, "board o");  // cut to size - 1
  EXPECT_EQ(bus, 0x31333934u);
  ASSERT_EQ(cfgQueryCamera(nullptr, 0, name, sizeof name, &high, &low, nullptr, 0), 0);
  EXPECT_EQ(low, 0x11u);
  std::uint32_t version = 0;
  ASSERT_EQ(cfgQueryCameraDriver(nullptr, 1, nullptr, 0, &version), 0);
  EXPECT_EQ(version, 0x01020304u);
  ASSERT_EQ(cfgQueryCameraDriver2(nullptr, 2, 1, nullptr, 0, &version), 0);
}

TEST_F(Inventory, QueryOfAFailingHostGivesTheEnumerationStatus) {
  script().failingHosts.insert("down");
  EXPECT_EQ(AsStatus(cfgQueryBoard("down", 0, nullptr, 0, nullptr, nullptr, 0)), 0xBFF60123u);
}

TEST_F(Inventory, ParallelCountsOnOneDriverEnumerateOnce) {
  std::vector<std::thread> threads;
  std::vector<std::uint32_t> counts(8, 0);
  std::vector<std::int32_t> results(8, -1);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] { results[i] = cfgGetBoardCount(nullptr, &counts[i]); });
  }
  for (auto& thread : threads) thread.join();
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(results[i], 0);
    EXPECT_EQ(counts[i], 2u);
  }
  EXPECT_EQ(script().enumerations, 1);
}

// Threads on one driver wait for each other over whole enumerations, also
// where their hosts differ. (Different drivers may enumerate at the same
// time; they then share the unlocked running number of the throw-away
// sessions, which is why this test stays on one driver.)
TEST_F(Inventory, ParallelRefreshesOnOneDriverAndSeveralHosts) {
  std::vector<std::thread> threads;
  const char* hosts[] = {nullptr, "127.0.0.1", "localhost", "target"};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i, &hosts] {
      const char* host = hosts[i % 4];
      for (int round = 0; round < 5; ++round) {
        std::uint8_t changed = 0;
        std::uint32_t count = 0;
        EXPECT_EQ(cfgRefreshCameras3(host, 2, &changed), 0);
        EXPECT_EQ(cfgGetCameraCount2(host, 2, &count), 0);
        EXPECT_EQ(count, 2u);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(script().enumerations, 40);
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

}  // namespace
}  // namespace keld

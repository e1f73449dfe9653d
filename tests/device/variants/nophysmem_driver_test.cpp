// A driver without odkelduDisable32bitPhysMemLimitEnforcement
// (libkeld_nophysmem.so): it lists its boards, but no session opens on it,
// and the interface that the failed open had opened is closed again.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "local/keld/local_keld_config_session.h"
#include "variant_support.h"

namespace keld::device {
namespace {

const VariantDriver& Driver() { return VariantDriver::Load("libkeld_nophysmem.so"); }

class DriverWithoutPhysicalMemoryLimit : public ::testing::TestWithParam<Side> {};
INSTANTIATE_TEST_SUITE_P(, DriverWithoutPhysicalMemoryLimit, ::testing::Values(Side::kLocal, Side::kRemote),
                         SideParamName);

TEST_P(DriverWithoutPhysicalMemoryLimit, ListsItsBoards) {
  ASSERT_TRUE(Driver().loaded());
  ASSERT_EQ(Driver().Control<void>("odkelduDisable32bitPhysMemLimitEnforcement"), nullptr);
  VariantDevice device(&Driver(), GetParam());
  ASSERT_EQ(cfgRefreshBoards(device.Host()), 0);
  EXPECT_EQ(device.Boards(), (std::vector<std::string>{"'img0' 0x00A10001 'OD PCIe-7109' 0x04720000",
                                                       "'img1' 0x00A10002 'OD PCI-7105' 0x04720000",
                                                       "'img2' 0x00A10003 'OD PXB-7107' 0x04720000"}));
}

TEST_P(DriverWithoutPhysicalMemoryLimit, OpensNothingAndClosesTheInterface) {
  VariantDevice device(&Driver(), GetParam());
  for (const char* name : {"img1", static_cast<const char*>(nullptr)}) {
    Driver().ClearCalls();
    std::uint32_t id = 0;
    const std::int32_t status = cfgOpenBoard(device.Host(), name, 0x00A10002, &id);
    EXPECT_EQ(static_cast<std::uint32_t>(status), 0xBFFF800Bu) << (name ? name : "null");
    EXPECT_EQ(id, 0u);
    // The interface was opened for the session, and closed when the open failed.
    EXPECT_EQ(Driver().CallCount("kldSessionOpen"), name == nullptr ? 1u : 0u);  // the claim's own test
    EXPECT_EQ(Driver().CallCount("kldInterfaceOpen"), name == nullptr ? 2u : 1u);
    EXPECT_EQ(Driver().CallCount("kldClose"), name == nullptr ? 3u : 1u);
  }
  char text[256] = {};
  EXPECT_EQ(cfgGetErrorText(0xBFFF800B, text), 0);
  EXPECT_STREQ(text, "The session for your device could not be configured.");
}

TEST(DriverWithoutPhysicalMemoryLimitSession, AFailedOpenLeavesTheInterfaceForClose) {
  VariantDevice device(&Driver(), Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img1", &status);
  Driver().ClearCalls();
  EXPECT_EQ(session.Open(), 0xBFFF800Bu);
  EXPECT_NE(session.interfaceId, 0u);
  EXPECT_EQ(session.SessionId(), 0u);
  EXPECT_EQ(session.Close(), kSuccess);
  EXPECT_EQ(session.interfaceId, 0u);
  EXPECT_EQ(Driver().CallCount("kldClose"), 1u);
  // The interface is free again: the enumeration opens every unit.
  ASSERT_EQ(cfgRefreshBoards(nullptr), 0);
  EXPECT_EQ(device.Boards().size(), 3u);
}

}  // namespace
}  // namespace keld::device

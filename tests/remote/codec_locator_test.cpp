// Service look-up pieces that need no network: encoding, host resolution
// and the registry's port.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "platform/registry.h"
#include "remote/remote_port.h"
#include "remote/resolve_host.h"
#include "remote/service_locator.h"

namespace keld {
namespace {

TEST(PercentEncode, EncodesAllButAlphanumerics) {
  EXPECT_EQ(PercentEncode("Orvane Devices/Flowmere Real-Time/Targets/myTarget/Services/7750"),
            "Orvane%20Devices%2FFlowmere%20Real%2DTime%2FTargets%2FmyTarget%2FServices%2F7750");
  EXPECT_EQ(PercentEncode("a.b_c~"), "a%2Eb%5Fc%7E");
  EXPECT_EQ(PercentEncode(std::string("\xff", 1)), "%FF");
}

TEST(ResolveHost, Forms) {
  EXPECT_EQ(ResolveHost(nullptr), 0x7F000001u);
  EXPECT_EQ(ResolveHost(""), 0x7F000001u);
  EXPECT_EQ(ResolveHost("10.1.2.3"), 0x0A010203u);
  EXPECT_EQ(ResolveHost("localhost"), 0x7F000001u);
  // Names that only a name server could answer are not tried here: tests
  // send nothing beyond the loopback network.
}

class RemotePortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() /
            ("keld_port_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".reg");
    testing::SetRegistryFilePath(path_.string());
  }
  void TearDown() override {
    testing::SetRegistryFilePath("");
    std::filesystem::remove(path_);
  }
  void Write(const std::string& value) {
    std::ofstream file(path_);
    file << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration]\n"
         << "\"CurrentVersion\"=\"18.5\"\n\n"
         << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5]\n"
         << value << "\n";
  }
  std::filesystem::path path_;
};

TEST_F(RemotePortTest, MissingFileGivesDefault) { EXPECT_EQ(ReadRemotePort(), 7750u); }

TEST_F(RemotePortTest, NumberValue) {
  Write("\"RemotePort\"=dword:00001f41");
  EXPECT_EQ(ReadRemotePort(), 8001u);
}

TEST_F(RemotePortTest, NumberOutside16BitsIsKept) {
  Write("\"RemotePort\"=dword:00011170");
  EXPECT_EQ(ReadRemotePort(), 70000u);
}

TEST_F(RemotePortTest, TextValueByAtoi) {
  Write("\"RemotePort\"=\"8123\"");
  EXPECT_EQ(ReadRemotePort(), 8123u);
}

TEST_F(RemotePortTest, TextAbcGivesZero) {
  Write("\"RemotePort\"=\"abc\"");
  EXPECT_EQ(ReadRemotePort(), 0u);
}

TEST_F(RemotePortTest, MissingValueGivesDefault) {
  Write("\"Other\"=dword:00000001");
  EXPECT_EQ(ReadRemotePort(), 7750u);
}

TEST_F(RemotePortTest, MissingCurrentVersionGivesDefault) {
  std::ofstream(path_) << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5]\n"
                       << "\"RemotePort\"=dword:00001f41\n";
  EXPECT_EQ(ReadRemotePort(), 7750u);
}

}  // namespace
}  // namespace keld

// The example registry that an install ships (cmake/package/) must read as
// the library's defaults, so that copying it to the system path changes
// nothing until someone edits it.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/registry.h"
#include "remote/remote_port.h"

namespace keld {
namespace {

TEST(RegistryExample, ReadsAsTheDefaults) {
  const std::filesystem::path example =
      std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "cmake/package/registry.reg.example";
  ASSERT_TRUE(std::filesystem::exists(example)) << example;
  testing::SetRegistryFilePath(example.string());
  const std::optional<std::string> settings = CurrentConfigurationKey();
  EXPECT_EQ(settings, std::string(kConfigurationKey) + "\\18.5");
  if (settings) {
    EXPECT_EQ(ReadRegistryDword(*settings, "RemotePort"), kDefaultRemotePort);
    EXPECT_EQ(ReadRegistryDword(*settings, "ShowAllPhantomBoards"), 0u);
  }
  EXPECT_EQ(ReadRemotePort(), kDefaultRemotePort);
  testing::SetRegistryFilePath("");
}

}  // namespace
}  // namespace keld

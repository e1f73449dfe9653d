#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace keld {
namespace {

const char* kKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Orvane Devices\\OD-KELD Configuration\\18.5";

class RegistryFile : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = std::filesystem::temp_directory_path() /
            ("keld-registry-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".reg");
    testing::SetRegistryFilePath(path_.string());
  }
  void TearDown() override {
    testing::SetRegistryFilePath("");
    std::filesystem::remove(path_);
  }
  void Write(const std::string& text) { std::ofstream(path_) << text; }

  std::filesystem::path path_;
};

TEST_F(RegistryFile, AbsentFileReadsAsAbsent) {
  EXPECT_FALSE(ReadRegistryDword(kKey, "RemotePort").has_value());
  EXPECT_FALSE(ReadRegistryString(kKey, "CurrentVersion").has_value());
}

TEST_F(RegistryFile, DwordAndStringValues) {
  Write(std::string("Windows Registry Editor Version 5.00\r\n\r\n[") + kKey +
        "]\r\n\"RemotePort\"=dword:00001e46\r\n\"ShowAllPhantomBoards\"=dword:00000001\r\n"
        "\"Label\"=\"quoted \\\"text\\\" here\"\r\n");
  EXPECT_EQ(ReadRegistryDword(kKey, "RemotePort"), 7750u);
  EXPECT_EQ(ReadRegistryDword(kKey, "showallphantomboards"), 1u);  // names ignore case
  EXPECT_EQ(ReadRegistryString(kKey, "Label"), std::string("quoted \"text\" here"));
  // A value of the other kind reads as absent.
  EXPECT_FALSE(ReadRegistryString(kKey, "RemotePort").has_value());
  EXPECT_FALSE(ReadRegistryDword(kKey, "Label").has_value());
}

TEST_F(RegistryFile, KeysAreSeparateAndIgnoreCase) {
  Write("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Other]\n\"RemotePort\"=dword:00000001\n"
        "[hkey_local_machine\\software\\orvane devices\\od-keld configuration\\18.5]\n"
        "\"RemotePort\"=dword:00000002\n");
  EXPECT_EQ(ReadRegistryDword(kKey, "RemotePort"), 2u);
  EXPECT_EQ(ReadRegistryDword("HKEY_LOCAL_MACHINE\\SOFTWARE\\Other", "RemotePort"), 1u);
  EXPECT_FALSE(ReadRegistryDword("HKEY_LOCAL_MACHINE\\SOFTWARE\\Missing", "RemotePort").has_value());
}

TEST_F(RegistryFile, MalformedLinesAreIgnored) {
  Write(std::string("garbage line\n[") + kKey +
        "\n"  // unterminated key header
        "[" + kKey + "]\n"
        "\"Broken=dword:1\n"
        "\"TooLong\"=dword:123456789\n"
        "\"NotHex\"=dword:12zz\n"
        "\"Empty\"=dword:\n"
        "\"Unclosed\"=\"abc\n"
        "; comment\n"
        "\"Good\"=dword:0000000a\n");
  EXPECT_FALSE(ReadRegistryDword(kKey, "Broken").has_value());
  EXPECT_FALSE(ReadRegistryDword(kKey, "TooLong").has_value());
  EXPECT_FALSE(ReadRegistryDword(kKey, "NotHex").has_value());
  EXPECT_FALSE(ReadRegistryDword(kKey, "Empty").has_value());
  EXPECT_FALSE(ReadRegistryString(kKey, "Unclosed").has_value());
  EXPECT_EQ(ReadRegistryDword(kKey, "Good"), 10u);
}

}  // namespace
}  // namespace keld

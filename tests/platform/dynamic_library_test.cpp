// DynamicLibrary: names mapped to this platform, loading at first need and
// again after a failure, the cache of what was found.
#include "platform/dynamic_library.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/driver_libraries.h"

namespace keld {
namespace {

namespace fs = std::filesystem;

// The image library is a real shared object beside the tests: a library to
// load that exports known functions.
std::string ImageLibraryPath() {
  for (const char* candidate : {"../lib/libodvissvc.so", "lib/libodvissvc.so"}) {
    if (fs::exists(candidate)) return fs::canonical(candidate).string();
  }
  return {};
}

// A folder of its own for one test, removed afterwards.
class ScratchFolder {
 public:
  ScratchFolder() : path_(fs::temp_directory_path() / ("dynlib-" + std::to_string(getpid()) + "-" + std::to_string(++count_))) {
    fs::create_directories(path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const fs::path& path() const { return path_; }

 private:
  static inline int count_ = 0;
  fs::path path_;
};

TEST(DynamicLibrary, WindowsFileNamesMapToSharedObjects) {
  EXPECT_EQ(DynamicLibrary::PlatformFileName("keld.dll"), "libkeld.so");
  EXPECT_EQ(DynamicLibrary::PlatformFileName("odvissvc.DLL"), "libodvissvc.so");
  EXPECT_EQ(DynamicLibrary::PlatformFileName("C:\\drivers\\diag\\Test7105.dll"), "C:/drivers/diag/libTest7105.so");
  EXPECT_EQ(DynamicLibrary::PlatformFileName("/opt/keld/Test7105.dll"), "/opt/keld/libTest7105.so");
  EXPECT_EQ(DynamicLibrary::PlatformFileName("libalready.so"), "libalready.so");
}

TEST(DynamicLibrary, DecoratedFunctionNamesLoseTheirDecoration) {
  EXPECT_EQ(DynamicLibrary::PlatformFunctionName("_TestInitialize@12"), "TestInitialize");
  EXPECT_EQ(DynamicLibrary::PlatformFunctionName("kldGetAttribute"), "kldGetAttribute");
  EXPECT_EQ(DynamicLibrary::PlatformFunctionName("_plain"), "_plain");
  EXPECT_EQ(DynamicLibrary::PlatformFunctionName("_name@x1"), "_name@x1");
}

TEST(DynamicLibrary, NullOrEmptyNamesStillLoadTheLibraryAndGiveNull) {
  const std::string image = ImageLibraryPath();
  ASSERT_FALSE(image.empty());
  DynamicLibrary library(image.c_str());
  EXPECT_EQ(library.GetFunction(nullptr), nullptr);
  EXPECT_EQ(library.GetFunction(""), nullptr);
  // Loaded all the same: the next look-up needs no load and finds.
  EXPECT_NE(library.GetFunction("NewImage"), nullptr);
}

TEST(DynamicLibrary, FoundFunctionsAreLookedUpOnceMissingOnesEachTime) {
  const std::string image = ImageLibraryPath();
  ASSERT_FALSE(image.empty());
  DynamicLibrary library(image.c_str());
  void* first = library.GetFunction("NewImage");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(library.GetFunction("NewImage"), first);
  EXPECT_EQ(library.LookupsForTesting(), 1u);
  EXPECT_EQ(library.GetFunction("NoSuchFunction"), nullptr);
  EXPECT_EQ(library.GetFunction("NoSuchFunction"), nullptr);
  EXPECT_EQ(library.LookupsForTesting(), 3u);
}

TEST(DynamicLibrary, ALibraryThatBecomesLoadableIsPickedUp) {
  const std::string image = ImageLibraryPath();
  ASSERT_FALSE(image.empty());
  ScratchFolder folder;
  const std::string name = (folder.path() / "later.dll").string();
  DynamicLibrary library(name.c_str());
  EXPECT_EQ(library.GetFunction("NewImage"), nullptr);
  EXPECT_EQ(library.GetFunction("NewImage"), nullptr);
  fs::copy_file(image, folder.path() / "liblater.so");
  EXPECT_NE(library.GetFunction("NewImage"), nullptr);
}

TEST(DynamicLibrary, AMissingLibraryGivesNullForEverything) {
  DynamicLibrary library("no-such-driver.dll");
  EXPECT_EQ(library.GetFunction("kldGetAttribute"), nullptr);
  EXPECT_EQ(CallDriver<std::uint32_t(std::uint32_t*)>(library, "odkelduGetDriverVersion", nullptr), 0xBFFF800Bu);
}

TEST(DynamicLibrary, TheFourDriverLibrariesHaveTheirNames) {
  EXPECT_EQ(FrameGrabberDriver().FileName(), "keld.dll");
  EXPECT_EQ(VisionServices().FileName(), "odvissvc.dll");
  EXPECT_EQ(NetworkCameraDriver().FileName(), "odkeldnv.dll");
  EXPECT_EQ(LegacyCameraDriver().FileName(), "keld1394.dll");
  // The image library is beside the tests and loads by its system name.
  EXPECT_NE(VisionServices().GetFunction("Gen_BayerColorDecode2"), nullptr);
}

}  // namespace
}  // namespace keld

// A network and USB camera driver from before the version query
// (libodkeldnv_noversion.so, which calls itself libodkeldnv.so): the program
// loads it by path before the library asks for "libodkeldnv.so", so the
// library gets this driver. It cannot tell its version, so the library takes
// 0 and every older way: attributes without representation, description or
// display name, listed by the second enumeration function, and driver names
// by the first driver name function.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "variant_support.h"

namespace keld::device {
namespace {

constexpr std::uint32_t kCameraDriver = 2;
constexpr std::uint32_t kString = 5;
constexpr std::uint32_t kDescription = 12;
constexpr std::uint32_t kDisplayName = 13;

// The variant, loaded once for the whole process, and its control functions.
class NoVersionDriver {
 public:
  static NoVersionDriver& Get() {
    static NoVersionDriver driver;
    return driver;
  }

  bool loaded() const { return handle_ != nullptr; }

  void* Symbol(const char* name) const { return handle_ == nullptr ? nullptr : dlsym(handle_, name); }

  template <typename Function>
  Function* Control(const char* name) const {
    return reinterpret_cast<Function*>(Symbol(name));
  }

  // A fresh driver with the built-in cameras and a data folder of its own.
  std::uint32_t ResetWith(const char* folder) const {
    auto* reset = Control<std::uint32_t(const char*, const char*)>("keldnvsimResetWith");
    return reset == nullptr ? 0xFFFFFFFFu : reset(nullptr, folder);
  }
  std::uint32_t CallCount(const char* function) const {
    auto* count = Control<std::uint32_t(const char*, std::uint32_t*)>("keldnvsimGetCallCount");
    std::uint32_t calls = 0;
    if (count != nullptr) {
      EXPECT_EQ(count(function, &calls), 0u) << function;
    }
    return calls;
  }
  void ClearCalls() const {
    if (auto* clear = Control<std::uint32_t()>("keldnvsimClearCallLog")) clear();
  }

 private:
  NoVersionDriver() {
    handle_ = dlopen(KELDNVSIM_NOVERSION_PATH, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle_, nullptr) << dlerror();
  }

  void* handle_ = nullptr;
};

const NoVersionDriver& Driver() { return NoVersionDriver::Get(); }

// The camera driver in a fresh state, reached from one side, with its camera
// list read afresh.
class NoVersionDevice {
 public:
  explicit NoVersionDevice(Side side) : device_(nullptr, side) {
    EXPECT_TRUE(Driver().loaded());
    EXPECT_EQ(Driver().ResetWith((device_.folder() / "keldnv").c_str()), 0u);
    EXPECT_EQ(cfgRefreshCameras2(Host(), kCameraDriver), 0);
  }
  const char* Host() const { return device_.Host(); }

 private:
  VariantDevice device_;
};

class NoVersionCameraDriver : public ::testing::TestWithParam<Side> {};
INSTANTIATE_TEST_SUITE_P(, NoVersionCameraDriver, ::testing::Values(Side::kLocal, Side::kRemote), SideParamName);

TEST(NoVersionCameraDriverLibrary, HasNoVersionQuery) {
  ASSERT_TRUE(Driver().loaded());
  EXPECT_EQ(Driver().Symbol("KELDnvGetDriverVersion"), nullptr);
  EXPECT_NE(Driver().Symbol("KELDnvEnumerateAttributes2"), nullptr);
  EXPECT_NE(Driver().Symbol("KELDnvGetDriverName"), nullptr);
}

// The cameras are listed with the version word 0 and the driver name of the
// first function.
TEST_P(NoVersionCameraDriver, ListsCamerasWithVersionZeroAndTheFirstDriverName) {
  NoVersionDevice device(GetParam());
  Driver().ClearCalls();
  ASSERT_EQ(cfgRefreshCameras2(device.Host(), kCameraDriver), 0);
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetCameraCount2(device.Host(), kCameraDriver, &count), 0);
  ASSERT_GT(count, 0u);
  for (std::uint32_t i = 0; i < count; ++i) {
    char driver[256] = {};
    std::uint32_t version = 0xFFFFFFFF;
    EXPECT_EQ(cfgQueryCameraDriver2(device.Host(), kCameraDriver, i, driver, sizeof driver, &version), 0);
    EXPECT_EQ(version, 0u) << i;
    EXPECT_STREQ(driver, "odkeldnv") << i;
  }
  EXPECT_EQ(Driver().CallCount("KELDnvGetDriverName"), count);
  EXPECT_EQ(Driver().CallCount("KELDnvGetDriverName2"), 0u);
}

// The attributes are listed by the second enumeration function, and neither
// representation nor description nor display name is asked for: this driver
// has none of them, so asking would fail the refresh.
TEST_P(NoVersionCameraDriver, AttributesWithoutRepresentationOrDescription) {
  NoVersionDevice device(GetParam());
  std::uint32_t session = 0;
  ASSERT_EQ(cfgOpenCamera3(device.Host(), kCameraDriver, "cam0", 0, 0, 0, &session), 0);
  Driver().ClearCalls();
  std::uint32_t count = 0;
  ASSERT_EQ(cfgGetNVAttributesInfo2(session, nullptr, &count, 0x8000000, 0), 0);
  ASSERT_GT(count, 0u);
  EXPECT_EQ(Driver().CallCount("KELDnvEnumerateAttributes2"), 2u);
  EXPECT_EQ(Driver().CallCount("KELDnvEnumerateAttributes3"), 0u);
  EXPECT_EQ(Driver().CallCount("KELDnvGetAttributeRepresentation"), 0u);
  EXPECT_EQ(Driver().CallCount("KELDnvGetAttributeDescription"), 0u);
  EXPECT_EQ(Driver().CallCount("KELDnvGetAttributeDisplayName"), 0u);
  // Everything else of an attribute is read.
  EXPECT_GT(Driver().CallCount("KELDnvGetAttributeUnits"), 0u);
  EXPECT_GT(Driver().CallCount("KELDnvGetAttribute"), 0u);

  std::vector<KELDcfgAttrInfo> list(count);
  ASSERT_EQ(cfgGetNVAttributesInfo2(session, list.data(), &count, 0x8000000, 1), 0);
  list.resize(count);
  bool foundGain = false;
  for (const KELDcfgAttrInfo& info : list) {
    // A driver of today gives Gain the representation 1 and ActionDeviceKey 4.
    EXPECT_EQ(info.Representation, 0u) << info.Name;
    if (std::string(info.Name) == "CameraAttributes::AnalogControl::Gain") {
      foundGain = true;
      EXPECT_STREQ(info.Units, "dB");
    }
  }
  EXPECT_TRUE(foundGain);
  // The components are there, and empty.
  char text[512] = {'x', 0};
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDescription, kString, text, 1), 0);
  EXPECT_STREQ(text, "");
  text[0] = 'x';
  EXPECT_EQ(cfgGetNVAttributeValue(session, "Width", kDisplayName, kString, text, 1), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(cfgClose(session), 0);
}

}  // namespace
}  // namespace keld::device

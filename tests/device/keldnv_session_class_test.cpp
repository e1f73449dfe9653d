// The network and USB camera session class on the simulated driver, where
// what is checked cannot be seen through the public functions: a second
// close, and what a read of one attribute does to its value component when
// the attribute cannot be read or its value read fails.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>

#include "attributes/attribute.h"
#include "device_fixture.h"
#include "local/keldnv/local_keldnv_config_session.h"
#include "nv_support.h"

namespace keld::device {
namespace {

constexpr const char* kOneCamera = R"({ "cameras": [
  { "interface": "cam0", "serial": "0x00A1000000000042", "width": 64, "height": 48, "frame_rate": 0 } ] })";

class KeldnvSessionClass : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(session_.Open(), kSuccess);
    ASSERT_NE(session_.CameraHandle(), 0u);
  }
  void TearDown() override { EXPECT_EQ(session_.Close(), kSuccess); }

  // A fresh attribute of `tag` with all its components, named `name`.
  static std::unique_ptr<Attribute> Named(std::uint32_t tag, const char* name) {
    Attribute* created = nullptr;
    EXPECT_EQ(CreateAttribute(tag, true, &created), kSuccess);
    std::unique_ptr<Attribute> attribute(created);
    if (attribute != nullptr) {
      EXPECT_EQ(attribute->SetName(CFGString(name)), kSuccess);
    }
    return attribute;
  }

  Device device_{Side::kLocal, Cameras(kOneCamera)};
  Status constructed_ = kSuccess;
  LocalKELDNVConfigSession session_{"cam0", &constructed_};
};

TEST_F(KeldnvSessionClass, ASecondCloseAnswers0WithoutADriverCall) {
  keldnvsimClearCallLog();
  EXPECT_EQ(session_.Close(), kSuccess);
  EXPECT_EQ(session_.CameraHandle(), 0u);
  EXPECT_EQ(session_.Close(), kSuccess);
  EXPECT_EQ(session_.CameraHandle(), 0u);
  EXPECT_EQ(nv::Calls("KELDnvCloseCamera"), 1u);
}

// The driver's answer to the close is dropped: a camera that has gone is
// closed all the same, and once only.
TEST_F(KeldnvSessionClass, ACloseTheDriverRefusesStillCloses) {
  ASSERT_EQ(keldnvsimInjectStatus("KELDnvCloseCamera", 0xBFF69006, 1), 0u);
  keldnvsimClearCallLog();
  EXPECT_EQ(session_.Close(), kSuccess);
  EXPECT_EQ(session_.CameraHandle(), 0u);
  EXPECT_EQ(session_.Close(), kSuccess);
  EXPECT_EQ(nv::Calls("KELDnvCloseCamera"), 1u);
}

// An attribute that cannot be read: its value component keeps what it held,
// the driver is not asked for the value, and the read does not fail for it;
// the other components are read.
TEST_F(KeldnvSessionClass, AReadOfAnUnreadableAttributeLeavesTheValueAlone) {
  const auto attribute = Named(nv::kU32, "CameraAttributes::DeviceControl::ActionDeviceKey");
  ASSERT_NE(attribute, nullptr);
  const std::uint32_t sentinel = 0x5A5A1234;
  std::memcpy(attribute->GetMutableValueData(), &sentinel, sizeof sentinel);
  keldnvsimClearCallLog();
  EXPECT_EQ(session_.ReadAttribute(attribute.get()), kSuccess);
  EXPECT_EQ(nv::Calls("KELDnvIsAttributeReadable"), 1u);
  EXPECT_EQ(nv::Calls("KELDnvGetAttribute"), 0u);
  std::uint32_t value = 0;
  std::memcpy(&value, attribute->GetConstValueData(), sizeof value);
  EXPECT_EQ(value, sentinel);
  bool readable = true;
  EXPECT_EQ(attribute->IsReadable(&readable), kSuccess);
  EXPECT_FALSE(readable);
  bool writable = false;
  EXPECT_EQ(attribute->IsWritable(&writable), kSuccess);
  EXPECT_TRUE(writable);
  SubAttribute* maximum = attribute->FindSubAttribute(nv::kMaximum);
  ASSERT_NE(maximum, nullptr);
  EXPECT_EQ(maximum->GetValueAsU32(), 0xFFFFFFFFu);
  // The same attribute once readable: now the value is read.
  EXPECT_EQ(attribute->SetReadable(true), kSuccess);
  EXPECT_EQ(session_.ReadAttribute(attribute.get()), kSuccess);
  EXPECT_EQ(attribute->IsReadable(&readable), kSuccess);
  EXPECT_FALSE(readable);  // the driver's flag is taken again
  EXPECT_EQ(nv::Calls("KELDnvGetAttribute"), 0u);
}

// A readable attribute whose value read fails: the read answers the failure
// of the value read, and the attribute is unreadable afterwards; the
// components after the value are read all the same.
TEST_F(KeldnvSessionClass, AFailedValueReadMakesTheAttributeUnreadable) {
  const char* name = "CameraAttributes::DeviceInformation::DeviceTemperature";
  const auto attribute = Named(nv::kF64, name);
  ASSERT_NE(attribute, nullptr);
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0xBFF69040), 0u);
  keldnvsimClearCallLog();
  EXPECT_EQ(session_.ReadAttribute(attribute.get()), 0xBFF69040u);
  EXPECT_EQ(nv::Calls("KELDnvGetAttribute"), 1u);
  bool readable = true;
  EXPECT_EQ(attribute->IsReadable(&readable), kSuccess);
  EXPECT_FALSE(readable);
  SubAttribute* maximum = attribute->FindSubAttribute(nv::kMaximum);
  ASSERT_NE(maximum, nullptr);
  double limit = 0;
  std::memcpy(&limit, maximum->GetConstData(), sizeof limit);
  EXPECT_EQ(limit, 125.0);
  // The next read asks the driver again and, the fault gone, reads the value.
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0), 0u);
  EXPECT_EQ(session_.ReadAttribute(attribute.get()), kSuccess);
  EXPECT_EQ(attribute->IsReadable(&readable), kSuccess);
  EXPECT_TRUE(readable);
  double value = 0;
  std::memcpy(&value, attribute->GetConstValueData(), sizeof value);
  EXPECT_GT(value, 30.0);
}

// In the session's map an attribute whose value read failed in a refresh
// stays unreadable, the fault gone or not, until the next refresh reads it.
TEST_F(KeldnvSessionClass, AnAttributeUnreadableInARefreshStaysSoUntilTheNext) {
  const char* name = "CameraAttributes::DeviceInformation::DeviceTemperature";
  const auto readableInMap = [&]() {
    Attribute* found = nullptr;
    EXPECT_EQ(session_.FindAttributeByName(name, &found), kSuccess);
    bool readable = false;
    if (found != nullptr) {
      EXPECT_EQ(found->IsReadable(&readable), kSuccess);
    }
    return readable;
  };
  ASSERT_EQ(session_.RefreshAttributes(), kSuccess);
  EXPECT_TRUE(readableInMap());
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0xBFF69040), 0u);
  EXPECT_EQ(session_.RefreshAttributes(), 0xBFF69040u);
  EXPECT_FALSE(readableInMap());
  ASSERT_EQ(keldnvsimSetAttributeStatus("cam0", name, 0), 0u);
  EXPECT_FALSE(readableInMap());
  EXPECT_EQ(session_.RefreshAttributes(), kSuccess);
  EXPECT_TRUE(readableInMap());
}

}  // namespace
}  // namespace keld::device

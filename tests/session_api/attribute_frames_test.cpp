// The attribute frames over a test session's attribute map: immediate and
// cached access, refused values, and the text and list outputs.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "attributes/attribute.h"
#include "keldcfgc/keldcfgc.h"
#include "support/test_session.h"

namespace keld {
namespace {

using test::script;

Status AsStatus(std::int32_t result) { return static_cast<Status>(result); }

class AttributeFrames : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(cfgOpenCamera2(nullptr, 2, "cam0", 0, 0, &id), 0);
    ASSERT_EQ(GetDeviceSession(&session, id), kSuccess);
    Add(AttrU32::kTag, 10);
    Add(AttrF64::kTag, 11);
    Add(AttrString::kTag, 12);
    Add(AttrRect::kTag, 13);
    script().calls.clear();
  }
  void Add(std::uint32_t type, std::uint32_t key) {
    Attribute* attribute = nullptr;
    ASSERT_EQ(CreateAttribute(type, true, &attribute), kSuccess);
    attribute->SetKey(key);
    // A rectangle has no name or flags; its setters answer 0xBFFF8011.
    IgnoreStatus(attribute->SetReadable(true));
    IgnoreStatus(attribute->SetWritable(true));
    IgnoreStatus(attribute->SetName(FormatString("Camera::Setting%u", key)));
    IgnoreStatus(attribute->SetVisibility(key == 13 ? 20000 : 0));
    session->attributes.Insert(attribute);
  }
  test::ScopedTestFactory factory;
  std::uint32_t id = 0;
  std::shared_ptr<DeviceConfigSession> session;
};

TEST_F(AttributeFrames, CachedSetThenCachedGetNeverTouchesTheDevice) {
  ASSERT_EQ(cfgSetAttributeU32(id, 10, 42, 1), 0);
  std::uint32_t value = 0;
  ASSERT_EQ(cfgGetAttributeU32(id, 10, &value, 1), 0);
  EXPECT_EQ(value, 42u);
  EXPECT_TRUE(script().calls.empty());
  EXPECT_NE(session->attributes.FindByKey(10)->IsDirty(), 0u);
}

TEST_F(AttributeFrames, ImmediateAccessReadsAndWritesTheDevice) {
  ASSERT_EQ(cfgSetAttributeDouble(id, 11, 2.5, 0), 0);
  double value = 0;
  ASSERT_EQ(cfgGetAttributeDouble(id, 11, &value, 0), 0);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"WriteAttribute", "ReadAttribute"}));
}

TEST_F(AttributeFrames, FailedDeviceAccessIsReturned) {
  script().answers["ReadAttribute"] = 0xBFF60300;
  script().answers["WriteAttribute"] = 0xBFF60301;
  std::uint32_t value = 9;
  EXPECT_EQ(AsStatus(cfgGetAttributeU32(id, 10, &value, 0)), 0xBFF60300u);
  EXPECT_EQ(value, 9u);
  EXPECT_EQ(AsStatus(cfgSetAttributeU32(id, 10, 1, 0)), 0xBFF60301u);
}

TEST_F(AttributeFrames, RefusedValueWithCachedOnlyReturnsSuccess) {
  // A text is no value for a u32 attribute: the set is refused and not reported.
  EXPECT_EQ(cfgSetAttributeString(id, 10, "text", 1), 0);
  std::uint32_t value = 5;
  ASSERT_EQ(cfgGetAttributeU32(id, 10, &value, 1), 0);
  EXPECT_EQ(value, 0u);
}

TEST_F(AttributeFrames, UnknownKeyIsReported) {
  std::uint32_t value = 0;
  EXPECT_EQ(AsStatus(cfgGetAttributeU32(id, 99, &value, 0)), kUnknownAttributeType);
  EXPECT_EQ(AsStatus(cfgGetAttributeU32(id, 99, &value, 1)), kUnknownAttributeType);
  EXPECT_EQ(AsStatus(cfgSetAttributeU32(id, 99, 1, 0)), kUnknownAttributeType);
  EXPECT_TRUE(script().calls.empty());
}

TEST_F(AttributeFrames, StringGetWithNullBufferStillReadsTheDevice) {
  script().answers["ReadAttribute"] = 0xBFF60302;
  EXPECT_EQ(AsStatus(cfgGetAttributeString(id, 12, nullptr, 0)), 0xBFF60302u);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"ReadAttribute"}));
  script().answers.clear();
  EXPECT_EQ(cfgGetAttributeString(id, 12, nullptr, 0), 0);
}

TEST_F(AttributeFrames, StringIsCutAt254Characters) {
  const std::string text(300, 's');
  ASSERT_EQ(cfgSetAttributeString(id, 12, text.c_str(), 1), 0);
  char buffer[255];
  ASSERT_EQ(cfgGetAttributeString(id, 12, buffer, 1), 0);
  EXPECT_EQ(std::strlen(buffer), 254u);
}

TEST_F(AttributeFrames, RectangleIsSixWords) {
  const std::uint32_t rect[6] = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(cfgSetAttributeRect(id, 13, rect, 1), 0);
  std::uint32_t out[6] = {};
  ASSERT_EQ(cfgGetAttributeRect(id, 13, out, 1), 0);
  EXPECT_EQ(out[0], 1u);
  EXPECT_EQ(out[1], 2u);
  EXPECT_EQ(out[2], 3u);
  EXPECT_EQ(out[3], 4u);
}

TEST_F(AttributeFrames, RectangleSetComputesTheEnds) {
  // The caller's words 4 and 5 do not count: the ends follow from origin and extent.
  const std::uint32_t rect[6] = {10, 20, 30, 40, 999, 999};
  ASSERT_EQ(cfgSetAttributeRect(id, 13, rect, 1), 0);
  std::uint32_t out[6] = {};
  ASSERT_EQ(cfgGetAttributeRect(id, 13, out, 1), 0);
  const std::uint32_t expected[6] = {10, 20, 30, 40, 30, 70};
  EXPECT_EQ(std::memcmp(out, expected, sizeof out), 0);
}

TEST_F(AttributeFrames, TypedAccessDoesNotLookAtTheAttributeType) {
  // A u32 read of a double attribute gives the first four bytes of the double.
  const double real = 1.1;  // low word 0x9999999A
  ASSERT_EQ(cfgSetAttributeDouble(id, 11, real, 1), 0);
  std::uint32_t word = 0;
  ASSERT_EQ(cfgGetAttributeU32(id, 11, &word, 1), 0);
  std::uint32_t expectedWord = 0;
  std::memcpy(&expectedWord, &real, sizeof expectedWord);
  EXPECT_EQ(word, expectedWord);
  EXPECT_NE(word, 0u);
  // A double read of a u32 attribute takes the four bytes the value has.
  ASSERT_EQ(cfgSetAttributeU32(id, 10, 0x11223344, 1), 0);
  double wide = -1.0;
  ASSERT_EQ(cfgGetAttributeDouble(id, 10, &wide, 1), 0);
  std::uint64_t bits = 0;
  std::memcpy(&bits, &wide, sizeof bits);
  EXPECT_EQ(bits, 0x11223344u);
  // A u32 set on the double attribute writes its first four bytes and makes it dirty.
  session->attributes.FindByKey(11)->SetDirty(0);
  ASSERT_EQ(cfgSetAttributeU32(id, 11, 0x55, 1), 0);
  EXPECT_NE(session->attributes.FindByKey(11)->IsDirty(), 0u);
  ASSERT_EQ(cfgGetAttributeU32(id, 11, &word, 1), 0);
  EXPECT_EQ(word, 0x55u);
  EXPECT_TRUE(script().calls.empty());
}

TEST_F(AttributeFrames, ValidateRunsCommitValidateRefreshAndStopsAtTheFirstFailure) {
  ASSERT_EQ(cfgValidateAttributes(id), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"CommitAttributes", "ValidateAttributes", "RefreshAttributes"}));
  script().calls.clear();
  script().answers["ValidateAttributes"] = 0xBFF60303;
  EXPECT_EQ(AsStatus(cfgWriteAttributes(id, "file")), 0xBFF60303u);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"CommitAttributes", "ValidateAttributes"}));
}

TEST_F(AttributeFrames, ReadAttributesRefreshesAfterwards) {
  ASSERT_EQ(cfgReadAttributes(id, "file"), 0);
  ASSERT_EQ(cfgReadAttributesFromString(id, "text"), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"ReadAttributes", "RefreshAttributes",
                                                      "ReadAttributesFromString", "RefreshAttributes"}));
}

TEST_F(AttributeFrames, ConfigurationTextIsALibraryBlockReleasedByDispose) {
  test::TestSession::scriptedText = "a=1;b=2";
  char* text = nullptr;
  ASSERT_EQ(cfgWriteAttributesToString(id, &text), 0);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "a=1;b=2");
  EXPECT_EQ(cfgDispose(text), 0);
  EXPECT_EQ(cfgWriteAttributesToString(id, nullptr), 0);  // null is accepted
  EXPECT_EQ(AsStatus(cfgDispose(nullptr)), kBadPointer);
}

TEST_F(AttributeFrames, AttributeListingKeepsAFailedRefreshButStillLists) {
  script().answers["RefreshAttributes"] = 0xBFF60304;
  std::uint32_t count = 0;
  EXPECT_EQ(AsStatus(cfgGetNVAttributesInfo2(id, nullptr, &count, 0x7FFFFFFF, 0)), 0xBFF60304u);
  EXPECT_EQ(count, 4u);
  count = 0;
  ASSERT_EQ(cfgGetNVAttributesInfo(id, nullptr, &count, 1), 0);  // visibility 16384 leaves key 13 out
  EXPECT_EQ(count, 3u);
  EXPECT_FALSE(test::script().Called("ReadAttribute"));
}

TEST_F(AttributeFrames, NameBasedAccessUsesTheShortName) {
  const std::uint32_t in = 77;
  ASSERT_EQ(cfgSetNVAttributeValue(id, "Setting10", 0, AttrU32::kTag, &in, 1), 0);
  std::uint32_t out = 0;
  ASSERT_EQ(cfgGetNVAttributeValue(id, "setting10", 0, AttrU32::kTag, &out, 1), 0);
  EXPECT_EQ(out, 77u);
  EXPECT_TRUE(script().calls.empty());
  ASSERT_EQ(cfgGetNVAttributeValue(id, "Camera::Setting10", 0, AttrU32::kTag, &out, 0), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"ReadAttribute"}));
}

TEST_F(AttributeFrames, UnknownNameIsReported) {
  std::uint32_t value = 0;
  EXPECT_EQ(AsStatus(cfgGetNVAttributeValue(id, "Nothing", 0, 1, &value, 1)), kUnknownAttributeType);
  EXPECT_EQ(AsStatus(cfgSetNVAttributeValue(id, "Nothing", 0, 1, &value, 1)), kUnknownAttributeType);
  std::uint32_t count = 0;
  EXPECT_EQ(AsStatus(cfgGetNVAttributeEnumValues(id, "Nothing", nullptr, &count, 1)), kUnknownAttributeType);
}

}  // namespace
}  // namespace keld

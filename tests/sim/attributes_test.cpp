// Attributes of the simulated driver: the listing of keys with their type
// codes, reads and writes of every type, ranges, read-only attributes, the
// attributes that cannot be read in some states, and those that depend on
// the driver's version.
#include <map>

#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class AttributesTest : public SimTest {};

std::map<uint32_t, uint32_t> Keys(uint32_t sid) {
  uint32_t count = 0;
  EXPECT_EQ(odkelduGetAttributeKeys(sid, nullptr, &count), kOk);
  std::vector<uint32_t> records(2 * count);
  EXPECT_EQ(odkelduGetAttributeKeys(sid, records.data(), &count), kOk);
  std::map<uint32_t, uint32_t> types;
  for (uint32_t i = 0; i < count; ++i) types[records[2 * i + 1]] = records[2 * i];
  EXPECT_EQ(types.size(), count);  // each key once
  return types;
}

TEST_F(AttributesTest, KeysAreListedWithTheirTypeCodes) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const auto basic = Keys(sid);
  const uint32_t all = 1;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60502, &all), kOk);
  const auto keys = Keys(sid);
  EXPECT_GT(keys.size(), basic.size());
  EXPECT_EQ(basic.count(0x3FF60310), 0u);  // advanced ones come with 0x3FF60502 only
  const std::map<uint32_t, uint32_t> expected = {
      {0x3FF60001, 1}, {0x3FF60068, 1}, {0x3FF60069, 1}, {0x3FF60074, 1}, {0x3FF600C0, 1}, {0x3FF600C1, 1},
      {0x3FF600D8, 1}, {0x3FF60120, 1}, {0x3FF601A6, 1}, {0x3FF601A7, 1}, {0x3FF601AD, 1}, {0x3FF601C7, 1},
      {0x3FF601C8, 1}, {0x3FF601CB, 1}, {0x3FF601CC, 2}, {0x3FF601CD, 2}, {0x3FF601CE, 2}, {0x3FF601CF, 1},
      {0x3FF601D0, 1}, {0x3FF60424, 1}, {0x3FF60466, 1}, {0x3FF6046B, 1}, {0x3FF604BE, 5}, {0x3FF604C0, 1},
      {0x3FF604C3, 5}, {0x3FF604C4, 5}, {0x3FF604DC, 1}, {0x3FF60502, 1}, {0x3FF6057B, 5}, {0x3FF60310, 3},
      {0x3FF601A8, 4}, {0x3FF60320, 6}, {0x3FF60121, 7}, {0x3FF604DD, 7}, {0x3FF600D9, 2}, {0x3FF60122, 2},
  };
  for (const auto& [key, type] : expected) {
    ASSERT_EQ(keys.count(key), 1u) << std::hex << key;
    EXPECT_EQ(keys.at(key), type) << std::hex << key;
  }
  EXPECT_EQ(keys.count(0x3FF604C5), 0u);  // two ports only
  // Every listed attribute reads, or says why not in this state.
  for (const auto& [key, type] : keys) {
    std::vector<uint8_t> value(512);
    const uint32_t status = kldGetAttribute(sid, key, value.data());
    EXPECT_TRUE(status == kOk || status == kNotAvailableNow || status == kNoImageYet)
        << std::hex << key << " " << status;
  }
  uint32_t records[4] = {};
  uint32_t count = 2;
  EXPECT_EQ(odkelduGetAttributeKeys(sid, records, &count), kBufferTooSmall);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(odkelduGetAttributeKeys(sid, records, nullptr), kInvalidArgument);
  EXPECT_EQ(odkelduGetAttributeKeys(0x1234, nullptr, &count), kInvalidId);
}

TEST_F(AttributesTest, FactsOfTheBoardAndTheCamera) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109) + "::1");
  EXPECT_EQ(U32(sid, 0x3FF60001), 0x7109u);
  EXPECT_EQ(U32(sid, 0x3FF600C0), kBoard7109);
  EXPECT_EQ(U32(sid, 0x3FF601AD), 2u);
  EXPECT_EQ(U32(sid, 0x3FF6046B), 2u);
  EXPECT_EQ(U32(sid, 0x3FF604DC), 0x4u);
  EXPECT_EQ(U32(sid, 0x3FF60003), 2u);
  EXPECT_EQ(U32(sid, 0x3FF60004), 1u);
  EXPECT_EQ(U32(sid, 0x3FF601A6), 1280u);
  EXPECT_EQ(U32(sid, 0x3FF601A7), 1024u);
  EXPECT_EQ(U32(sid, 0x3FF600D8), 0u);
  EXPECT_EQ(U32(sid, 0x3FF60424), 8u);
  EXPECT_EQ(U32(sid, 0x3FF601CB), 0u);
  EXPECT_EQ(U32(sid, 0x3FF60074), 0u);
  EXPECT_EQ(Text(sid, 0x3FF604BE), "img0");
  EXPECT_EQ(Text(sid, 0x3FF604C3), "bayer1280.icd");
  EXPECT_EQ(Text(sid, 0x3FF604C4), "bayer1280.icd");
  EXPECT_EQ(Text(sid, 0x3FF60400), "Colour 1280 raw");
  EXPECT_EQ(Text(sid, 0x3FF6057B), "");
  uint64_t memory = 0;
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF604DD, &memory), kOk);
  EXPECT_EQ(memory, 16u << 20);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF601CC), 1.0);
}

TEST_F(AttributesTest, ValuesOfEveryTypeAreWrittenAndReadBack) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const uint32_t timeout = 1234;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60070, &timeout), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60070), 1234u);
  const double gain = 1.75;
  ASSERT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CD, &gain), kOk);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF601CD), 1.75);

  uint32_t lines[64];
  for (uint32_t i = 0; i < 64; ++i) lines[i] = 63 - i;
  ASSERT_EQ(Configure(sid, 0x3FF60310, lines), kOk);
  uint32_t back[64] = {};
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF60310, back), kOk);
  EXPECT_EQ(std::vector<uint32_t>(back, back + 64), std::vector<uint32_t>(lines, lines + 64));

  uint32_t waveform[32];
  for (uint32_t i = 0; i < 32; ++i) waveform[i] = i * 100;
  ASSERT_EQ(Configure(sid, 0x3FF60320, waveform), kOk);
  uint32_t waveBack[32] = {};
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF60320, waveBack), kOk);
  EXPECT_EQ(std::vector<uint32_t>(waveBack, waveBack + 32), std::vector<uint32_t>(waveform, waveform + 32));

  const uint32_t rect[6] = {100, 640, 50, 480, 740, 530};  // left, width, top, height, and the ends
  ASSERT_EQ(Configure(sid, 0x3FF601A8, rect), kOk);
  EXPECT_EQ(U32(sid, 0x3FF60069), 100u);
  EXPECT_EQ(U32(sid, 0x3FF60068), 50u);
  EXPECT_EQ(U32(sid, 0x3FF601A6), 640u);
  EXPECT_EQ(U32(sid, 0x3FF601A7), 480u);
  uint32_t rectBack[6] = {};
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF601A8, rectBack), kOk);
  EXPECT_EQ(std::vector<uint32_t>(rectBack, rectBack + 6), std::vector<uint32_t>(rect, rect + 6));

  char camera[512] = "rgb640.icd";
  ASSERT_EQ(Configure(sid, 0x3FF604C4, camera), kOk);
  EXPECT_EQ(Text(sid, 0x3FF604C4), "rgb640.icd");

  uint64_t stamp = 0;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60121, &stamp), kReadOnly);
}

TEST_F(AttributesTest, ValuesOutsideTheirRangeAreRefused) {
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  const double gain = 4.5, negative = -0.1;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &gain), kOutOfRange);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CC, &negative), kOutOfRange);
  EXPECT_DOUBLE_EQ(F64(sid, 0x3FF601CC), 1.0);
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  for (const auto& [key, value] : std::vector<std::pair<uint32_t, uint32_t>>{
           {0x3FF601CB, 4}, {0x3FF601A6, 1281}, {0x3FF601A7, 0}, {0x3FF60068, 1024}, {0x3FF601D0, 2}}) {
    EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, key, &value), kOutOfRange) << std::hex << key;
  }
  const uint32_t none = 0xFFFFFFFF;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601CB, &none), kOk);
  const uint32_t badRect[6] = {0, 640, 0, 480, 641, 480};  // an end that is not origin + extent
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF601A8, badRect), kOutOfRange);
  char unterminated[512];
  std::memset(unterminated, 'a', sizeof unterminated);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF604C3, unterminated), kOutOfRange);
  const double rate = 0.5;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF600D9, &rate), kOutOfRange);
  const uint32_t serial = 5;
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF600C0, &serial), kReadOnly);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60001, &serial), kReadOnly);
  EXPECT_EQ(kldSetAttributeFromVoidPtr(sid, 0x3FF60999, &serial), kAttributeNotSupported);
  uint32_t value = 0;
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60999, &value), kAttributeNotSupported);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF604C5, &value), kAttributeNotSupported);  // no third port
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF600C0, nullptr), kInvalidArgument);
  EXPECT_EQ(kldGetAttribute(0x1234, 0x3FF600C0, &value), kInvalidId);
}

TEST_F(AttributesTest, SomeAttributesCannotBeReadInSomeStates) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  uint32_t number = 0;
  double rate = 0;
  uint64_t stamp = 0;
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60120, &number), kNoImageYet);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60121, &stamp), kNoImageYet);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60122, &rate), kNotAvailableNow);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF6057C, &rate), kNotAvailableNow);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF6057D, &rate), kNotAvailableNow);
  ASSERT_EQ(kldGrabSetup(sid, 1), kOk);
  ASSERT_EQ(kldGetAttribute(sid, 0x3FF60122, &rate), kOk);
  EXPECT_DOUBLE_EQ(rate, 50.0);  // mono16 runs at 50 frames a second
  std::vector<uint16_t> pixels(1024 * 768);
  void* target = pixels.data();
  ASSERT_EQ(kldGrabArea(sid, &target, 1, 0, 0, 768, 1024, 1024), kOk);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60120, &number), kOk);
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF60121, &stamp), kOk);
  EXPECT_NE(stamp, 0u);
}

TEST_F(AttributesTest, BayerAlgorithmFromDriver0x04720000) {
  ASSERT_EQ(keldsimSetDriverVersion(0x04710000), kOk);
  const uint32_t sid = Open(ClaimInterface(kBoard7109));
  EXPECT_EQ(Keys(sid).count(0x3FF601CF), 0u);
  uint32_t algorithm = 7;
  EXPECT_EQ(kldGetAttribute(sid, 0x3FF601CF, &algorithm), kAttributeNotSupported);
  ASSERT_EQ(keldsimSetDriverVersion(0x04720000), kOk);
  EXPECT_EQ(Keys(sid).count(0x3FF601CF), 1u);
  EXPECT_EQ(U32(sid, 0x3FF601CF), 0u);
  algorithm = 2;
  EXPECT_EQ(Configure(sid, 0x3FF601CF, algorithm), kOk);
  EXPECT_EQ(U32(sid, 0x3FF601CF), 2u);
}

TEST_F(AttributesTest, InterfaceChangesAreMarkedUntilStored) {
  const uint32_t sid = Open(ClaimInterface(kBoard7105));
  EXPECT_EQ(U32(sid, 0x3FF604C0), 0u);
  const uint32_t on = 1;
  ASSERT_EQ(Configure(sid, 0x3FF60510, on), kOk);
  EXPECT_EQ(U32(sid, 0x3FF604C0), 1u);
  ASSERT_EQ(odkelduStoreInterfaceConfig(sid, "img0.iid"), kOk);
  EXPECT_EQ(U32(sid, 0x3FF604C0), 0u);
  EXPECT_NE(ReadText(folder_ / "img0.iid").find("0x3FF60510 = 1"), std::string::npos);
  char camera[512] = "mono640.icd";
  ASSERT_EQ(Configure(sid, 0x3FF604C4, camera), kOk);
  EXPECT_EQ(U32(sid, 0x3FF604C0), 1u);
}

}  // namespace
}  // namespace keldsim_test

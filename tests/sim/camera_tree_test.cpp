// The camera attribute tree of the simulated driver, walked as a
// configuration tool walks it: roots, values of string attributes, the
// attributes a value opens, numeric ranges and formatting, defaults, and
// values set by name.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class CameraTreeTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    sid_ = OpenWithCamera(kBoard7105, "mono640.icd");
  }

  std::string Name(uint32_t id, uint32_t* kind = nullptr) {
    char name[256] = {};
    uint32_t size = sizeof name, type = 99;
    EXPECT_EQ(odkelduCameraAttributeGetInfo(sid_, id, &size, name, &type), kOk);
    EXPECT_EQ(size, std::strlen(name) + 1);
    if (kind != nullptr) *kind = type;
    return name;
  }

  std::vector<uint32_t> Roots() {
    uint32_t count = 0;
    EXPECT_EQ(odkelduCameraAttributeGetNumRoots(sid_, &count), kOk);
    std::vector<uint32_t> ids(count);
    if (count > 0) {
      EXPECT_EQ(odkelduCameraAttributeGetRootIds(sid_, ids.data()), kOk);
    }
    return ids;
  }

  uint32_t Find(const std::string& name) {
    for (uint32_t id : Roots()) {
      if (Name(id) == name) return id;
    }
    ADD_FAILURE() << name;
    return 0;
  }

  uint32_t sid_ = 0;
};

TEST_F(CameraTreeTest, RootsAreTheAttributesWithoutParents) {
  std::vector<std::string> names;
  std::vector<uint32_t> kinds;
  for (uint32_t id : Roots()) {
    uint32_t kind = 0;
    names.push_back(Name(id, &kind));
    kinds.push_back(kind);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Exposure Time", "Gain", "Trigger Mode"}));
  EXPECT_EQ(kinds, (std::vector<uint32_t>{0, 0, 1}));
}

TEST_F(CameraTreeTest, StringAttributeValuesAndWhatTheyOpen) {
  const uint32_t mode = Find("Trigger Mode");
  uint32_t count = 0;
  ASSERT_EQ(odkelduCameraAttributeGetNumValues(sid_, mode, &count), kOk);
  ASSERT_EQ(count, 2u);
  uint32_t values[2] = {};
  ASSERT_EQ(odkelduCameraAttributeGetValueIds(sid_, mode, values), kOk);
  uint32_t kind = 0;
  EXPECT_EQ(Name(values[0], &kind), "Free Run");
  EXPECT_EQ(kind, 2u);  // a value
  EXPECT_EQ(Name(values[1]), "Triggered");
  char current[256] = {};
  ASSERT_EQ(kldGetCameraAttributeString(sid_, "Trigger Mode", current, sizeof current), kOk);
  EXPECT_STREQ(current, "Free Run");

  ASSERT_EQ(odkelduCameraAttributeGetNumChildren(sid_, mode, "Free Run", &count), kOk);
  EXPECT_EQ(count, 0u);
  ASSERT_EQ(odkelduCameraAttributeGetNumChildren(sid_, mode, "Triggered", &count), kOk);
  ASSERT_EQ(count, 2u);
  uint32_t children[2] = {};
  ASSERT_EQ(odkelduCameraAttributeGetChildrenIds(sid_, mode, "Triggered", children), kOk);
  EXPECT_EQ(Name(children[0]), "Trigger Polarity");
  EXPECT_EQ(Name(children[1]), "Trigger Delay");
  EXPECT_EQ(odkelduCameraAttributeGetNumChildren(sid_, mode, "Sometimes", &count), kCameraAttributeValue);
  EXPECT_EQ(odkelduCameraAttributeGetNumChildren(sid_, mode, nullptr, &count), kInvalidArgument);

  char text[256] = {};
  uint32_t size = sizeof text;
  ASSERT_EQ(odkelduCameraAttributeStringGetDefault(sid_, mode, &size, text), kOk);
  EXPECT_STREQ(text, "Free Run");
  EXPECT_EQ(size, 9u);

  ASSERT_EQ(kldSetCameraAttributeString(sid_, "Trigger Mode", "Triggered"), kOk);
  ASSERT_EQ(kldGetCameraAttributeString(sid_, "Trigger Mode", current, sizeof current), kOk);
  EXPECT_STREQ(current, "Triggered");
  EXPECT_EQ(kldSetCameraAttributeString(sid_, "Trigger Mode", "Sometimes"), kCameraAttributeValue);
  EXPECT_EQ(kldSetCameraAttributeString(sid_, "Shutter", "On"), kCameraAttributeNotFound);
  EXPECT_EQ(kldSetCameraAttributeString(sid_, "Gain", "On"), kCameraAttributeKind);
  char small[4] = {};
  EXPECT_EQ(kldGetCameraAttributeString(sid_, "Trigger Mode", small, sizeof small), kBufferTooSmall);
  EXPECT_STREQ(small, "Tri");
}

TEST_F(CameraTreeTest, NumericAttributeRangeUnitsAndFormatting) {
  const uint32_t gain = Find("Gain");
  uint32_t raw = 0;
  ASSERT_EQ(odkelduCameraAttributeNumericGetMin(sid_, gain, &raw), kOk);
  EXPECT_EQ(raw, 0u);
  ASSERT_EQ(odkelduCameraAttributeNumericGetMax(sid_, gain, &raw), kOk);
  EXPECT_EQ(raw, 480u);
  double formatted = 0;
  ASSERT_EQ(odkelduCameraAttributeNumericGetFormattedValue(sid_, gain, raw, &formatted), kOk);
  EXPECT_DOUBLE_EQ(formatted, 24.0);
  uint32_t precision = 0;
  ASSERT_EQ(odkelduCameraAttributeNumericGetPrecision(sid_, gain, &precision), kOk);
  EXPECT_EQ(precision, 2u);
  ASSERT_EQ(odkelduCameraAttributeNumericGetIncrement(sid_, gain, &raw), kOk);
  EXPECT_EQ(raw, 1u);  // the raw step, as older drivers gave it
  double step = 0;
  ASSERT_EQ(odkelduCameraAttributeNumericGetIncrementEx(sid_, gain, 0, &step), kOk);
  EXPECT_DOUBLE_EQ(step, 0.05);
  EXPECT_EQ(odkelduCameraAttributeNumericGetIncrementEx(sid_, gain, 1, &step), kInvalidArgument);
  ASSERT_EQ(odkelduCameraAttributeNumericGetDefault(sid_, gain, &raw), kOk);
  EXPECT_EQ(raw, 0u);
  uint32_t size = 0;
  ASSERT_EQ(odkelduCameraAttributeNumericGetUnitsSize(sid_, gain, &size), kOk);
  EXPECT_EQ(size, 3u);
  char units[8] = {};
  ASSERT_EQ(odkelduCameraAttributeNumericGetUnits(sid_, gain, units), kOk);
  EXPECT_STREQ(units, "dB");

  // The camera takes the nearest step of its raw scale.
  ASSERT_EQ(kldSetCameraAttributeNumeric(sid_, "Gain", 6.02), kOk);
  double value = 0;
  ASSERT_EQ(kldGetCameraAttributeNumeric(sid_, "Gain", &value), kOk);
  EXPECT_NEAR(value, 6.0, 1e-9);
  EXPECT_EQ(kldSetCameraAttributeNumeric(sid_, "Gain", 24.5), kCameraAttributeValue);
  EXPECT_EQ(kldSetCameraAttributeNumeric(sid_, "Trigger Mode", 1.0), kCameraAttributeKind);
  EXPECT_EQ(kldGetCameraAttributeNumeric(sid_, "Shutter", &value), kCameraAttributeNotFound);
  EXPECT_EQ(odkelduCameraAttributeNumericGetMin(sid_, Find("Trigger Mode"), &raw), kCameraAttributeKind);
  EXPECT_EQ(odkelduCameraAttributeNumericGetMin(sid_, 0xFFFF, &raw), kCameraAttributeNotFound);
}

TEST_F(CameraTreeTest, StepAsANumberFromDriver0x03500000) {
  ASSERT_EQ(keldsimSetDriverVersion(0x034F0000), kOk);
  double step = 0;
  EXPECT_EQ(odkelduCameraAttributeNumericGetIncrementEx(sid_, Find("Exposure Time"), 0, &step), kNotSupported);
}

TEST_F(CameraTreeTest, NamesThatDoNotFitTheBuffer) {
  const uint32_t id = Find("Exposure Time");
  uint32_t size = 0;
  ASSERT_EQ(odkelduCameraAttributeGetInfo(sid_, id, &size, nullptr, nullptr), kOk);
  EXPECT_EQ(size, 14u);
  char name[5] = {};
  size = sizeof name;
  EXPECT_EQ(odkelduCameraAttributeGetInfo(sid_, id, &size, name, nullptr), kBufferTooSmall);
  EXPECT_STREQ(name, "Expo");
  EXPECT_EQ(size, 14u);
}

TEST_F(CameraTreeTest, TreeOfAnotherCameraAndOfNone) {
  const uint32_t rgb = OpenWithCamera(kBoard7109, "rgb640.icd");
  uint32_t count = 9;
  ASSERT_EQ(odkelduCameraAttributeGetNumRoots(rgb, &count), kOk);
  EXPECT_EQ(count, 0u);
  const uint32_t bayer = Open("serial:00a10001::1");
  ASSERT_EQ(odkelduCameraAttributeGetNumRoots(bayer, &count), kOk);
  EXPECT_EQ(count, 2u);
}


// A string attribute that offers no values: its value is empty and opens
// nothing; no value can be set.
TEST_F(CameraTreeTest, AStringAttributeWithoutValues) {
  WriteText(folder_ / "novalues.icd", R"([Camera]
Model = Lens only
InterfaceTypes = 0x4
Width = 64
Height = 48
ImageType = 0
BitDepth = 8
[Attribute Lens]
Kind = string
Values =
)");
  const uint32_t sid = OpenWithCamera(kBoard7109, "novalues.icd");
  uint32_t count = 0;
  ASSERT_EQ(odkelduCameraAttributeGetNumRoots(sid, &count), kOk);
  ASSERT_EQ(count, 1u);
  uint32_t lens = 0;
  ASSERT_EQ(odkelduCameraAttributeGetRootIds(sid, &lens), kOk);
  uint32_t values = 99;
  EXPECT_EQ(odkelduCameraAttributeGetNumValues(sid, lens, &values), kOk);
  EXPECT_EQ(values, 0u);
  char current[256] = "x";
  EXPECT_EQ(kldGetCameraAttributeString(sid, "Lens", current, sizeof current), kOk);
  EXPECT_STREQ(current, "");
  uint32_t children = 99;
  EXPECT_EQ(odkelduCameraAttributeGetNumChildren(sid, lens, "", &children), kOk);
  EXPECT_EQ(children, 0u);
  EXPECT_EQ(kldSetCameraAttributeString(sid, "Lens", "Wide"), kCameraAttributeValue);
  // A default or value without values to choose from is not a camera file.
  WriteText(folder_ / "defaulted.icd", R"([Camera]
Model = Lens only
InterfaceTypes = 0x4
Width = 64
Height = 48
ImageType = 0
BitDepth = 8
[Attribute Lens]
Kind = string
Values =
Default = Wide
)");
  ASSERT_EQ(odkelduChangeExecutionState(sid, 16), kOk);
  EXPECT_NE(odkelduLoadCameraConfig(sid, "defaulted.icd"), kOk);
}

}  // namespace
}  // namespace keldsim_test

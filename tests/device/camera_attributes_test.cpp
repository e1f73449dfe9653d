// The camera attribute tree of a camera file as a list in display order:
// an attribute, the values of a string attribute one deeper, then the
// attributes its current value opens two deeper; numeric attributes with
// their range, step, precision and units as the driver formats them.
// Values set by name, or back to their defaults.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "camera_texts.h"
#include "device_fixture.h"
#include "image_support.h"
#include "local/keld/local_keld_config_session.h"

namespace keld::device {
namespace {

void Expect(Device& device, const std::string& what, std::int32_t status, std::uint32_t expected) {
  EXPECT_EQ(static_cast<std::uint32_t>(status), expected) << what;
  device.Note(what, status);
}

// A camera whose tree goes three levels down, with a string attribute
// that offers no values and numeric attributes of every formatting.
CameraText TreeCamera() {
  CameraText camera;
  camera.model = "Tree";
  camera.extra = R"([Attribute Mode]
Kind = string
Values = Area|Line
Default = Line
[Attribute Line Source]
Parent = Mode
When = Line
Kind = string
Values = Encoder|Timer
Default = Timer
[Attribute Line Period]
Parent = Line Source
When = Timer
Kind = numeric
Units = mm
Minimum = 0
Maximum = 100
Increment = 2
Scale = 0.5
Offset = 10
Precision = 1
Default = 20
Value = 40
[Attribute Area Height]
Parent = Mode
When = Area
Kind = numeric
Units = lines
Minimum = 1
Maximum = 480
Default = 480
[Attribute Lens]
Kind = string
Values =
[Attribute Shutter]
Kind = numeric
Units = us
Minimum = 1
Maximum = 1000
Increment = 1
Scale = 10
Precision = 0
Default = 5
)";
  return camera;
}

std::vector<CameraAttribute> Rows(Device& device, std::uint32_t id, std::int32_t* status = nullptr) {
  std::uint32_t count = 0;
  const std::int32_t refreshed = cfgRefreshCameraAttributeList(id, &count);
  if (status != nullptr) *status = refreshed;
  device.Note("refresh, " + std::to_string(refreshed == 0 ? count : 0) + " rows", refreshed);
  std::vector<CameraAttribute> rows;
  if (refreshed != 0) return rows;
  for (std::uint32_t i = 0; i < count; ++i) {
    CameraAttribute row{};
    EXPECT_EQ(cfgGetCameraAttribute(id, i, &row), 0);
    rows.push_back(row);
  }
  return rows;
}

// A row as a user reads it: indented by its depth.
std::string Describe(const CameraAttribute& row) {
  char text[700];
  if (row.Kind == 0) {
    std::snprintf(text, sizeof text, "%*s%s [numeric] %g in %g..%g step %g, precision %u, %s", int(2 * row.Depth), "",
                  row.Name, row.Value, row.Minimum, row.Maximum, row.Increment, row.Precision, row.Units);
  } else if (row.Kind == 1) {
    std::snprintf(text, sizeof text, "%*s%s [string] %u values, now \"%s\"", int(2 * row.Depth), "", row.Name,
                  row.ValueCount, row.CurrentValue);
  } else {
    std::snprintf(text, sizeof text, "%*s%s [value %u]", int(2 * row.Depth), "", row.Name, row.Kind);
  }
  return text;
}

std::vector<std::string> Describe(Device& device, const std::vector<CameraAttribute>& rows) {
  std::vector<std::string> lines;
  for (const CameraAttribute& row : rows) {
    lines.push_back(Describe(row));
    device.Note(lines.back());
  }
  return lines;
}

const CameraAttribute* Find(const std::vector<CameraAttribute>& rows, const char* name) {
  for (const CameraAttribute& row : rows) {
    if (std::string(row.Name) == name) return &row;
  }
  ADD_FAILURE() << name << " is not listed";
  return nullptr;
}

// Value rows name their attribute; attributes and roots name none.
void ExpectParents(const std::vector<CameraAttribute>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].Kind == 0 || rows[i].Kind == 1) {
      EXPECT_EQ(rows[i].ParentId, 0u) << rows[i].Name;
      continue;
    }
    // The nearest attribute above at one level less.
    std::size_t above = i;
    while (above > 0 && rows[above].Depth + 1 != rows[i].Depth) --above;
    EXPECT_EQ(rows[i].ParentId, rows[above].Id) << rows[i].Name;
  }
}

// Depths: a string attribute at depth d has its values at d + 1 and the
// attributes its current value opens at d + 2.
DEVICE_SCENARIO(ListsTheCameraAttributeTree) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, TreeCamera().Text().c_str(), "tree"), 0);
  EXPECT_EQ(keldsimClearCallLog(), 0u);
  const auto rows = Rows(device, id);
  // Each string attribute is asked for the children of its value, the one
  // without values too.
  std::uint32_t asked = 0;
  EXPECT_EQ(keldsimGetCallCount("odkelduCameraAttributeGetNumChildren", &asked), 0u);
  EXPECT_EQ(asked, 3u);
  const std::vector<std::string> expected = {
      "Mode [string] 2 values, now \"Line\"",
      "  Area [value 2]",
      "  Line [value 2]",
      "    Line Source [string] 2 values, now \"Timer\"",
      "      Encoder [value 2]",
      "      Timer [value 2]",
      "        Line Period [numeric] 30 in 10..60 step 1, precision 1, mm",
      "Lens [string] 0 values, now \"\"",
      "Shutter [numeric] 50 in 10..10000 step 10, precision 0, us",
  };
  EXPECT_EQ(Describe(device, rows), expected);
  ExpectParents(rows);
  CameraAttribute row{};
  Expect(device, "row beyond", cfgGetCameraAttribute(id, static_cast<std::uint32_t>(rows.size()), &row), 0xBFFF800C);
  Expect(device, "row without a record", cfgGetCameraAttribute(id, 0, nullptr), 0xBFFF8007);
  Expect(device, "refresh without a count", cfgRefreshCameraAttributeList(id, nullptr), 0xBFFF8007);
}

// A camera file without attributes: an empty list, and no failure.
DEVICE_SCENARIO(ACameraWithoutAttributesHasAnEmptyTree) {
  const std::uint32_t id = device.Open("img1");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, FastMono640().Text().c_str(), "fast mono640"), 0);
  std::int32_t status = -1;
  const auto rows = Rows(device, id, &status);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(rows.empty());
}

// Choosing another value changes what the tree shows below it; values and
// defaults are set by the attribute's identifier.
DEVICE_SCENARIO(SetsCameraAttributesAndTheirDefaults) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, TreeCamera().Text().c_str(), "tree"), 0);
  auto rows = Rows(device, id);
  const CameraAttribute* mode = Find(rows, "Mode");
  const CameraAttribute* period = Find(rows, "Line Period");
  const CameraAttribute* area = Find(rows, "Area");
  ASSERT_TRUE(mode != nullptr && period != nullptr && area != nullptr);
  const std::uint32_t modeId = mode->Id;
  const std::uint32_t periodId = period->Id;
  const std::uint32_t areaId = area->Id;

  Expect(device, "line period 35", cfgSetCameraAttribute(id, periodId, "", 35.0, 0), 0);
  rows = Rows(device, id);
  EXPECT_EQ(Find(rows, "Line Period")->Value, 35.0);
  Expect(device, "line period to its default", cfgSetCameraAttribute(id, periodId, "", 99.0, 1), 0);
  rows = Rows(device, id);
  EXPECT_EQ(Find(rows, "Line Period")->Value, 20.0);  // raw 20, formatted
  device.Note(Describe(*Find(rows, "Line Period")));

  Expect(device, "mode Area", cfgSetCameraAttribute(id, modeId, "Area", 0.0, 0), 0);
  rows = Rows(device, id);
  const std::vector<std::string> area_rows = {
      "Mode [string] 2 values, now \"Area\"",
      "  Area [value 2]",
      "  Line [value 2]",
      "    Area Height [numeric] 480 in 1..480 step 1, precision 0, lines",
      "Lens [string] 0 values, now \"\"",
      "Shutter [numeric] 50 in 10..10000 step 10, precision 0, us",
  };
  EXPECT_EQ(Describe(device, rows), area_rows);
  Expect(device, "mode to its default", cfgSetCameraAttribute(id, modeId, "Area", 0.0, 1), 0);
  rows = Rows(device, id);
  EXPECT_STREQ(Find(rows, "Mode")->CurrentValue, "Line");
  EXPECT_EQ(rows.size(), 9u);

  Expect(device, "a value row", cfgSetCameraAttribute(id, areaId, "Area", 0.0, 0), 0xBFFF800F);
  Expect(device, "an unknown identifier", cfgSetCameraAttribute(id, 0x7777, "x", 0.0, 0), 0xBFF60030);
  Expect(device, "a value the camera refuses", cfgSetCameraAttribute(id, modeId, "Frame", 0.0, 0), 0xBFF60031);
  Expect(device, "beyond the range", cfgSetCameraAttribute(id, periodId, "", 1000.0, 0), 0xBFF60031);
  Expect(device, "without a text", cfgSetCameraAttribute(id, modeId, nullptr, 0.0, 0), 0xBFFF8007);
  EXPECT_EQ(keldsimInjectStatus("odkelduCameraAttributeNumericGetDefault", 0xBFF60013, 1), 0u);
  Expect(device, "default failing", cfgSetCameraAttribute(id, periodId, "", 0.0, 1), 0xBFF60013);
  EXPECT_EQ(keldsimInjectStatus("odkelduCameraAttributeStringGetDefault", 0xBFF60013, 1), 0u);
  Expect(device, "string default failing", cfgSetCameraAttribute(id, modeId, "", 0.0, 1), 0xBFF60013);
}

// A failure on the way is the answer; a remote reply with a failure brings
// no list, a local list keeps the rows it had read.
DEVICE_SCENARIO(AFailureWhileListingIsTheAnswer) {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, TreeCamera().Text().c_str(), "tree"), 0);
  EXPECT_EQ(keldsimInjectStatus("odkelduCameraAttributeGetNumChildren", 0xBFF60013, 1), 0u);
  std::uint32_t count = 99;
  Expect(device, "refresh", cfgRefreshCameraAttributeList(id, &count), 0xBFF60013);
  EXPECT_EQ(count, 99u);
  if (!device.remote()) {
    // Mode, its two values; the walk went no further.
    CameraAttribute row{};
    EXPECT_EQ(cfgGetCameraAttribute(id, 2, &row), 0);
    EXPECT_STREQ(row.Name, "Line");
    EXPECT_EQ(cfgGetCameraAttribute(id, 3, &row), 0xBFFF800C);
  }
  EXPECT_EQ(keldsimInjectStatus("odkelduCameraAttributeGetNumRoots", 0xBFF60013, 1), 0u);
  Expect(device, "refresh without roots", cfgRefreshCameraAttributeList(id, &count), 0xBFF60013);
}

// An older driver gives the step raw, unformatted; the range is formatted
// all the same.
DEVICE_SCENARIO_WITH(AnOlderDriverGivesTheStepRaw,
                     R"({ "driver_version": "0x03400000", "boards": [ { "serial": "0x00A10001", )"
                     R"("model": "OD PCIe-7109", "type": "0x7109", "units": 1, "ports": 2, "interface_types": "0x4" } ] })") {
  const std::uint32_t id = device.Open("img0");
  ASSERT_NE(id, 0u);
  ASSERT_EQ(LoadCamera(device, id, TreeCamera().Text().c_str(), "tree"), 0);
  const auto rows = Rows(device, id);
  const std::vector<std::string> expected = {
      "Mode [string] 2 values, now \"Line\"",
      "  Area [value 2]",
      "  Line [value 2]",
      "    Line Source [string] 2 values, now \"Timer\"",
      "      Encoder [value 2]",
      "      Timer [value 2]",
      "        Line Period [numeric] 30 in 10..60 step 2, precision 1, mm",
      "Lens [string] 0 values, now \"\"",
      "Shutter [numeric] 50 in 10..10000 step 1, precision 0, us",
  };
  EXPECT_EQ(Describe(device, rows), expected);
}

// A null text with "use the default" on a string attribute: the public
// function refuses a null text, the session itself takes the default.
TEST(CameraAttributeSession, ANullTextWithTheDefaultSetsTheDefault) {
  Device device(Side::kLocal);
  Status status = kSuccess;
  LocalKELDConfigSession session("img0", &status);
  ASSERT_EQ(status, kSuccess);
  ASSERT_EQ(session.Open(), kSuccess);
  ASSERT_EQ(session.ReadAttributesFromString(TreeCamera().Text().c_str()), kSuccess);
  CameraAttributeList list;
  ASSERT_EQ(session.QueryCameraAttributeList(&list), kSuccess);
  ASSERT_FALSE(list.empty());
  ASSERT_STREQ(list[0].Name, "Mode");
  ASSERT_EQ(session.SetCameraAttribute(list[0].Id, "Area", 0.0, 0), kSuccess);
  EXPECT_EQ(session.SetCameraAttribute(list[0].Id, nullptr, 0.0, 1), kSuccess);
  ASSERT_EQ(session.QueryCameraAttributeList(&list), kSuccess);
  EXPECT_STREQ(list[0].CurrentValue, "Line");
  // Without the default a null text is refused.
  EXPECT_EQ(session.SetCameraAttribute(list[0].Id, nullptr, 0.0, 0), kBadPointer);
  EXPECT_EQ(session.Close(), kSuccess);
}

}  // namespace
}  // namespace keld::device

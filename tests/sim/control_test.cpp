// The control functions for tests: injected statuses, delays, the call log.
#include "sim_fixture.h"

namespace keldsim_test {
namespace {

class ControlTest : public SimTest {};

std::string CallLog() {
  uint32_t size = 0;
  EXPECT_EQ(keldsimGetCallLog(nullptr, &size), kOk);
  std::string text(size, '\0');
  EXPECT_EQ(keldsimGetCallLog(text.data(), &size), kOk);
  text.resize(size - 1);
  return text;
}

uint32_t Calls(const char* function) {
  uint32_t count = 99;
  EXPECT_EQ(keldsimGetCallCount(function, &count), kOk);
  return count;
}

TEST_F(ControlTest, InjectedStatusAnswersTheNextCallsOnly) {
  ASSERT_EQ(keldsimInjectStatus("odkelduGetNumAcqUnits", 0xBFF60123, 2), kOk);
  uint32_t units = 77;
  EXPECT_EQ(odkelduGetNumAcqUnits(kBoard7109, &units), 0xBFF60123u);
  EXPECT_EQ(units, 77u);  // nothing done
  EXPECT_EQ(odkelduGetNumAcqUnits(kBoard7109, &units), 0xBFF60123u);
  EXPECT_EQ(odkelduGetNumAcqUnits(kBoard7109, &units), kOk);
  EXPECT_EQ(units, 2u);
  // Other functions are not touched; a withdrawn injection is gone.
  ASSERT_EQ(keldsimInjectStatus("kldSnapArea", 0xBFF60007, 5), kOk);
  ASSERT_EQ(keldsimInjectStatus("kldSnapArea", 0, 0), kOk);
  const uint32_t sid = OpenWithCamera(kBoard7105, "mono640.icd");
  void* pixels = nullptr;
  EXPECT_EQ(kldSnapArea(sid, &pixels, 0, 0, 480, 640, 640), kOk);
  // An injection ends at a reset.
  ASSERT_EQ(keldsimInjectStatus("odkelduGetNumAcqUnits", 0xBFF60123, 1), kOk);
  ASSERT_EQ(keldsimResetWith(nullptr, folder_.c_str()), kOk);
  EXPECT_EQ(odkelduGetNumAcqUnits(kBoard7109, &units), kOk);
}

TEST_F(ControlTest, OnlyTheDriversFunctionsTakeInjectionsAndDelays) {
  EXPECT_EQ(keldsimInjectStatus("kldNoSuchFunction", 1, 1), kInvalidArgument);
  EXPECT_EQ(keldsimInjectStatus("keldsimReset", 1, 1), kInvalidArgument);
  EXPECT_EQ(keldsimInjectStatus(nullptr, 1, 1), kInvalidArgument);
  EXPECT_EQ(keldsimSetDelay("kldNoSuchFunction", 5), kInvalidArgument);
}

TEST_F(ControlTest, DelayedFunctionStillAnswers) {
  ASSERT_EQ(keldsimSetDelay("odkelduGetDriverVersion", 20), kOk);
  uint32_t version = 0;
  EXPECT_EQ(odkelduGetDriverVersion(&version), kOk);
  EXPECT_EQ(version, 0x04720000u);
  ASSERT_EQ(keldsimSetDelay("odkelduGetDriverVersion", 0), kOk);
  EXPECT_EQ(odkelduGetDriverVersion(&version), kOk);
}

TEST_F(ControlTest, CallLogListsEveryCallInOrder) {
  uint32_t count = 0;
  odkelduGetSerialNumber(nullptr, &count);
  odkelduGetNumAcqUnits(kBoard7109, &count);
  odkelduGetNumAcqUnits(0x1234, &count);  // failures are calls too
  EXPECT_EQ(CallLog(), "odkelduGetSerialNumber\nodkelduGetNumAcqUnits\nodkelduGetNumAcqUnits\n");
  EXPECT_EQ(Calls("odkelduGetNumAcqUnits"), 2u);
  EXPECT_EQ(Calls("kldSnapArea"), 0u);
  char small[8] = {};
  uint32_t size = sizeof small;
  EXPECT_EQ(keldsimGetCallLog(small, &size), kBufferTooSmall);
  EXPECT_STREQ(small, "odkeldu");
  ASSERT_EQ(keldsimClearCallLog(), kOk);
  EXPECT_EQ(CallLog(), "");
  EXPECT_EQ(Calls("odkelduGetNumAcqUnits"), 0u);
  EXPECT_EQ(keldsimGetCallLog(nullptr, nullptr), kInvalidArgument);
}

TEST_F(ControlTest, LibrarysOpenIsVisibleInTheLog) {
  const std::string name = ClaimInterface(kBoard7105);
  ASSERT_EQ(keldsimClearCallLog(), kOk);
  Open(name);
  EXPECT_EQ(CallLog(), "kldInterfaceOpen\nkldSessionOpen\n");
}

TEST_F(ControlTest, BoardTestResultsAreSetAndWithdrawn) {
  uint32_t result = 9;
  char message[64] = {};
  ASSERT_EQ(keldsimGetBoardTestResult(kBoard7105, "Register read/write test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 0u);
  ASSERT_EQ(keldsimSetBoardTestResult(0, "Register read/write test", 2, "every board"), kOk);
  ASSERT_EQ(keldsimSetBoardTestResult(kBoard7105, "Register read/write test", 3, "this board"), kOk);
  ASSERT_EQ(keldsimGetBoardTestResult(kBoard7105, "Register read/write test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 3u);
  EXPECT_STREQ(message, "this board");
  ASSERT_EQ(keldsimGetBoardTestResult(kBoard7109, "Register read/write test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 2u);
  EXPECT_STREQ(message, "every board");
  ASSERT_EQ(keldsimSetBoardTestResult(kBoard7105, "Register read/write test", 0, nullptr), kOk);
  ASSERT_EQ(keldsimGetBoardTestResult(kBoard7105, "Register read/write test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 2u);
  EXPECT_EQ(keldsimSetBoardTestResult(0, "x", 5, nullptr), kInvalidArgument);
}

TEST_F(ControlTest, DescriptionSetsBoardTestResults) {
  const char* json = R"({"boards": [ { "serial": 5, "model": "OD PCI-7105", "interface_types": 1,
      "board_tests": { "On-board memory test": { "result": "critical", "message": "bank 2 dead" },
                       "Register read/write test": "skipped" } } ]})";
  ASSERT_EQ(keldsimResetWith(json, folder_.c_str()), kOk) << LastError();
  uint32_t result = 0;
  char message[64] = {};
  ASSERT_EQ(keldsimGetBoardTestResult(5, "On-board memory test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 3u);
  EXPECT_STREQ(message, "bank 2 dead");
  ASSERT_EQ(keldsimGetBoardTestResult(5, "Register read/write test", &result, message, sizeof message), kOk);
  EXPECT_EQ(result, 4u);
}


// The session on an acquisition unit, for tests that open it through the
// library; 0 where none is open.
TEST_F(ControlTest, NamesTheSessionOnAnAcquisitionUnit) {
  uint32_t sid = 99;
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 1, &sid), kOk);
  EXPECT_EQ(sid, 0u);
  const uint32_t opened = Open(ClaimInterface(kBoard7109) + "::1");
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 1, &sid), kOk);
  EXPECT_EQ(sid, opened);
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 0, &sid), kOk);
  EXPECT_EQ(sid, 0u);
  EXPECT_EQ(kldClose(opened, 1), kOk);
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 1, &sid), kOk);
  EXPECT_EQ(sid, 0u);
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 2, &sid), kInvalidArgument);
  EXPECT_EQ(keldsimGetUnitSession(0x12345678, 0, &sid), kBoardNotFound);
  EXPECT_EQ(keldsimGetUnitSession(kBoard7109, 0, nullptr), kInvalidArgument);
}

}  // namespace
}  // namespace keldsim_test

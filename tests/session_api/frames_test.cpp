// The exported frames driven through the real factory with scripted test
// sessions: the open frame and its failure path, the throw-away frames, the
// diagnostics time-out, text copying and the plain frames.
#include <gtest/gtest.h>

#include "session/session_factory.h"

#include <cstring>
#include <string>

#include "keldcfgc/keldcfgc.h"
#include "remote/remote_session.h"
#include "support/test_session.h"

namespace keld {
namespace {

using test::script;

class Frames : public ::testing::Test {
 protected:
  std::uint32_t OpenCamera(const char* name, const char* host = nullptr) {
    std::uint32_t id = 0;
    EXPECT_EQ(cfgOpenCamera2(host, 2, name, 0, 0, &id), 0);
    script().calls.clear();
    return id;
  }
  test::ScopedTestFactory factory;
};

Status AsStatus(std::int32_t result) { return static_cast<Status>(result); }

TEST_F(Frames, OpenRunsCreateOpenRefreshAndStoresTheId) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenBoard(nullptr, "img0", 0, &id), 0);
  EXPECT_NE(id, 0u);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"Open", "RefreshAttributes"}));
  EXPECT_EQ(cfgClose(id), 0);
}

TEST_F(Frames, OpenBoardWithoutNameUsesTheSerial) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenBoard(nullptr, nullptr, 0x1234, &id), 0);
  ASSERT_EQ(cfgOpenBoard(nullptr, "", 0xABCDEF01, &id), 0);
  EXPECT_EQ(script().interfaceNames, (std::vector<std::string>{"serial:00001234", "serial:abcdef01"}));
}

TEST_F(Frames, OpenCameraWithoutNameUsesTheUuid) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenCamera(nullptr, nullptr, 0x12, 0xAB, &id), 0);
  ASSERT_EQ(cfgOpenCamera3(nullptr, 2, "", 1, 2, 0, &id), 0);
  EXPECT_EQ(script().interfaceNames, (std::vector<std::string>{"uuid:00000012000000ab", "uuid:0000000100000002"}));
}

TEST_F(Frames, LegacyOpenSkipsTheAttributesAndNeedsAName) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenLegacyBoard(nullptr, "img1", &id), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"Open"}));
  EXPECT_EQ(AsStatus(cfgOpenLegacyBoard(nullptr, nullptr, &id)), kBadPointer);
}

TEST_F(Frames, FailedOpenClosesTheSessionAndLeavesNone) {
  std::uint32_t first = 0;
  ASSERT_EQ(cfgOpenCamera2(nullptr, 2, "cam0", 0, 0, &first), 0);
  script().answers["Open"] = 0xBFF60007;
  std::uint32_t second = 77;
  EXPECT_EQ(AsStatus(cfgOpenCamera2(nullptr, 2, "cam0", 0, 0, &second)), 0xBFF60007u);
  EXPECT_EQ(second, 77u);
  EXPECT_TRUE(script().Called("Close"));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
  // The earlier session on the same interface was replaced, so it is gone too.
  EXPECT_EQ(AsStatus(cfgClose(first)), kInvalidSession);
}

TEST_F(Frames, FailedAttributeRefreshAlsoClosesTheSession) {
  script().answers["RefreshAttributes"] = 0xBFFF8006;
  std::uint32_t id = 0;
  EXPECT_EQ(AsStatus(cfgOpenBoard(nullptr, "img0", 0, &id)), 0xBFFF8006u);
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Frames, OpenWithUnknownDriverType) {
  std::uint32_t id = 0;
  EXPECT_EQ(AsStatus(cfgOpenCamera2(nullptr, 3, "cam0", 0, 0, &id)), kUnknownSessionType);
}

TEST_F(Frames, OpenCamera3SetsFlagsBeforeOpen) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenCamera3(nullptr, 2, "cam0", 0, 0, 5, &id), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"SetOpenFlags", "Open", "RefreshAttributes"}));
  script().calls.clear();
  ASSERT_EQ(cfgOpenCamera3(nullptr, 2, "cam1", 0, 0, 0, &id), 0);
  EXPECT_FALSE(script().Called("SetOpenFlags"));
}

TEST_F(Frames, OpenCamera3FlagFailureCountsAndCloses) {
  script().answers["SetOpenFlags"] = kNotSupported;
  std::uint32_t id = 0;
  EXPECT_EQ(AsStatus(cfgOpenCamera3(nullptr, 0, "img0", 0, 0, 1, &id)), kNotSupported);
  EXPECT_FALSE(script().Called("Open"));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Frames, OpenCamera3FlagsOnTheRealFrameGrabberSessionAreNotSupported) {
  testing::SetSessionBuilder(nullptr);  // the library's own local sessions
  std::uint32_t id = 0;
  EXPECT_EQ(AsStatus(cfgOpenCamera3(nullptr, 0, "img0", 0, 0, 1, &id)), kNotSupported);
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Frames, OpenCamera3Bit31GivesRemoteSessionsTheLongTimeout) {
  script().remoteHosts.insert("127.0.0.3");
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenCamera3("127.0.0.3", 2, "cam0", 0, 0, 0x80000000u, &id), 0);
  std::uint32_t timeout = 0;
  ASSERT_EQ(cfgGetTimeout(id, &timeout), 0);
  EXPECT_EQ(timeout, 300000u);
  ASSERT_EQ(cfgOpenCamera3("127.0.0.3", 2, "cam1", 0, 0, 1, &id), 0);
  ASSERT_EQ(cfgGetTimeout(id, &timeout), 0);
  EXPECT_EQ(timeout, DefaultRemoteTimeout);
}

TEST_F(Frames, CameraStatusTestsTheDriverBeforeThePointers) {
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(nullptr, 1, "cam", nullptr, nullptr)), kNotSupported);
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(nullptr, 0, "cam", nullptr, nullptr)), kNotSupported);
  EXPECT_TRUE(script().interfaceNames.empty());
}

TEST_F(Frames, CameraStatusRunsOnAThrowAwaySessionNeverOpened) {
  std::uint8_t state = 0;
  std::uint32_t detail = 0;
  const std::int32_t before = cameraStatusCounter;
  ASSERT_EQ(cfgGetCameraStatus(nullptr, 2, "cam", &state, &detail), 0);
  EXPECT_EQ(state, 1);
  EXPECT_EQ(detail, 0x55u);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"GetCameraStatus", "Close"}));
  ASSERT_EQ(script().interfaceNames.size(), 1u);
  EXPECT_EQ(script().interfaceNames[0], "GetCameraStatus" + std::to_string(before));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Frames, CameraStatusFailureStillClosesTheSession) {
  script().answers["GetCameraStatus"] = 0xBFF60100;
  std::uint8_t state = 0;
  std::uint32_t detail = 0;
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(nullptr, 2, "cam", &state, &detail)), 0xBFF60100u);
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
  script().buildStatus = 0xBFF60101;
  EXPECT_EQ(AsStatus(cfgGetCameraStatus(nullptr, 2, "cam", &state, &detail)), 0xBFF60101u);
}

TEST_F(Frames, RenameCameraLinkBoardUsesItsOwnThrowAwaySessions) {
  EXPECT_EQ(AsStatus(cfgRenameCameraLinkBoard(nullptr, 0, "a", "b")), kNotSupported);
  ASSERT_EQ(cfgRenameCameraLinkBoard(nullptr, 2, "a", "b"), 0);
  ASSERT_EQ(cfgRenameCameraLinkBoard(nullptr, 2, "a", "b"), 0);
  ASSERT_EQ(script().interfaceNames.size(), 2u);
  const std::string& first = script().interfaceNames[0];
  ASSERT_EQ(first.rfind("RenameCameraLinkBoard", 0), 0u);
  const int number = std::stoi(first.substr(std::strlen("RenameCameraLinkBoard")));
  EXPECT_EQ(script().interfaceNames[1], "RenameCameraLinkBoard" + std::to_string(number + 1));
  EXPECT_EQ(testing::RegisteredSessionCount(), 0u);
}

TEST_F(Frames, RunDiagnosticsRaisesAndRestoresTheDefaultForSessionZero) {
  ASSERT_EQ(cfgSetTimeout(0, 45000), 0);
  std::uint32_t count = 0;
  EXPECT_EQ(AsStatus(cfgRunDiagnostics(0, 0, &count)), kInvalidSession);
  std::uint32_t timeout = 0;
  ASSERT_EQ(cfgGetTimeout(0, &timeout), 0);
  EXPECT_EQ(timeout, 45000u);
}

TEST_F(Frames, RunDiagnosticsOnARemoteSessionSeesTheLongTimeout) {
  script().remoteHosts.insert("127.0.0.3");
  const std::uint32_t id = OpenCamera("cam0", "127.0.0.3");
  ASSERT_EQ(cfgSetTimeout(id, 1234), 0);
  std::uint32_t count = 0;
  ASSERT_EQ(cfgRunDiagnostics(id, 0, &count), 0);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(script().seenTimeout, 360000u);
  EXPECT_EQ(script().seenDefaultTimeout, DefaultRemoteTimeout);
  std::uint32_t timeout = 0;
  ASSERT_EQ(cfgGetTimeout(id, &timeout), 0);
  EXPECT_EQ(timeout, 1234u);
}

TEST_F(Frames, RunDiagnosticsOnALocalSessionLeavesTheDefaultAlone) {
  const std::uint32_t before = DefaultRemoteTimeout;
  const std::uint32_t id = OpenCamera("cam0");
  std::uint32_t count = 0;
  ASSERT_EQ(cfgRunDiagnostics(id, 0, &count), 0);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(script().seenDefaultTimeout, before);
}

TEST_F(Frames, TimeoutOfSessionZeroAndOfSessions) {
  const std::uint32_t before = DefaultRemoteTimeout;
  ASSERT_EQ(cfgSetTimeout(0, 777), 0);
  std::uint32_t timeout = 0;
  ASSERT_EQ(cfgGetTimeout(0, &timeout), 0);
  EXPECT_EQ(timeout, 777u);
  script().remoteHosts.insert("127.0.0.3");
  const std::uint32_t remote = OpenCamera("cam0", "127.0.0.3");
  ASSERT_EQ(cfgGetTimeout(remote, &timeout), 0);
  EXPECT_EQ(timeout, 777u);  // copied at construction
  ASSERT_EQ(cfgSetTimeout(0, before), 0);
  ASSERT_EQ(cfgGetTimeout(remote, &timeout), 0);
  EXPECT_EQ(timeout, 777u);  // open sessions keep theirs
  const std::uint32_t local = OpenCamera("cam1");
  EXPECT_EQ(AsStatus(cfgGetTimeout(local, &timeout)), kInvalidSession);
  EXPECT_EQ(AsStatus(cfgSetTimeout(local, 5)), kInvalidSession);
}

TEST_F(Frames, PingOnALocalSessionIsAnInvalidSession) {
  const std::uint32_t id = OpenCamera("cam0");
  EXPECT_EQ(AsStatus(cfgPing(id)), kInvalidSession);
}

TEST_F(Frames, TextWithSizeZeroIsCopiedWhole) {
  const std::uint32_t id = OpenCamera("cam0");
  test::TestSession::scriptedText = std::string(400, 'p');
  char buffer[512];
  ASSERT_EQ(cfgGetDataFilePath(id, buffer, 0), 0);
  EXPECT_EQ(std::strlen(buffer), 400u);
  ASSERT_EQ(cfgGetDataFilePath(id, buffer, 10), 0);
  EXPECT_STREQ(buffer, "ppppppppp");
  ASSERT_EQ(cfgGetSerialErrorText(id, buffer, 1), 0);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(cfgGetDataFilePath(id, nullptr, 10), 0);  // a null buffer drops the text
}

TEST_F(Frames, TextIsCopiedAlsoAfterAFailure) {
  const std::uint32_t id = OpenCamera("cam0");
  test::TestSession::scriptedText = "partial";
  script().answers["GetSerialErrorText"] = 0xBFF60009;
  char buffer[32] = "untouched";
  EXPECT_EQ(AsStatus(cfgGetSerialErrorText(id, buffer, sizeof buffer)), 0xBFF60009u);
  EXPECT_STREQ(buffer, "partial");
  std::strcpy(buffer, "untouched");
  EXPECT_EQ(AsStatus(cfgGetDataFilePath(0xDEAD, buffer, sizeof buffer)), kInvalidSession);
  EXPECT_STREQ(buffer, "");
}

TEST_F(Frames, DiagnosticResultsAreCutAt254Characters) {
  const std::uint32_t id = OpenCamera("cam0");
  char name[255];
  char result[255];
  std::memset(name, 'x', sizeof name);
  std::memset(result, 'x', sizeof result);
  // The session's lists are empty: the index is beyond them, and both texts
  // are still written, empty.
  EXPECT_NE(cfgGetDiagnosticResults(id, 0, name, result), 0);
  EXPECT_STREQ(name, "");
  EXPECT_STREQ(result, "");
}

TEST_F(Frames, PlainFramesCallTheirOperationAndReturnItsStatus) {
  const std::uint32_t id = OpenCamera("cam0");
  script().answers["SnapImage"] = 0xBFF60200;
  EXPECT_EQ(AsStatus(cfgSnapImage(id, 1, nullptr)), 0xBFF60200u);
  EXPECT_EQ(cfgStartAcquisition(id), 0);
  EXPECT_EQ(cfgConfigureTrigger(id, 1, 2, 3, 4), 0);
  std::uint32_t values[2] = {};
  EXPECT_EQ(cfgReadU32(id, 0, 0, 2, values), 0);
  EXPECT_EQ(script().calls, (std::vector<std::string>{"SnapImage", "StartAcquisition", "ConfigureTrigger", "ReadU32"}));
  // Operations without a body in the class answer the common default.
  EXPECT_EQ(AsStatus(cfgKELDPulseStart(id, 1)), kNotSupported);
  EXPECT_EQ(AsStatus(cfgRenameInterface(id, "new")), kNotSupported);
  EXPECT_EQ(AsStatus(cfgCalculateBayerColorLUT(id)), kNotSupported);
}

TEST_F(Frames, ClassNumberAnswerIsZeroedFirst) {
  std::uint32_t supported = 9;
  EXPECT_EQ(AsStatus(cfgIsFPGAClassNumSupported(0xDEAD, 5, &supported)), kInvalidSession);
  EXPECT_EQ(supported, 0u);
}

TEST_F(Frames, VerifyUpdateClearsMatchesAndKeepsTheLookupFailure) {
  std::uint32_t matches = 7;
  EXPECT_EQ(AsStatus(cfgVerifyUpdate(0xDEAD, 0, 0, "/nonexistent", &matches)), kInvalidSession);
  EXPECT_EQ(matches, 0u);
}

TEST_F(Frames, LightHeadsOfALocalSessionAreNone) {
  const std::uint32_t id = OpenCamera("cam0");
  std::uint32_t count = 5;
  ASSERT_EQ(cfgKELDEnumerateLightHeads(id, "", nullptr, &count), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(AsStatus(cfgKELDEnumerateLightHeads(id, "", nullptr, nullptr)), kBadPointer);
  EXPECT_EQ(AsStatus(cfgKELDEnumerateLightHeads(0xDEAD, "", nullptr, &count)), kInvalidSession);
  ::LightHeadRecord record{};
  EXPECT_EQ(AsStatus(cfgKELDDeployLightHeadData(id, &record, 1)), kNotSupported);
  EXPECT_EQ(AsStatus(cfgKELDLoadLightingLimits(id, &record)), kNotSupported);
}

}  // namespace
}  // namespace keld

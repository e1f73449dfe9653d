// Walks all 119 exported cfg functions with null pointers and an id that no
// session has, and checks each answer against the rule of its frame: a
// function that tests its pointers answers 0xBFFF8007 before it looks for
// the session, every other session function answers 0xBFFF8009, and the
// host-level ones give what the inventory or their own rule gives.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <new>
#include <stdexcept>

#include "capi/native_call.h"
#include "inventory/device_list_map.h"
#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/keldcfgc_server.h"
#include "support/test_session.h"

namespace keld {
namespace {

constexpr std::uint32_t kUnknownId = 0xDEAD;
constexpr Status kEnumerationFailure = 0xBFF60042;
// The host-level calls of the transport pass their pointers on; all that the
// frame rule says of them is that they do not answer 0xBFFF8007 themselves.
constexpr Status kNotBadPointer = 0xFFFFFFFF;

struct Row {
  const char* name;
  std::function<std::int32_t(std::uint32_t id)> call;
  Status expected;      // with kUnknownId and null pointers
  bool testsPointers;   // answers 0xBFFF8007 before the registry is touched
};

std::vector<Row> Rows() {
  using S = std::uint32_t;
  return {
      {"cfgDispose", [](S) { return cfgDispose(nullptr); }, kBadPointer, true},
      {"cfgCheckPassword", [](S) { return cfgCheckPassword("127.0.0.3", nullptr); }, kNotBadPointer, false},
      {"cfgRefreshBoards", [](S) { return cfgRefreshBoards(nullptr); }, kEnumerationFailure, false},
      {"cfgRefreshBoards2", [](S) { return cfgRefreshBoards2(nullptr, nullptr); }, kEnumerationFailure, false},
      {"cfgGetBoardCount", [](S) { return cfgGetBoardCount(nullptr, nullptr); }, kBadPointer, true},
      {"cfgQueryBoard", [](S) { return cfgQueryBoard(nullptr, 0, nullptr, 0, nullptr, nullptr, 0); },
       kEnumerationFailure, false},
      {"cfgQueryBoardDriver", [](S) { return cfgQueryBoardDriver(nullptr, 0, nullptr, 0, nullptr); },
       kEnumerationFailure, false},
      {"cfgOpenBoard", [](S) { return cfgOpenBoard(nullptr, nullptr, 0, nullptr); }, kBadPointer, true},
      {"cfgOpenLegacyBoard", [](S) { return cfgOpenLegacyBoard(nullptr, nullptr, nullptr); }, kBadPointer, true},
      {"cfgRefreshCameras", [](S) { return cfgRefreshCameras(nullptr); }, kEnumerationFailure, false},
      {"cfgRefreshCameras2", [](S) { return cfgRefreshCameras2(nullptr, 2); }, kEnumerationFailure, false},
      {"cfgRefreshCameras3", [](S) { return cfgRefreshCameras3(nullptr, 1, nullptr); }, kEnumerationFailure, false},
      {"cfgGetCameraCount", [](S) { return cfgGetCameraCount(nullptr, nullptr); }, kBadPointer, true},
      {"cfgGetCameraCount2", [](S) { return cfgGetCameraCount2(nullptr, 2, nullptr); }, kBadPointer, true},
      {"cfgQueryCamera", [](S) { return cfgQueryCamera(nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, 0); },
       kEnumerationFailure, false},
      {"cfgQueryCamera2",
       [](S) { return cfgQueryCamera2(nullptr, 2, 0, nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr); },
       kEnumerationFailure, false},
      {"cfgQueryCameraDriver", [](S) { return cfgQueryCameraDriver(nullptr, 0, nullptr, 0, nullptr); },
       kEnumerationFailure, false},
      {"cfgQueryCameraDriver2", [](S) { return cfgQueryCameraDriver2(nullptr, 2, 0, nullptr, 0, nullptr); },
       kEnumerationFailure, false},
      {"cfgGetCameraStatus", [](S) { return cfgGetCameraStatus(nullptr, 2, nullptr, nullptr, nullptr); },
       kBadPointer, true},
      {"cfgOpenCamera", [](S) { return cfgOpenCamera(nullptr, nullptr, 0, 0, nullptr); }, kBadPointer, true},
      {"cfgOpenCamera2", [](S) { return cfgOpenCamera2(nullptr, 2, nullptr, 0, 0, nullptr); }, kBadPointer, true},
      {"cfgOpenCamera3", [](S) { return cfgOpenCamera3(nullptr, 2, nullptr, 0, 0, 1, nullptr); }, kBadPointer, true},
      {"cfgGetCameraVideoModes", [](S id) { return cfgGetCameraVideoModes(id, nullptr, nullptr, nullptr); },
       kInvalidSession, false},
      {"cfgGetCameraFeatures", [](S id) { return cfgGetCameraFeatures(id, nullptr, nullptr, 0); }, kInvalidSession,
       false},
      {"cfgPing", [](S id) { return cfgPing(id); }, kInvalidSession, false},
      {"cfgGetTimeout", [](S id) { return cfgGetTimeout(id, nullptr); }, kBadPointer, true},
      {"cfgSetTimeout", [](S id) { return cfgSetTimeout(id, 1000); }, kInvalidSession, false},
      {"cfgGetImageCompression", [](S id) { return cfgGetImageCompression(id, nullptr, nullptr); }, kBadPointer, true},
      {"cfgSetImageCompression", [](S id) { return cfgSetImageCompression(id, 1, 750); }, kInvalidSession, false},
      {"cfgGetAttributeU32", [](S id) { return cfgGetAttributeU32(id, 1, nullptr, 0); }, kBadPointer, true},
      {"cfgSetAttributeU32", [](S id) { return cfgSetAttributeU32(id, 1, 2, 0); }, kInvalidSession, false},
      {"cfgGetAttributeDouble", [](S id) { return cfgGetAttributeDouble(id, 1, nullptr, 0); }, kBadPointer, true},
      {"cfgSetAttributeDouble", [](S id) { return cfgSetAttributeDouble(id, 1, 2.0, 0); }, kInvalidSession, false},
      {"cfgGetAttributeString", [](S id) { return cfgGetAttributeString(id, 1, nullptr, 0); }, kInvalidSession,
       false},
      {"cfgSetAttributeString", [](S id) { return cfgSetAttributeString(id, 1, nullptr, 0); }, kInvalidSession,
       false},
      {"cfgGetAttributeRect", [](S id) { return cfgGetAttributeRect(id, 1, nullptr, 0); }, kInvalidSession, false},
      {"cfgSetAttributeRect", [](S id) { return cfgSetAttributeRect(id, 1, nullptr, 0); }, kBadPointer, true},
      {"cfgValidateAttributes", [](S id) { return cfgValidateAttributes(id); }, kInvalidSession, false},
      {"cfgReadAttributes", [](S id) { return cfgReadAttributes(id, nullptr); }, kInvalidSession, false},
      {"cfgWriteAttributes", [](S id) { return cfgWriteAttributes(id, nullptr); }, kInvalidSession, false},
      {"cfgSnapImage", [](S id) { return cfgSnapImage(id, 0, nullptr); }, kInvalidSession, false},
      {"cfgSetupGrab", [](S id) { return cfgSetupGrab(id, 0); }, kInvalidSession, false},
      {"cfgGrabImage", [](S id) { return cfgGrabImage(id, nullptr, nullptr); }, kBadPointer, true},
      {"cfgConfigureAcquisition", [](S id) { return cfgConfigureAcquisition(id, 1, 2); }, kInvalidSession, false},
      {"cfgStartAcquisition", [](S id) { return cfgStartAcquisition(id); }, kInvalidSession, false},
      {"cfgCopyImage", [](S id) { return cfgCopyImage(id, nullptr, nullptr); }, kBadPointer, true},
      {"cfgStopAcquisition", [](S id) { return cfgStopAcquisition(id); }, kInvalidSession, false},
      {"cfgUnconfigureAcquisition", [](S id) { return cfgUnconfigureAcquisition(id); }, kInvalidSession, false},
      {"cfgConfigureTrigger", [](S id) { return cfgConfigureTrigger(id, 1, 2, 3, 4); }, kInvalidSession, false},
      {"cfgReadU32", [](S id) { return cfgReadU32(id, 0, 0, 1, nullptr); }, kInvalidSession, false},
      {"cfgWriteU32", [](S id) { return cfgWriteU32(id, 0, 0, 1, nullptr); }, kInvalidSession, false},
      {"cfgRefreshCameraFileDataList", [](S id) { return cfgRefreshCameraFileDataList(id, nullptr, nullptr); },
       kInvalidSession, false},
      {"cfgRefreshReferenceCameraFileList", [](S id) { return cfgRefreshReferenceCameraFileList(id, nullptr); },
       kInvalidSession, false},
      {"cfgRefreshInterfaceFileDataList", [](S id) { return cfgRefreshInterfaceFileDataList(id, 0, nullptr); },
       kInvalidSession, false},
      {"cfgGetCameraFileData", [](S id) { return cfgGetCameraFileData(id, 0, nullptr); }, kBadPointer, true},
      {"cfgGetReferenceCameraFileName", [](S id) { return cfgGetReferenceCameraFileName(id, 0, nullptr, 0); },
       kInvalidSession, false},
      {"cfgGetInterfaceFileData", [](S id) { return cfgGetInterfaceFileData(id, 0, nullptr); }, kInvalidSession,
       false},
      {"cfgRefreshCameraAttributeList", [](S id) { return cfgRefreshCameraAttributeList(id, nullptr); }, kBadPointer,
       true},
      {"cfgGetCameraAttribute", [](S id) { return cfgGetCameraAttribute(id, 0, nullptr); }, kBadPointer, true},
      {"cfgSetCameraAttribute", [](S id) { return cfgSetCameraAttribute(id, 1, nullptr, 1.0, 0); }, kBadPointer,
       true},
      {"cfgAutoExposure", [](S id) { return cfgAutoExposure(id, nullptr, nullptr); }, kBadPointer, true},
      {"cfgGetDataFilePath", [](S id) { return cfgGetDataFilePath(id, nullptr, 0); }, kInvalidSession, false},
      {"cfgClose", [](S id) { return cfgClose(id); }, kInvalidSession, false},
      {"cfgGetErrorText", [](S) { return cfgGetErrorText(0xBFFF8009u, nullptr); }, kSuccess, false},
      {"cfgChangeInterfaceFile", [](S id) { return cfgChangeInterfaceFile(id, nullptr); }, kBadPointer, true},
      {"cfgWriteInterfaceFile", [](S id) { return cfgWriteInterfaceFile(id, nullptr, 0); }, kBadPointer, true},
      {"cfgInitializeDiagnostics", [](S id) { return cfgInitializeDiagnostics(id, nullptr, nullptr); },
       kInvalidSession, false},
      {"cfgRunDiagnostics", [](S id) { return cfgRunDiagnostics(id, 0, nullptr); }, kBadPointer, true},
      {"cfgGetDiagnosticResults", [](S id) { return cfgGetDiagnosticResults(id, 0, nullptr, nullptr); },
       kInvalidSession, false},
      {"cfgCopyFile", [](S id) { return cfgCopyFile(id, nullptr, nullptr); }, kInvalidSession, false},
      {"cfgCalculateBayerGains", [](S id) { return cfgCalculateBayerGains(id, 0, nullptr, nullptr, nullptr); },
       kBadPointer, true},
      {"cfgQueryVersion", [](S) { return cfgQueryVersion(nullptr, nullptr); }, kBadPointer, true},
      {"cfgGetNetworkInterfaceMTU", [](S) { return cfgGetNetworkInterfaceMTU("127.0.0.3", nullptr, nullptr); },
       kNotBadPointer, false},
      {"cfgSetNetworkInterfaceMTU", [](S) { return cfgSetNetworkInterfaceMTU("127.0.0.3", nullptr, 1500); },
       kNotBadPointer, false},
      {"cfgRefreshAcqUnitCameraFileList", [](S id) { return cfgRefreshAcqUnitCameraFileList(id, nullptr, nullptr); },
       kInvalidSession, false},
      {"cfgGetAcqUnitCameraFileName", [](S id) { return cfgGetAcqUnitCameraFileName(id, 0, nullptr, 0); },
       kInvalidSession, false},
      {"cfgGetSerialErrorText", [](S id) { return cfgGetSerialErrorText(id, nullptr, 0); }, kBadPointer, true},
      {"cfgGetNVAttributesInfo", [](S id) { return cfgGetNVAttributesInfo(id, nullptr, nullptr, 0); },
       kInvalidSession, false},
      {"cfgGetNVAttributesInfo2", [](S id) { return cfgGetNVAttributesInfo2(id, nullptr, nullptr, 16384, 0); },
       kInvalidSession, false},
      {"cfgGetNVAttributeValue", [](S id) { return cfgGetNVAttributeValue(id, nullptr, 0, 0, nullptr, 0); },
       kBadPointer, true},
      {"cfgSetNVAttributeValue", [](S id) { return cfgSetNVAttributeValue(id, nullptr, 0, 0, nullptr, 0); },
       kBadPointer, true},
      {"cfgGetNVAttributeEnumValues", [](S id) { return cfgGetNVAttributeEnumValues(id, nullptr, nullptr, nullptr, 0); },
       kBadPointer, true},
      {"cfgGetUpdateFileHeaderInfo", [](S) { return cfgGetUpdateFileHeaderInfo(nullptr, nullptr, nullptr); },
       kBadPointer, true},
      {"cfgWriteUpdateFileChunk", [](S id) { return cfgWriteUpdateFileChunk(id, 0, 0, nullptr, 0, 0); },
       kInvalidSession, false},
      {"cfgVerifyUpdate", [](S id) { return cfgVerifyUpdate(id, 0, 0, nullptr, nullptr); }, kBadPointer, true},
      {"cfgIsFPGAClassNumSupported", [](S id) { return cfgIsFPGAClassNumSupported(id, 0, nullptr); }, kBadPointer,
       true},
      {"cfgReadAttributesFromString", [](S id) { return cfgReadAttributesFromString(id, nullptr); }, kBadPointer,
       true},
      {"cfgWriteAttributesToString", [](S id) { return cfgWriteAttributesToString(id, nullptr); }, kInvalidSession,
       false},
      {"cfgRenameInterface", [](S id) { return cfgRenameInterface(id, nullptr); }, kBadPointer, true},
      {"cfgCalculateBayerColorLUT", [](S id) { return cfgCalculateBayerColorLUT(id); }, kInvalidSession, false},
      {"cfgSetAcquisitionFlags", [](S id) { return cfgSetAcquisitionFlags(id, 1); }, kInvalidSession, false},
      {"cfgSupportsRingAcquisition", [](S id) { return cfgSupportsRingAcquisition(id, 0, nullptr); }, kBadPointer,
       true},
      {"cfgGetKELDCameraFileList", [](S id) { return cfgGetKELDCameraFileList(id, nullptr, nullptr); }, kBadPointer,
       true},
      {"cfgGetKELDCameraFilename", [](S id) { return cfgGetKELDCameraFilename(id, nullptr, 0); }, kBadPointer, true},
      {"cfgChangeKELDCameraFile", [](S id) { return cfgChangeKELDCameraFile(id, nullptr); }, kBadPointer, true},
      {"cfgRenameCameraLinkBoard", [](S) { return cfgRenameCameraLinkBoard(nullptr, 1, nullptr, nullptr); },
       kNotSupported, false},
      {"cfgCopyKELDCameraFile", [](S id) { return cfgCopyKELDCameraFile(id, nullptr); }, kBadPointer, true},
      {"cfgKELDRingSetup", [](S id) { return cfgKELDRingSetup(id, 1, 2, 3); }, kInvalidSession, false},
      {"cfgKELDSequenceSetup", [](S id) { return cfgKELDSequenceSetup(id, 1, nullptr, 2, 3); }, kBadPointer, true},
      {"cfgKELDSessionStartAcquisition", [](S id) { return cfgKELDSessionStartAcquisition(id); }, kInvalidSession,
       false},
      {"cfgKELDSessionStopAcquisition", [](S id) { return cfgKELDSessionStopAcquisition(id); }, kInvalidSession,
       false},
      {"cfgKELDPulseCreate2", [](S id) { return cfgKELDPulseCreate2(id, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, nullptr); },
       kBadPointer, true},
      {"cfgKELDPulseDispose", [](S id) { return cfgKELDPulseDispose(id, 1); }, kInvalidSession, false},
      {"cfgKELDPulseRate", [](S id) { return cfgKELDPulseRate(id, 1.0, 2.0, nullptr, nullptr, nullptr); },
       kBadPointer, true},
      {"cfgKELDPulseStart", [](S id) { return cfgKELDPulseStart(id, 1); }, kInvalidSession, false},
      {"cfgKELDPulseStop", [](S id) { return cfgKELDPulseStop(id, 1); }, kInvalidSession, false},
      {"cfgKELDSessionTriggerDrive2", [](S id) { return cfgKELDSessionTriggerDrive2(id, 1, 2, 3, 4); },
       kInvalidSession, false},
      {"cfgKELDSessionTriggerRead2", [](S id) { return cfgKELDSessionTriggerRead2(id, 1, 2, 3, nullptr); },
       kBadPointer, true},
      {"cfgKELDSessionTriggerRoute2", [](S id) { return cfgKELDSessionTriggerRoute2(id, 1, 2, 3, 4); },
       kInvalidSession, false},
      {"cfgKELDSessionTriggerClear", [](S id) { return cfgKELDSessionTriggerClear(id); }, kInvalidSession, false},
      {"cfgKELDSessionTriggerConfigure2", [](S id) { return cfgKELDSessionTriggerConfigure2(id, 1, 2, 3, 4, 5); },
       kInvalidSession, false},
      {"cfgKELDSessionLineTrigSource2", [](S id) { return cfgKELDSessionLineTrigSource2(id, 1, 2, 3, 4); },
       kInvalidSession, false},
      {"cfgKELDEncoderResetPosition", [](S id) { return cfgKELDEncoderResetPosition(id); }, kInvalidSession, false},
      {"cfgKELDSessionTriggerConfigure3",
       [](S id) { return cfgKELDSessionTriggerConfigure3(id, 1, 2, 3, 4, 5, 6.0, 7); }, kInvalidSession, false},
      {"cfgKELDSessionTriggerGet",
       [](S id) {
         return cfgKELDSessionTriggerGet(id, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
       },
       kBadPointer, true},
      {"cfgKELDEnumerateLightHeads", [](S id) { return cfgKELDEnumerateLightHeads(id, nullptr, nullptr, nullptr); },
       kBadPointer, true},
      {"cfgKELDDeployLightHeadData", [](S id) { return cfgKELDDeployLightHeadData(id, nullptr, 1); }, kBadPointer,
       true},
      {"cfgKELDLoadLightingLimits", [](S id) { return cfgKELDLoadLightingLimits(id, nullptr); }, kBadPointer, true},
      {"cfgKELDPulseSetDutyCycle", [](S id) { return cfgKELDPulseSetDutyCycle(id, 1, 2, 3); }, kInvalidSession,
       false},
  };
}

class FrameWalk : public ::testing::Test {
 protected:
  void SetUp() override {
    for (std::uint32_t type = 0; type < 3; ++type) GetDeviceListMap(type).lists.clear();
    test::script().answers["EnumerateDevices"] = kEnumerationFailure;
  }
  void TearDown() override {
    for (std::uint32_t type = 0; type < 3; ++type) GetDeviceListMap(type).lists.clear();
  }
  test::ScopedTestFactory factory;
};

TEST_F(FrameWalk, TableNamesEveryFunctionOnce) {
  std::set<std::string> names;
  for (const Row& row : Rows()) names.insert(row.name);
  EXPECT_EQ(Rows().size(), 119u);
  EXPECT_EQ(names.size(), 119u);
}

TEST_F(FrameWalk, NullPointersAndUnknownId) {
  for (const Row& row : Rows()) {
    const auto result = static_cast<Status>(row.call(kUnknownId));
    if (row.expected == kNotBadPointer) {
      EXPECT_NE(result, kBadPointer) << row.name;
    } else {
      EXPECT_EQ(result, row.expected) << row.name << " answered " << result;
    }
  }
}

TEST_F(FrameWalk, PointerTestsComeBeforeTheSessionIsUsed) {
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenCamera2(nullptr, 2, "cam0", 0, 0, &id), 0);
  const std::size_t registered = testing::RegisteredSessionCount();
  for (const Row& row : Rows()) {
    if (!row.testsPointers) continue;
    test::script().calls.clear();
    EXPECT_EQ(static_cast<Status>(row.call(id)), kBadPointer) << row.name;
    EXPECT_TRUE(test::script().calls.empty()) << row.name << " reached the session";
  }
  EXPECT_EQ(testing::RegisteredSessionCount(), registered);
}


// ---- The boundary: nothing thrown inside leaves the library ---------------

// Arms the frame fault for the life of the object.
class ScopedFrameFault {
 public:
  explicit ScopedFrameFault(capi::testing::FrameFault fault) { capi::testing::SetFrameFault(fault); }
  ~ScopedFrameFault() { capi::testing::SetFrameFault(nullptr); }
  ScopedFrameFault(const ScopedFrameFault&) = delete;
  ScopedFrameFault& operator=(const ScopedFrameFault&) = delete;
};

void ThrowBadAlloc() { throw std::bad_alloc(); }
void ThrowRuntimeError() { throw std::runtime_error("a frame failed"); }
void ThrowStatus() { throw Status{kSessionNotConfigured}; }
void ThrowInteger() { throw 42; }

// The five server entries, under the same guard.
std::vector<Row> ServerRows() {
  using S = std::uint32_t;
  return {
      {"keldsrvCreateSession",
       [](S) {
         std::uint32_t id = 0;
         return keldsrvCreateSession(0, "client", "img0", &id);
       },
       kSuccess, false},
      {"keldsrvExecuteCommand",
       [](S id) {
         std::uint8_t* output = nullptr;
         std::uint32_t size = 0;
         const std::int32_t status = keldsrvExecuteCommand(id, 7, nullptr, 0, &output, &size);
         keldsrvFreeStream(output);
         return status;
       },
       kInvalidSession, false},
      {"keldsrvPingSession", [](S id) { return keldsrvPingSession(id); }, kInvalidSession, false},
      {"keldsrvCloseSession", [](S id) { return keldsrvCloseSession(id); }, kInvalidSession, false},
  };
}

TEST_F(FrameWalk, AFailedAllocationInsideAnyFrameIsOutOfMemory) {
  const ScopedFrameFault fault(&ThrowBadAlloc);
  for (const Row& row : Rows()) EXPECT_EQ(static_cast<Status>(row.call(kUnknownId)), kOutOfMemory) << row.name;
  for (const Row& row : ServerRows()) EXPECT_EQ(static_cast<Status>(row.call(kUnknownId)), kOutOfMemory) << row.name;
}

TEST_F(FrameWalk, AnyOtherExceptionInsideAFrameIsTheBoundaryFault) {
  for (const auto fault : {&ThrowRuntimeError, &ThrowStatus, &ThrowInteger}) {
    const ScopedFrameFault armed(fault);
    for (const Row& row : Rows()) {
      EXPECT_EQ(static_cast<Status>(row.call(kUnknownId)), capi::kBoundaryFault) << row.name;
    }
    for (const Row& row : ServerRows()) {
      EXPECT_EQ(static_cast<Status>(row.call(kUnknownId)), capi::kBoundaryFault) << row.name;
    }
  }
  EXPECT_EQ(static_cast<std::uint32_t>(capi::kBoundaryFault), 0xBFFF8017u);
}

TEST_F(FrameWalk, AThrowFromDeepInsideASessionStopsAtTheBoundary) {
  // The session itself throws, as a driver binding might.
  class Throwing : public test::TestSession {
   public:
    using TestSession::TestSession;
    Status SetupGrab(std::uint32_t) override { throw std::bad_alloc(); }
    Status StartAcquisition() override { throw std::logic_error("driver state"); }
  };
  testing::SetSessionBuilder([](std::uint32_t type, const char* host, const char* name, Status* status) {
    return new Throwing(type, host, name, status);
  });
  std::uint32_t id = 0;
  ASSERT_EQ(cfgOpenCamera2(nullptr, 2, "thrower", 0, 0, &id), 0);
  EXPECT_EQ(static_cast<Status>(cfgSetupGrab(id, 1)), kOutOfMemory);
  EXPECT_EQ(static_cast<Status>(cfgStartAcquisition(id)), capi::kBoundaryFault);
  // The session is still there and answers.
  EXPECT_EQ(cfgStopAcquisition(id), 0);
  EXPECT_EQ(cfgClose(id), 0);
}

TEST_F(FrameWalk, ServerEntriesAnswerOutsideTheFaults) {
  for (const Row& row : ServerRows()) {
    EXPECT_EQ(static_cast<Status>(row.call(kUnknownId)), row.expected) << row.name;
  }
}

}  // namespace
}  // namespace keld

// A device session for tests, built through the real factory by the test
// seam of the registry. Every operation notes its name in a shared script
// and answers what the script holds for it (0 where it holds nothing), so a
// test can drive each frame down any path and see which operations ran.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "inventory/device_list.h"
#include "remote/remote_device_config_session.h"
#include "session/config_session.h"
#include "session/session_registry.h"

namespace keld::test {

struct Script {
  std::mutex lock;
  std::map<std::string, Status> answers;  // operation name -> status
  std::vector<std::string> calls;         // operation names in call order
  std::vector<std::string> interfaceNames;  // of every session built
  std::set<std::string> remoteHosts;      // hosts served by TestRemoteSession
  std::set<std::string> failingHosts;     // hosts whose enumeration fails
  Status buildStatus = kSuccess;          // reported by every constructor
  DeviceList devices;                     // what an enumeration reports
  std::atomic<int> enumerations{0};
  std::uint32_t seenTimeout = 0;          // time-out a remote RunDiagnostics saw
  std::uint32_t seenDefaultTimeout = 0;   // default time-out during RunDiagnostics

  Status Note(const std::string& operation) {
    std::lock_guard<std::mutex> guard(lock);
    calls.push_back(operation);
    auto it = answers.find(operation);
    return it == answers.end() ? kSuccess : it->second;
  }
  bool Called(const std::string& operation) {
    std::lock_guard<std::mutex> guard(lock);
    for (const auto& call : calls)
      if (call == operation) return true;
    return false;
  }
  void Reset() {
    std::lock_guard<std::mutex> guard(lock);
    answers.clear();
    calls.clear();
    interfaceNames.clear();
    remoteHosts.clear();
    failingHosts.clear();
    buildStatus = kSuccess;
    devices.clear();
    enumerations = 0;
    seenTimeout = 0;
    seenDefaultTimeout = 0;
  }
};

inline Script& script() {
  static Script instance;
  return instance;
}

#define KELD_TEST_OP(name, ...) \
  Status name(__VA_ARGS__) override { return script().Note(#name); }

// The operations every concrete class has to answer, noted and scripted.
#define KELD_TEST_DEVICE_OPERATIONS                                                                            \
  KELD_TEST_OP(ReadAttribute, Attribute*)                                                                      \
  KELD_TEST_OP(WriteAttribute, Attribute*)                                                                     \
  KELD_TEST_OP(RefreshAttributes)                                                                              \
  KELD_TEST_OP(CommitAttributes)                                                                               \
  KELD_TEST_OP(ValidateAttributes)                                                                             \
  KELD_TEST_OP(ReadAttributes, const char*)                                                                    \
  KELD_TEST_OP(WriteAttributes, const char*)                                                                   \
  KELD_TEST_OP(SnapImage, std::uint32_t, Image*)                                                               \
  KELD_TEST_OP(SetupGrab, std::uint32_t)                                                                       \
  KELD_TEST_OP(GrabImage, std::uint32_t*, Image*)                                                              \
  KELD_TEST_OP(ConfigureAcquisition, std::uint32_t, std::uint32_t)                                             \
  KELD_TEST_OP(StartAcquisition)                                                                               \
  KELD_TEST_OP(CopyImage, std::uint32_t*, Image*)                                                              \
  KELD_TEST_OP(StopAcquisition)                                                                                \
  KELD_TEST_OP(UnconfigureAcquisition)                                                                         \
  KELD_TEST_OP(GetImageCompression, std::uint32_t*, std::uint32_t*)                                            \
  KELD_TEST_OP(SetImageCompression, std::uint32_t, std::uint32_t)                                              \
  KELD_TEST_OP(GetCameraVideoModes, CameraVideoModeList*)                                                      \
  KELD_TEST_OP(GetCameraFeatures, CameraFeatureList*)                                                          \
  KELD_TEST_OP(ConfigureTrigger, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t)                   \
  KELD_TEST_OP(ReadU32, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t*)                           \
  KELD_TEST_OP(WriteU32, std::uint32_t, std::uint32_t, std::uint32_t, const std::uint32_t*)                    \
  KELD_TEST_OP(QueryCameraFileDataList, CameraFileDataList*, std::uint32_t*)                                   \
  KELD_TEST_OP(QueryReferenceCameraFileList, StringList*)                                                      \
  KELD_TEST_OP(QueryInterfaceFileDataList, std::uint32_t, InterfaceFileDataList*)                              \
  KELD_TEST_OP(ChangeInterfaceFile, const char*)                                                               \
  KELD_TEST_OP(WriteInterfaceFile, const char*, std::uint32_t)                                                 \
  KELD_TEST_OP(QueryCameraAttributeList, CameraAttributeList*)                                                 \
  KELD_TEST_OP(SetCameraAttribute, std::uint32_t, const char*, double, std::uint8_t)                           \
  KELD_TEST_OP(AutoExposure, double*, double*)                                                                 \
  KELD_TEST_OP(InitializeDiagnostics, std::uint32_t*, std::uint32_t*)                                         \
  KELD_TEST_OP(QueryDiagnosticResults, std::uint32_t, StringList*, StringList*)                                \
  KELD_TEST_OP(CopyFile, const char*, const char*)                                                             \
  KELD_TEST_OP(CalculateBayerGains, std::uint32_t, double*, double*, double*)                                  \
  KELD_TEST_OP(QueryAcqUnitCameraFileList, const char*, StringList*)                                           \
  KELD_TEST_OP(WriteBlock, std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,          \
               const void*)                                                                                    \
  KELD_TEST_OP(ReadBlock, std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, void*)    \
  KELD_TEST_OP(IsFPGAClassNumSupported, std::uint32_t, std::uint32_t*)                                         \
  KELD_TEST_OP(ReadAttributesFromString, const char*)                                                          \
  KELD_TEST_OP(SetAcquisitionFlags, std::uint32_t)

// A local session: scripted answers for every operation of the first group,
// the base class's bodies for the rest.
class TestSession : public DeviceConfigSession {
 public:
  TestSession(std::uint32_t driverType, const char* host, const char* name, Status* status)
      : DeviceConfigSession(name, status), driverType_(driverType), host_(host != nullptr ? host : "127.0.0.1") {
    *status = script().buildStatus;
  }

  Status Open() override { return script().Note("Open"); }
  Status Close() override { return script().Note("Close"); }
  std::uint32_t GetDriverType() override { return driverType_; }
  bool IsRemote() override { return false; }
  Status ExecuteCommand(std::uint32_t, ByteStream*, ByteStream*) override { return script().Note("ExecuteCommand"); }
  Status EnumerateDevices(DeviceList* devices) override {
    Script& s = script();
    ++s.enumerations;
    Status status = s.Note("EnumerateDevices");
    if (s.failingHosts.count(host_) != 0) return 0xBFF60123u;
    if (status == kSuccess) *devices = s.devices;
    return status;
  }
  Status GetDataFilePath(CFGString* path) override {
    *path = scriptedText.c_str();
    return script().Note("GetDataFilePath");
  }
  Status GetSerialErrorText(CFGString* text) override {
    *text = scriptedText.c_str();
    return script().Note("GetSerialErrorText");
  }
  Status WriteAttributesToString(CFGString* text) override {
    *text = scriptedText.c_str();
    return script().Note("WriteAttributesToString");
  }
  Status RunDiagnostics(std::uint32_t, std::uint32_t* count) override {
    script().seenDefaultTimeout = DefaultRemoteTimeout;
    *count = 2;
    return script().Note("RunDiagnostics");
  }
  Status SetOpenFlags(std::uint32_t) override { return script().Note("SetOpenFlags"); }
  Status GetCameraStatus(const char*, std::uint8_t* state, std::uint32_t* detail) override {
    *state = 1;
    *detail = 0x55;
    return script().Note("GetCameraStatus");
  }
  Status RenameCameraLinkBoard(const char*, const char*) override { return script().Note("RenameCameraLinkBoard"); }
  KELD_TEST_DEVICE_OPERATIONS

  static inline std::string scriptedText;  // what the text operations answer

 private:
  std::uint32_t driverType_;
  std::string host_;
};

// A remote session whose remote open is pretended to have worked, so that
// the time-out rules can be seen without a target.
class TestRemoteSession : public RemoteDeviceConfigSession {
 public:
  TestRemoteSession(std::uint32_t driverType, const char* target, const char* name, Status* status)
      : RemoteDeviceConfigSession("client", target, driverType, name, status), driverType_(driverType) {
    *status = script().buildStatus;
  }
  std::uint32_t GetDriverType() override { return driverType_; }
  Status Open() override { return script().Note("Open"); }
  Status Close() override { return script().Note("Close"); }
  Status SetOpenFlags(std::uint32_t) override { return script().Note("SetOpenFlags"); }
  Status RefreshAttributes() override { return script().Note("RefreshAttributes"); }
  Status RunDiagnostics(std::uint32_t, std::uint32_t* count) override {
    script().seenTimeout = timeout;
    script().seenDefaultTimeout = DefaultRemoteTimeout;
    *count = 4;
    return script().Note("RunDiagnostics");
  }

 private:
  std::uint32_t driverType_;
};

// Installs the test sessions for the life of the object; closes whatever a
// test left open and clears the script at both ends.
class ScopedTestFactory {
 public:
  ScopedTestFactory() {
    CloseAllSessions();
    script().Reset();
    TestSession::scriptedText.clear();
    testing::SetSessionBuilder([](std::uint32_t driverType, const char* host, const char* name,
                                  Status* status) -> DeviceConfigSession* {
      {
        std::lock_guard<std::mutex> guard(script().lock);
        script().interfaceNames.push_back(name);
      }
      if (host != nullptr && script().remoteHosts.count(host) != 0)
        return new TestRemoteSession(driverType, host, name, status);
      return new TestSession(driverType, host, name, status);
    });
  }
  ScopedTestFactory(const ScopedTestFactory&) = delete;
  ScopedTestFactory& operator=(const ScopedTestFactory&) = delete;
  ~ScopedTestFactory() {
    CloseAllSessions();
    testing::SetSessionBuilder(nullptr);
    script().Reset();
  }
};

}  // namespace keld::test

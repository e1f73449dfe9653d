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
#include "session/session_factory.h"
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

// Every operation of the first group, noted and answered from the script;
// made from the operation table.
class ScriptedOperations : public DeviceConfigSession {
 public:
  using DeviceConfigSession::DeviceConfigSession;
#define KELD_TEST_SCRIPTED(group, name, command, handle, step, target, client, ...) \
  KELD_TEST_SCRIPTED_##group(name, __VA_ARGS__)
#define KELD_TEST_SCRIPTED_BODY(name, ...) \
  Status name(KELD_PARAM_TYPES(__VA_ARGS__)) override { return script().Note(#name); }
#define KELD_TEST_SCRIPTED_ROOT(name, ...)
#define KELD_TEST_SCRIPTED_FIRST(name, ...) KELD_TEST_SCRIPTED_BODY(name, __VA_ARGS__)
#define KELD_TEST_SCRIPTED_LOCAL(name, ...) KELD_TEST_SCRIPTED_BODY(name, __VA_ARGS__)
#define KELD_TEST_SCRIPTED_BASE(name, ...)
#define KELD_TEST_SCRIPTED_OPTIONAL(name, ...)
  KELD_DEVICE_OPERATIONS(KELD_TEST_SCRIPTED)
};

// A local session: scripted answers for every operation of the first group,
// the base class's bodies for the rest.
class TestSession : public ScriptedOperations {
 public:
  TestSession(std::uint32_t driverType, const char* host, const char* name, Status* status)
      : ScriptedOperations(name, status), driverType_(driverType), host_(host != nullptr ? host : "127.0.0.1") {
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
